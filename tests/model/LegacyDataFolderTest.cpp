// A data folder as the desktop platform wrote it, made byte by byte without
// any of the application's encoders: the archived tree, the archived
// settings, and XML page files holding flattened RTFD. The application must
// read every title, date, colour, tag, flag, window record and text of it,
// reopen its windows, and keep all of it through its own save and reload.
#include "LegacyBytes.h"

#include "common/FreshUserTest.h"
#include "common/TestImages.h"
#include "model/ApplicationTree.h"
#include "model/DataStore.h"
#include "model/DataStoreHost.h"
#include "model/JWMemo.h"
#include "model/SettingsFile.h"
#include "platform/typedstream/ArchivedValues.h"
#include "platform/settings/FolderPaths.h"
#include "platform/richtext/TextConverter.h"
#include "platform/settings/UserDefaults.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTextCursor>
#include <QTextDocument>
#include <QTimeZone>

#include <cmath>
#include <functional>
#include <map>

using namespace LegacyBytes;

namespace {

// --- Bytes written out in the test -----------------------------------------------

// Hex pairs separated by spaces; a double-quoted run stands for its ASCII bytes.
QByteArray hexBytes(const char *text)
{
    QByteArray bytes;
    const QByteArray source(text);
    for (qsizetype i = 0; i < source.size();) {
        const char c = source[i];
        if (c == ' ' || c == '\n') {
            ++i;
        } else if (c == '"') {
            const qsizetype end = source.indexOf('"', i + 1);
            bytes += source.mid(i + 1, end - i - 1);
            i = end + 1;
        } else {
            bytes += QByteArray::fromHex(source.mid(i, 2));
            i += 2;
        }
    }
    return bytes;
}

const QByteArray kHeader = hexBytes("04 0b \"streamtyped\" 81 e8 03");

QByteArray realBytes(double value, bool single)
{
    TypedStreamBytes stream;
    stream.real(value, single);
    return stream.bytes().mid(kHeader.size());
}

QByteArray integerBytes(qint64 value)
{
    TypedStreamBytes stream;
    stream.integer(value);
    return stream.bytes().mid(kHeader.size());
}

// --- The builder against bytes known from platform-written archives -----------------

TEST(LegacyBytesTest, HeaderNamesLittleEndianStreamsOfSystem1000)
{
    EXPECT_EQ(TypedStreamBytes().bytes(), hexBytes("04 0b 73 74 72 65 61 6d 74 79 70 65 64 81 e8 03"));
}

TEST(LegacyBytesTest, IntegersAndRealsTakeThePlatformsForms)
{
    EXPECT_EQ(integerBytes(-110), hexBytes("92"));
    EXPECT_EQ(integerBytes(127), hexBytes("7f"));
    EXPECT_EQ(integerBytes(300), hexBytes("81 2c 01"));
    EXPECT_EQ(integerBytes(-32767), hexBytes("81 01 80"));
    EXPECT_EQ(integerBytes(-32768), hexBytes("82 00 80 ff ff")) << "-32768 takes the 4-byte form";
    EXPECT_EQ(integerBytes(238 - 110), hexBytes("81 80 00")) << "the reference to entry 238";

    EXPECT_EQ(realBytes(1.0, true), hexBytes("01"));
    EXPECT_EQ(realBytes(826.0, true), hexBytes("81 3a 03"));
    EXPECT_EQ(realBytes(21692800.0, false), hexBytes("82 80 01 4b 01"));
    // A colour component of 144/255 (0.5647...).
    EXPECT_EQ(realBytes(144.0f / 255, true), hexBytes("83 91 90 10 3f"));
    EXPECT_EQ(realBytes(100.5, false), hexBytes("83 00 00 00 00 00 20 59 40"));
    EXPECT_EQ(realBytes(0.5, true), hexBytes("83 00 00 00 3f"));
    EXPECT_EQ(realBytes(-0.0, false), hexBytes("00"));
    // A whole number of seconds no float can hold keeps its eight bytes.
    EXPECT_EQ(realBytes(300000001.0, false).size(), 9);
    EXPECT_EQ(realBytes(300000001.0, false).front(), char(0x83));
}

TEST(LegacyBytesTest, SharedInstancesAreWrittenOnceThenReferenced)
{
    TypedStreamBytes stream;
    stream.type("@");
    const int firstEmpty = stream.emptyString();
    stream.type("@");
    const int firstNull = stream.null();
    const qsizetype before = stream.bytes().size();
    stream.type("@");
    EXPECT_EQ(stream.emptyString(), firstEmpty);
    stream.type("@");
    EXPECT_EQ(stream.null(), firstNull);
    // Two groups of two bytes: the type string "@" (string 0) and the object reference.
    EXPECT_EQ(stream.bytes().mid(before), hexBytes("92") + integerBytes(firstEmpty - 110) + hexBytes("92")
                                              + integerBytes(firstNull - 110));
    // NSNull has no groups: its class chain is followed directly by the end of the object.
    EXPECT_TRUE(stream.bytes().contains(hexBytes("84 84 06 \"NSNull\" 00 94 86")));
}

TEST(LegacyBytesTest, ReproducesACustomClassWithASharedString)
{
    TypedStreamBytes stream;
    stream.type("@");
    stream.beginObject({{"JWDemo", 5}, {"NSObject", 0}});
    stream.type("@");
    const int hi = stream.string(QStringLiteral("Hi"));
    stream.type("i");
    stream.integer(300);
    stream.type("i");
    stream.integer(-5);
    stream.type("@");
    stream.reference(hi);
    stream.endObject();

    EXPECT_EQ(stream.bytes(), hexBytes("04 0b 73 74 72 65 61 6d 74 79 70 65 64 81 e8 03"
                                       "84 01 40 84"
                                       "84 84 06 4a 57 44 65 6d 6f 05"
                                       "84 84 08 4e 53 4f 62 6a 65 63 74 00 85"
                                       "92 84 84 84 08 4e 53 53 74 72 69 6e 67 01 94"
                                       "84 01 2b 02 48 69 86"
                                       "84 01 69 81 2c 01 97 fb 92 95 86"));
}

TEST(LegacyBytesTest, ReproducesASettingsDictionary)
{
    TypedStreamBytes stream;
    stream.type("@");
    stream.beginDictionary(2);
    stream.type("@");
    stream.string(QStringLiteral("windowIDs"));
    stream.type("@");
    stream.beginArray(2);
    stream.type("@");
    stream.number('q', 1);
    stream.type("@");
    stream.number('q', 12);
    stream.endObject();
    stream.type("@");
    stream.string(QStringLiteral("AutoSave"));
    stream.type("@");
    stream.number('c', 1);
    stream.endObject();

    // The array ends (86) before the second key.
    EXPECT_EQ(stream.bytes(), hexBytes("04 0b \"streamtyped\" 81 e8 03"
                                       "84 01 40"
                                       "84 84 84 13 \"NSMutableDictionary\" 00"
                                       "84 84 0c \"NSDictionary\" 00"
                                       "84 84 08 \"NSObject\" 00"
                                       "85"
                                       "84 01 69 02"
                                       "92 84 84 84 08 \"NSString\" 01 95"
                                       "84 01 2b 09 \"windowIDs\" 86"
                                       "92 84 84 84 0e \"NSMutableArray\" 00"
                                       "84 84 07 \"NSArray\" 00 95"
                                       "96 02"
                                       "92 84 84 84 08 \"NSNumber\" 00"
                                       "84 84 07 \"NSValue\" 00 95"
                                       "84 01 2a"
                                       "84 84 01 71"
                                       "9e 01 86"
                                       "92 84 9c 9d 9e 9e 0c 86"
                                       "86"
                                       "92 84 97 98 08 \"AutoSave\" 86"
                                       "92 84 9c 9d 84 84 01 63 9f 01 86"
                                       "86"));
}

TEST(LegacyBytesTest, ReproducesArchivedColours)
{
    EXPECT_EQ(archivedColor(LegacyColor::calibratedWhite(1, 1)),
              hexBytes("04 0b 73 74 72 65 61 6d 74 79 70 65 64 81 e8 03"
                       "84 01 40 84 84 84 07 4e 53 43 6f 6c 6f 72 00 84 84 08 4e 53 4f 62 6a 65 63 74 00 85"
                       "84 01 63 03"
                       "84 02 66 66 01 01"
                       "86"));
    const QByteArray deviceRGB = archivedColor(LegacyColor::deviceRGB(1.0f / 3, 0.5f, 0, 1));
    EXPECT_TRUE(deviceRGB.endsWith(hexBytes("84 01 63 02 84 04 66 66 66 66 83 ab aa aa 3e 83 00 00 00 3f 00 01 86")))
        << deviceRGB.toHex(' ').toStdString();
}

TEST(LegacyBytesTest, ReproducesTheStartOfADataStore)
{
    MemoRecord root;
    root.memoID = 0;
    root.title = QStringLiteral("Notes");
    MemoRecord child;
    child.memoID = 1;
    root.children.push_back(child);

    const QByteArray expected = hexBytes("04 0b \"streamtyped\" 81 e8 03"
                                         "84 01 40"
                                         "84 84 84 06 \"JWMemo\" 05 84 84 08 \"NSObject\" 00 85"
                                         "92 84 84 84 08 \"NSNumber\" 00 84 84 07 \"NSValue\" 00 94"
                                         "84 01 2a 84 84 01 71 98 00 86"
                                         "92 84 84 84 08 \"NSString\" 01 94 84 01 2b 05 \"Notes\" 86"
                                         "92 84 84 84 0e \"NSMutableArray\" 00 84 84 07 \"NSArray\" 00 94"
                                         "84 01 69 01"
                                         "92 84 93"
                                         "92 84 96 97 98 98 01 86");
    ASSERT_EQ(expected.size(), 0x97);
    EXPECT_EQ(dataStore(root).left(expected.size()), expected);
}

TEST(LegacyBytesTest, ReproducesAFlattenedRtfdAndItsPageFile)
{
    QByteArray rtf = "{\\rtf1\\ansi\\ansicpg1252\\cocoartf949\n";
    rtf += QByteArray(267 - rtf.size() - 1, 'x') + "}";
    ASSERT_EQ(rtf.size(), 267);
    const quint32 mtime = 1275393600;
    const QByteArray flat = flattenedRtfd({{"TXT.rtf", rtf}}, mtime);

    EXPECT_EQ(flat.left(0x30), hexBytes("72 74 66 64 00 00 00 00 03 00 00 00 02 00 00 00"
                                        "07 00 00 00 54 58 54 2e 72 74 66"
                                        "01 00 00 00 2e"
                                        "13 01 00 00 2b 00 00 00"
                                        "01 00 00 00 0b 01 00 00"));
    EXPECT_EQ(flat.mid(0x30, rtf.size()), rtf);
    EXPECT_EQ(flat.mid(0x30 + rtf.size()), hexBytes("01 00 00 00 23 00 00 00"
                                                    "01 00 00 00 07 00 00 00 54 58 54 2e 72 74 66 10 00 00 00"
                                                    "40 f6 04 4c b6 01 00 00 00 00 00 00 00 00 00 00"));

    XmlPlistDictionary page;
    page.data(QStringLiteral("memoData"), flat);
    page.integer(QStringLiteral("memoID"), 12);
    page.date(QStringLiteral("createdAt"), QDateTime(QDate(2010, 6, 1), QTime(12, 0), QTimeZone::utc()));
    page.boolean(QStringLiteral("locked"), false);
    page.string(QStringLiteral("title"), QStringLiteral("Hello"));
    const QByteArray xml = page.text();
    EXPECT_TRUE(xml.startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC "
                               "\"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                               "<plist version=\"1.0\">\n<dict>\n"
                               "\t<key>createdAt</key>\n\t<date>2010-06-01T12:00:00Z</date>\n"
                               "\t<key>locked</key>\n\t<false/>\n"
                               "\t<key>memoData</key>\n\t<data>\n"
                               "\tcnRmZAAAAAADAAAAAgAAAAcAAABUWFQucnRmAQAAAC4TAQAAKwAAAAEAAAALAQAAe1xy\n"))
        << xml.left(600).toStdString();
    EXPECT_TRUE(xml.endsWith("\t</data>\n\t<key>memoID</key>\n\t<integer>12</integer>\n"
                             "\t<key>title</key>\n\t<string>Hello</string>\n</dict>\n</plist>\n"));
}

// --- The data folder ---------------------------------------------------------------

constexpr qint64 kReferenceDateMSecs = 978307200000LL;

QDateTime utc(int year, int month, int day, int hour, int minute, int second, int msec = 0)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second, msec), QTimeZone::utc());
}

double secondsAt(const QDateTime &when)
{
    return secondsSinceReferenceDate(when);
}

QDateTime dateFromSeconds(double seconds)
{
    return QDateTime::fromMSecsSinceEpoch(kReferenceDateMSecs + qint64(std::llround(seconds * 1000)), QTimeZone::utc());
}

QColor expectedColor(const LegacyColor &color)
{
    const auto &c = color.components;
    if (color.kind == 3 || color.kind == 4)
        return QColor::fromRgbF(c[0], c[0], c[0], c[1]);
    return QColor::fromRgbF(c[0], c[1], c[2], c[3]);
}

void expectColorNear(const QColor &got, const LegacyColor &want, const char *what)
{
    const QColor expected = expectedColor(want);
    const QColor rgb = got.toRgb();
    constexpr double tolerance = 1.0 / 255 + 1e-6;
    EXPECT_NEAR(rgb.redF(), expected.redF(), tolerance) << what;
    EXPECT_NEAR(rgb.greenF(), expected.greenF(), tolerance) << what;
    EXPECT_NEAR(rgb.blueF(), expected.blueF(), tolerance) << what;
    EXPECT_NEAR(rgb.alphaF(), expected.alphaF(), tolerance) << what;
}

// The numbers of a geometry string, in order.
QList<double> numbersIn(const QString &text)
{
    QList<double> numbers;
    static const QRegularExpression number(QStringLiteral("-?[0-9]+(\\.[0-9]+)?"));
    for (auto it = number.globalMatch(text); it.hasNext();)
        numbers.append(it.next().captured().toDouble());
    return numbers;
}

QRectF rectIn(const QString &text)
{
    const QList<double> n = numbersIn(text);
    return n.size() == 4 ? QRectF(n[0], n[1], n[2], n[3]) : QRectF();
}

/** What a page's text must be once read: its characters, and a check of its formatting. */
struct PageText
{
    QString string;
    bool plainTextMemo = false;
    std::function<void(const TextConverter &)> checkFormatting;
};

/** How a page's file is written. */
struct PageFileLayout
{
    QByteArray memoData;              ///< flattened RTFD
    bool integersForFlags = false;    ///< <integer> 0/1 where booleans belong
    bool plainTextMemo = false;
};

// Every character of @p text in @p document passes @p test.
bool everyCharacter(const QTextDocument &document, const QString &text,
                    const std::function<bool(const QTextCharFormat &)> &test)
{
    const QTextCursor found = document.find(text);
    if (found.isNull())
        return false;
    QTextCursor cursor(const_cast<QTextDocument *>(&document));
    for (int position = found.selectionStart() + 1; position <= found.selectionEnd(); ++position) {
        cursor.setPosition(position);
        if (!test(cursor.charFormat()))
            return false;
    }
    return true;
}

bool isBold(const QTextCharFormat &format)
{
    return format.fontWeight() >= QFont::Bold;
}

std::function<bool(const QTextCharFormat &)> hasColor(QColor color)
{
    return [color](const QTextCharFormat &format) {
        return format.foreground().style() != Qt::NoBrush && format.foreground().color().toRgb() == color.toRgb();
    };
}

/** Records what the loader asks of the rest of the application. */
class StandInHost final : public DataStoreHost
{
public:
    [[nodiscard]] QList<qint64> openWindowRootIDs() const override { return opened; }
    void openWindowWithID(qint64 memoID) override { opened.append(memoID); }
    void showMainWindow() override { mainWindowShown = true; }
    [[nodiscard]] bool hasOpenWindow() const override { return !opened.isEmpty(); }
    [[nodiscard]] bool isAnyWindowEdited() const override { return false; }
    [[nodiscard]] bool isApplicationActive() const override { return false; }
    void closeAllWindows() override { opened.clear(); }
    void importOldUserDefaults() override { ++oldDefaultsImports; }
    void reportProblem(const QString &message) override { problems.append(message); }

    QList<qint64> opened;
    bool mainWindowShown = false;
    int oldDefaultsImports = 0;
    QStringList problems;
};

class LegacyDataFolderTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        folder = home() + QStringLiteral("/Desktop Data Folder");
        ASSERT_TRUE(QDir().mkpath(folder + QStringLiteral("/Note Data")));
        UserDefaults::standardUserDefaults().setValue(QStringLiteral("dataFolderPath"), folder);
        ASSERT_EQ(dataFolderPath(), folder);
    }

    void TearDown() override
    {
        ApplicationTree::setRootMemo(nullptr);
        FreshUserTest::TearDown();
    }

    void writeFile(const QString &relativePath, const QByteArray &bytes)
    {
        QFile file(folder + u'/' + relativePath);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << relativePath.toStdString();
        ASSERT_EQ(file.write(bytes), bytes.size());
    }

    QByteArray readFile(const QString &relativePath) const
    {
        QFile file(folder + u'/' + relativePath);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    // The page file of @p r, its keys gathered in order up to the first missing value.
    void writePageFile(const MemoRecord &r, const PageFileLayout &layout)
    {
        XmlPlistDictionary page;
        const auto flag = [&](const QString &key, bool value) {
            if (layout.integersForFlags)
                page.integer(key, value ? 1 : 0);
            else
                page.boolean(key, value);
        };
        page.string(QStringLiteral("title"), r.title);
        page.integer(QStringLiteral("memoID"), r.memoID);
        flag(QStringLiteral("locked"), r.locked);
        flag(QStringLiteral("isPlainTextMemo"), layout.plainTextMemo);
        flag(QStringLiteral("showRuler"), r.showRuler);
        flag(QStringLiteral("showLineNumbers"), r.showLineNumbers);
        flag(QStringLiteral("open"), r.protectWithPassword);
        page.date(QStringLiteral("createdAt"), dateFromSeconds(r.createdAt));
        page.date(QStringLiteral("modifiedAt"), dateFromSeconds(r.modifiedAt));
        page.integer(QStringLiteral("referenceNumber"), r.referenceNumber);
        if (r.tags) {
            page.stringArray(QStringLiteral("tags"), *r.tags);
            if (!layout.memoData.isEmpty())
                page.data(QStringLiteral("memoData"), layout.memoData);
        }
        writeFile(QStringLiteral("Note Data/%1.jw3page").arg(r.memoID), page.text());
    }

    void writePageFiles(const MemoRecord &r, const std::map<qint64, PageFileLayout> &layouts)
    {
        if (const auto layout = layouts.find(r.memoID); layout != layouts.end())
            writePageFile(r, layout->second);
        for (const MemoRecord &child : r.children)
            writePageFiles(child, layouts);
    }

    /**
     * Compares a loaded page and its subtree with the record it was archived
     * from at class version @p memoVersion, its window record at
     * @p attributeVersion: the fields a version does not hold must come back
     * with the values older data always had.
     */
    void expectSameTree(const MemoRecord &want, const MemoPtr &got, qint64 memoVersion, qint64 attributeVersion,
                        bool savedSinceLoading = false)
    {
        ASSERT_TRUE(got);
        SCOPED_TRACE(QStringLiteral("page %1 \"%2\"").arg(want.memoID).arg(want.title).toStdString());
        EXPECT_EQ(got->memoID(), want.memoID);
        EXPECT_EQ(got->title(), want.title);
        EXPECT_EQ(got->createdAt().toSecsSinceEpoch(), dateFromSeconds(want.createdAt).toSecsSinceEpoch());
        EXPECT_EQ(got->modifiedAt().toSecsSinceEpoch(), dateFromSeconds(want.modifiedAt).toSecsSinceEpoch());
        EXPECT_EQ(got->referenceNumber(), want.referenceNumber);
        EXPECT_EQ(got->hasTags(), want.tags.has_value());
        EXPECT_EQ(got->tags(), want.tags.value_or(QStringList()));
        expectColorNear(got->titleColor(), want.titleColor, "title colour");
        EXPECT_EQ(got->locked(), want.locked);
        EXPECT_EQ(got->protectWithPassword(), want.protectWithPassword);
        EXPECT_FALSE(got->unlockedPassword()) << "protected pages come back locked";
        EXPECT_EQ(got->plainText(), want.plainText);
        EXPECT_EQ(got->scrollRangeString(), want.scrollRange);
        EXPECT_EQ(got->selectedRangeString(), want.selectedRange);
        EXPECT_FALSE(got->isEdited());

        EXPECT_EQ(got->scaleImages(), memoVersion >= 4 && want.scaleImages)
            << "stores of versions 2 and 3 come back without image scaling";
        EXPECT_EQ(got->showRuler(), memoVersion >= 3 && want.showRuler);
        EXPECT_EQ(got->showLineNumbers(), memoVersion >= 3 && want.showLineNumbers);
        if (memoVersion >= 3)
            expectColorNear(got->titleCharacterColor(), want.titleCharacterColor, "character colour");
        else
            expectColorNear(got->titleCharacterColor(), LegacyColor::deviceRGB(0, 0, 0, 1), "character colour");
        EXPECT_EQ(got->verticalLayout(), memoVersion >= 4 && want.verticalLayout);
        EXPECT_EQ(got->webURLStr(), memoVersion >= 5 ? want.webURLStr : QString());
        EXPECT_TRUE(got->webIconImage().isNull()) << "the icon archived as NSNull is no icon";
        EXPECT_NE(got->webIconImage().metaType(), QMetaType::fromType<ArchivedImage>());

        const WindowAttributePtr &attribute = got->windowAttribute();
        ASSERT_TRUE(attribute);
        if (want.windowAttribute) {
            const WindowAttributeRecord &w = *want.windowAttribute;
            EXPECT_EQ(attribute->selectionID(), w.selectionID);
            EXPECT_EQ(attribute->windowFrame(), rectIn(w.windowFrame));
            EXPECT_EQ(attribute->showPageHandle(), w.showPageHandle);
            EXPECT_EQ(attribute->floating(), w.floating);
            EXPECT_EQ(attribute->showDrawer(), w.showDrawer);
            EXPECT_EQ(attribute->drawerEdge(), w.drawerEdge);
            const QList<double> drawer = numbersIn(w.drawerSize);
            EXPECT_EQ(attribute->drawerSize(), QSizeF(drawer.value(0), drawer.value(1)));
            EXPECT_EQ(attribute->iconized(), w.iconized);
            // Archiving a record leaves its live icon frame at 48 by 48; the archive keeps the size.
            const QRectF iconFrame = rectIn(w.iconWindowFrame);
            EXPECT_EQ(attribute->iconWindowFrame(),
                      savedSinceLoading ? QRectF(iconFrame.topLeft(), QSizeF(48, 48)) : iconFrame);
            EXPECT_EQ(attribute->rulerIsVisible(), w.rulerIsVisible);
            EXPECT_EQ(attribute->continuousSpellChecking(), w.continuousSpellChecking);
            EXPECT_EQ(attribute->iconWindowChangeAlphaValue(), w.iconWindowChangeAlphaValue);
            EXPECT_FLOAT_EQ(attribute->iconWindowAlphaValue(), w.iconWindowAlphaValue);
            EXPECT_FLOAT_EQ(attribute->iconWindowAlphaValueAtPoint(), w.iconWindowAlphaValueAtPoint);
            EXPECT_EQ(attribute->iconWindowMoveSpaces(), w.iconWindowMoveSpaces);
            EXPECT_EQ(attribute->noteWindowChangeAlphaValue(), w.noteWindowChangeAlphaValue);
            EXPECT_FLOAT_EQ(attribute->noteWindowAlphaValue(), w.noteWindowAlphaValue);
            EXPECT_FLOAT_EQ(attribute->noteWindowAlphaValueAtPoint(), w.noteWindowAlphaValueAtPoint);
            if (attributeVersion >= 2) {
                EXPECT_EQ(attribute->tabItems(), w.tabItems);
                EXPECT_EQ(attribute->selectedTabIndex(), w.selectedTabIndex);
            }
            if (attributeVersion >= 3) {
                EXPECT_EQ(attribute->windowFrameStr(), w.windowFrameStr);
                EXPECT_EQ(attribute->iconFrameStr(), w.iconFrameStr);
            }
            if (attributeVersion >= 4) {
                EXPECT_EQ(attribute->webWindowFrame(), rectIn(w.webWindowFrame));
                EXPECT_EQ(attribute->showWebControlBar(), w.showWebControlBar);
            } else {
                // Older records have no web frame: the window's, 1.2 times as large.
                const QRectF frame = rectIn(w.windowFrame);
                EXPECT_EQ(attribute->webWindowFrame(),
                          QRectF(frame.topLeft(), QSizeF(frame.width() * 1.2, frame.height() * 1.2)));
                EXPECT_TRUE(attribute->showWebControlBar());
            }
        }

        ASSERT_EQ(got->children().size(), want.children.size()) << "children in archive order";
        for (size_t i = 0; i < want.children.size(); ++i)
            expectSameTree(want.children[i], got->children()[i], memoVersion, attributeVersion, savedSinceLoading);
        // A protected page hides its children until it is unlocked.
        EXPECT_EQ(got->isLeaf(), want.children.empty() || want.protectWithPassword);
    }

    void expectTexts(const MemoPtr &root, const std::map<qint64, PageText> &texts)
    {
        QList<MemoPtr> all;
        root->addSubMemosToArray(all, false);
        size_t checked = 0;
        for (const MemoPtr &memo : all) {
            const auto want = texts.find(memo->memoID());
            if (want == texts.end())
                continue;
            SCOPED_TRACE(QStringLiteral("text of page %1").arg(memo->memoID()).toStdString());
            ++checked;
            const QByteArray data = memo->memoData();
            ASSERT_FALSE(data.isEmpty());
            TextConverter converter;
            const Status read = converter.setRTFDData(data);
            ASSERT_TRUE(read.ok()) << read.errorMessage().toStdString();
            EXPECT_EQ(converter.string(), want->second.string);
            EXPECT_EQ(memo->isPlainTextMemo(), want->second.plainTextMemo);
            if (want->second.checkFormatting)
                want->second.checkFormatting(converter);
        }
        EXPECT_EQ(checked, texts.size()) << "every page with an expected text is in the tree";
    }

    QString folder;
};

// --- The folder's contents ------------------------------------------------------------

const QByteArray kHelvetica = "\\f0\\fswiss\\fcharset0 Helvetica;";

QByteArray rtfd(const QByteArray &rtf)
{
    return flattenedRtfd({{"TXT.rtf", rtf}}, 1237043366);
}

WindowAttributeRecord windowOf(qint64 selectionID)
{
    WindowAttributeRecord w;
    w.selectionID = selectionID;
    return w;
}

// The tree: pages on three levels below the top, non-ASCII titles, every
// kind of date form, colours of several colour spaces, tags (and a page
// whose tags are nil), a locked page, a protected page with a child, a web
// clip and a page without a page file.
MemoRecord platformTree()
{
    MemoRecord deepest;
    deepest.memoID = 7;
    deepest.title = QStringLiteral("Deep 🎉 emoji");
    deepest.createdAt = secondsAt(utc(2009, 4, 1, 7, 30, 5));
    deepest.modifiedAt = secondsAt(utc(2009, 4, 2, 22, 0, 59));
    deepest.zoneBeforeFormat = true;
    deepest.tags = QStringList();
    deepest.titleColor = LegacyColor::deviceRGB(0.5f, 0.25f, 0.75f);
    deepest.plainText = QStringLiteral("Deepest");
    deepest.scaleImages = true;
    deepest.windowAttribute = windowOf(7);

    MemoRecord untitled;
    untitled.memoID = 8;
    untitled.title = QString(); // the shared empty string, first written by the page before
    untitled.createdAt = secondsAt(utc(2009, 5, 5, 5, 5, 5));
    untitled.modifiedAt = secondsAt(utc(2009, 5, 6, 6, 6, 6, 250));
    untitled.tags = QStringList();
    untitled.plainText = QStringLiteral("Straße — α");
    untitled.windowAttribute = windowOf(8);

    MemoRecord japanese;
    japanese.memoID = 4;
    japanese.memoIDType = 'i';
    japanese.title = QStringLiteral("日本語のメモ");
    japanese.createdAt = secondsAt(utc(2008, 12, 31, 23, 59, 59));
    japanese.modifiedAt = secondsAt(utc(2009, 1, 1, 0, 0, 1));
    japanese.referenceNumber = 70000;
    japanese.tags = QStringList{QStringLiteral("日本"), QStringLiteral("旅行")};
    japanese.tagsMutable = false;
    japanese.titleColor = LegacyColor::calibratedRGB(0.1f, 0.6f, 0.3f);
    japanese.titleCharacterColor = LegacyColor::deviceWhite(0.5f);
    japanese.showLineNumbers = true;
    japanese.verticalLayout = true;
    japanese.plainText = QStringLiteral("日本語のメモ\nParty 🎉 time");
    japanese.scrollRange = QStringLiteral("{7, 12}");
    japanese.windowAttribute = windowOf(4);
    japanese.children = {deepest, untitled};

    MemoRecord locked;
    locked.memoID = 5;
    locked.title = QStringLiteral("Locked page");
    locked.createdAt = secondsAt(utc(2009, 2, 2, 2, 2, 2));
    locked.modifiedAt = secondsAt(utc(2009, 2, 3, 3, 3, 3));
    locked.tags = std::nullopt;
    locked.locked = true;
    locked.plainText = QStringLiteral("Only in the archive");
    locked.windowAttribute = windowOf(5);

    MemoRecord cafe;
    cafe.memoID = 1;
    cafe.title = QStringLiteral("Café crème brûlée");
    cafe.createdAt = secondsAt(utc(2009, 3, 14, 15, 9, 26));
    cafe.modifiedAt = secondsAt(utc(2009, 3, 15, 8, 0, 0, 250));
    cafe.referenceNumber = 300;
    cafe.tags = QStringList{QStringLiteral("料理"), QStringLiteral("Work & play")};
    cafe.titleColor = LegacyColor::deviceRGB(1, 0.5f, 0);
    cafe.titleCharacterColor = LegacyColor::deviceRGB(0.2f, 0.4f, 0.6f);
    cafe.showRuler = true;
    cafe.plainText = QStringLiteral("Café crème brûlée\nBuy milk and red apples.");
    cafe.selectedRange = QStringLiteral("{5, 3}");
    WindowAttributeRecord cafeWindow;
    cafeWindow.selectionID = 4;
    cafeWindow.windowFrame = QStringLiteral("{{100, 200}, {640, 480}}");
    cafeWindow.windowFrameStr = QStringLiteral("100 200 640 480 0 0 1440 878 ");
    cafeWindow.floating = true;
    cafeWindow.showDrawer = true;
    cafeWindow.drawerEdge = 2;
    cafeWindow.drawerSize = QStringLiteral("{200, 400}");
    cafeWindow.rulerIsVisible = true;
    cafeWindow.noteWindowChangeAlphaValue = true;
    cafeWindow.noteWindowAlphaValue = 0.5f;
    cafeWindow.noteWindowAlphaValueAtPoint = 0.75f;
    cafeWindow.iconWindowAlphaValue = 0.25f;
    cafeWindow.tabItems = QList<qint64>{4, 7};
    cafeWindow.selectedTabIndex = 1;
    cafe.windowAttribute = cafeWindow;
    cafe.children = {japanese, locked};

    MemoRecord secretChild;
    secretChild.memoID = 6;
    secretChild.title = QStringLiteral("Secret child");
    secretChild.createdAt = secondsAt(utc(2010, 1, 1, 10, 0, 0));
    secretChild.modifiedAt = secondsAt(utc(2010, 1, 2, 10, 0, 0));
    secretChild.tags = QStringList();
    secretChild.plainText = QStringLiteral("Hidden text");
    secretChild.windowAttribute = windowOf(6);

    MemoRecord protectedPage;
    protectedPage.memoID = 2;
    protectedPage.title = QStringLiteral("Protected 🔒");
    protectedPage.createdAt = secondsAt(utc(2009, 12, 24, 18, 0, 0));
    protectedPage.modifiedAt = secondsAt(utc(2010, 1, 3, 9, 45, 12));
    protectedPage.referenceNumber = 3;
    protectedPage.tags = QStringList{QStringLiteral("secret")};
    protectedPage.protectWithPassword = true;
    protectedPage.plainText = QStringLiteral("Behind a password");
    WindowAttributeRecord protectedWindow = windowOf(6);
    protectedWindow.windowFrame = QStringLiteral("{{300, 120}, {520, 600}}");
    protectedWindow.showPageHandle = false;
    protectedWindow.iconWindowChangeAlphaValue = true;
    protectedWindow.iconWindowMoveSpaces = true;
    protectedWindow.iconWindowAlphaValueAtPoint = 0.5f;
    protectedPage.windowAttribute = protectedWindow;
    protectedPage.children = {secretChild};

    MemoRecord webClip;
    webClip.memoID = 3;
    webClip.title = QStringLiteral("Web clip");
    webClip.createdAt = secondsAt(utc(2010, 6, 1, 12, 0, 0));
    webClip.modifiedAt = secondsAt(utc(2010, 6, 1, 12, 0, 30));
    webClip.tags = QStringList{QStringLiteral("web")};
    webClip.titleColor = LegacyColor::deviceRGB(0, 0, 1);
    webClip.plainText = QStringLiteral("https://example.com/news\nSaved from the web.");
    webClip.webURLStr = QStringLiteral("https://example.com/news/2009/03/page.html?a=1&b=%C3%A9");
    webClip.windowAttribute = std::nullopt;

    MemoRecord picture;
    picture.memoID = 12;
    picture.title = QStringLiteral("Picture page");
    picture.createdAt = secondsAt(utc(2011, 2, 3, 4, 5, 6));
    picture.modifiedAt = secondsAt(utc(2011, 2, 3, 4, 6, 7));
    picture.tags = QStringList();
    picture.plainText = QStringLiteral("Photo:\n\uFFFC\nCaption");
    WindowAttributeRecord pictureWindow = windowOf(12);
    pictureWindow.windowFrame = QStringLiteral("{{20, 30}, {700, 500}}");
    pictureWindow.iconized = true;
    pictureWindow.iconWindowFrame = QStringLiteral("{{900, 40}, {64, 64}}");
    pictureWindow.iconFrameStr = QStringLiteral("900 40 64 64 0 0 1440 878 ");
    pictureWindow.webWindowFrame = QStringLiteral("{{10, 10}, {1024, 768}}");
    pictureWindow.showWebControlBar = false;
    pictureWindow.continuousSpellChecking = false;
    picture.windowAttribute = pictureWindow;

    MemoRecord noFile;
    noFile.memoID = 10;
    noFile.title = QStringLiteral("No page file");
    noFile.createdAt = secondsAt(utc(2011, 3, 1, 0, 0, 0));
    noFile.modifiedAt = secondsAt(utc(2011, 3, 1, 0, 0, 0));
    noFile.tags = QStringList();
    noFile.plainText = QStringLiteral("Text kept only in the archive");
    noFile.windowAttribute = windowOf(10);

    MemoRecord root;
    root.memoID = 0;
    root.title = QStringLiteral("Notes");
    // 21692800 s after the reference date: a date small enough for the integer form.
    root.createdAt = 21692800.0;
    root.modifiedAt = secondsAt(utc(2011, 3, 2, 12, 0, 0));
    root.tags = QStringList();
    root.plainText = QStringLiteral("Welcome");
    root.windowAttribute = windowOf(1);
    root.children = {cafe, protectedPage, webClip, picture, noFile};
    return root;
}

QByteArray pictureBytes()
{
    static const QByteArray bytes = encodedImage(QSize(16, 12), QColor(30, 144, 255));
    return bytes;
}

std::map<qint64, PageFileLayout> platformPageFiles()
{
    std::map<qint64, PageFileLayout> files;
    files[0].memoData = rtfd(platformRtf("949\\cocoasubrtf540", kHelvetica, "", "\\f0\\fs24 \\cf0 Welcome"));
    files[1].memoData = rtfd(platformRtf("949\\cocoasubrtf540",
                                         kHelvetica + "\\f1\\fswiss\\fcharset0 Helvetica-Bold;",
                                         "\\red204\\green0\\blue0;",
                                         "\\f0\\fs24 \\cf0 Caf\\'e9 cr\\'e8me br\\'fbl\\'e9e\\\n"
                                         "Buy \n"
                                         "\\f1\\b milk\n"
                                         "\\f0\\b0  and \n"
                                         "\\cf2 red\n"
                                         "\\cf0  apples."));
    // Japanese in a Japanese font: Shift-JIS byte pairs; the emoji as two UTF-16 units.
    files[4].memoData = rtfd(platformRtf("1038\\cocoasubrtf360",
                                         "\\f0\\fnil\\fcharset128 HiraKakuProN-W3;\\f1\\fswiss\\fcharset0 Helvetica;",
                                         "\\red0\\green0\\blue255;",
                                         "\\f0\\fs24 \\cf0 \\'93\\'fa\\'96\\'7b\\'8c\\'ea\\'82\\'cc\\'83\\'81\\'83\\'82\n"
                                         "\\f1 \\\n"
                                         "\\cf2 Party \\uc0\\u55356 \\u57225  time"));
    files[7].memoData = rtfd(platformRtf("949\\cocoasubrtf540", kHelvetica, "", "\\f0\\fs24 \\cf0 Deepest"));
    files[8].memoData = rtfd(platformRtf("949\\cocoasubrtf540", kHelvetica, "",
                                         "\\f0\\fs24 \\cf0 Stra\\'dfe \\'97 \\uc0\\u945 "));
    files[5].memoData = rtfd(platformRtf("949\\cocoasubrtf540", kHelvetica, "", "\\f0\\fs24 \\cf0 Never written"));
    files[2].memoData = rtfd(platformRtf("949\\cocoasubrtf540", kHelvetica, "",
                                         "\\f0\\fs24 \\cf0 Behind a password"));
    files[6].memoData = QByteArray(); // a file whose text was cleared: every key but "memoData"
    // The web clip is a plain-text page, and its file has numbers for its flags.
    files[3].memoData = rtfd(platformRtf("949\\cocoasubrtf540", "\\f0\\fmodern\\fcharset0 Courier;", "",
                                         "\\f0\\fs24 \\cf0 https://example.com/news\\\nSaved from the web."));
    files[3].integersForFlags = true;
    files[3].plainTextMemo = true;
    // An attachment, its file listed before the text.
    const QByteArray pictureRtf = platformRtf("1038\\cocoasubrtf360", kHelvetica, "",
                                              "\\f0\\fs24 \\cf0 Photo:\\\n"
                                              "{{\\NeXTGraphic Pasted Graphic.png \\width240 \\height180\n"
                                              "}\xac}\\\n"
                                              "\\b Caption");
    files[12].memoData =
        flattenedRtfd({{"Pasted Graphic.png", pictureBytes()}, {"TXT.rtf", pictureRtf}}, 1296705966);
    return files;
}

std::map<qint64, PageText> platformPageTexts()
{
    std::map<qint64, PageText> texts;
    texts[0] = {QStringLiteral("Welcome"), false, {}};
    texts[1] = {QStringLiteral("Café crème brûlée\nBuy milk and red apples."), false, [](const TextConverter &text) {
                    EXPECT_TRUE(everyCharacter(text.document(), QStringLiteral("milk"), isBold));
                    EXPECT_FALSE(everyCharacter(text.document(), QStringLiteral("Buy"), isBold));
                    EXPECT_TRUE(everyCharacter(text.document(), QStringLiteral("red"), hasColor(QColor(204, 0, 0))));
                    EXPECT_FALSE(everyCharacter(text.document(), QStringLiteral("apples"), hasColor(QColor(204, 0, 0))));
                }};
    texts[4] = {QStringLiteral("日本語のメモ\nParty 🎉 time"), false, [](const TextConverter &text) {
                    EXPECT_TRUE(everyCharacter(text.document(), QStringLiteral("Party 🎉 time"),
                                               hasColor(QColor(0, 0, 255))));
                }};
    texts[7] = {QStringLiteral("Deepest"), false, {}};
    texts[8] = {QStringLiteral("Straße — α"), false, {}};
    // Its file stops before the tags, so the text comes from the archive's plain text.
    texts[5] = {QStringLiteral("Only in the archive"), false, {}};
    texts[2] = {QStringLiteral("Behind a password"), false, {}};
    texts[6] = {QStringLiteral("Hidden text"), false, {}}; // from the archive's plain text
    texts[3] = {QStringLiteral("https://example.com/news\nSaved from the web."), true, {}};
    texts[12] = {QStringLiteral("Photo:\n\nCaption"), false, [](const TextConverter &text) {
                     EXPECT_EQ(text.plainString(), QStringLiteral("Photo:\n\uFFFC\nCaption"));
                     EXPECT_TRUE(everyCharacter(text.document(), QStringLiteral("Caption"), isBold));
                     const QList<TextConverter::Attachment> attachments = text.attachments();
                     ASSERT_EQ(attachments.size(), 1);
                     EXPECT_EQ(attachments[0].fileName, QStringLiteral("Pasted Graphic.png"));
                     EXPECT_EQ(attachments[0].bytes, pictureBytes());
                     EXPECT_EQ(attachments[0].image.size(), QSize(16, 12));
                 }};
    texts[10] = {QStringLiteral("Text kept only in the archive"), false, {}};
    return texts;
}

const LegacyColor kBackground = LegacyColor::calibratedRGB(1, 0.98f, 0.8f, 1);
const QDateTime kLastSync = utc(2010, 6, 1, 12, 0, 0, 500);

QByteArray platformSettings()
{
    TypedStreamBytes s;
    s.type("@");
    s.beginDictionary(17);
    const auto key = [&](const char *name) {
        s.type("@");
        s.string(QString::fromLatin1(name));
        s.type("@");
    };
    key("windowIDs");
    s.beginArray(3);
    s.type("@");
    s.number('q', 12);
    s.type("@");
    s.number('i', 2);
    s.type("@");
    s.number('q', 1);
    s.endObject();
    key("AutoSave");
    s.number('c', 1);
    key("Animation");
    s.number('c', 0);
    key("DeleteCheck");
    s.number('c', 1);
    key("AutoSaveAtBG");
    s.number('c', 0);
    key("createNewMemoAsPlainText");
    s.number('c', 0);
    key("AutoSavePeriod");
    s.number('i', 5);
    key("HomeID");
    s.number('q', 4);
    key("TitleSize");
    s.number('i', 2);
    key("NoteWindowStyleTag");
    s.number('q', 1);
    key("ApplicationVersion");
    s.realNumber('d', 2.0);
    key("DefaultFontSize");
    s.realNumber('f', 13.5);
    key("DefaultFont");
    s.string(QStringLiteral("HiraKakuProN-W3"));
    key("abGroupName");
    s.string(QStringLiteral("Famille Müller"));
    key("se-XCMD");
    s.string(QStringLiteral("5f4dcc3b5aa765d61d8327deb882cf99"));
    key("BGColor");
    s.data(archivedColor(kBackground));
    key("LastSynchronizedDate");
    s.date(secondsAt(kLastSync));
    s.endObject();
    return s.bytes();
}

void expectPlatformPreferences()
{
    const UserDefaults &defaults = UserDefaults::standardUserDefaults();
    const auto expectValue = [&](const char *key, QMetaType::Type type, const QVariant &value) {
        const QVariant got = defaults.objectForKey(QString::fromLatin1(key));
        EXPECT_EQ(got.typeId(), int(type)) << key << " came back as " << got.typeName();
        EXPECT_EQ(got, value) << key;
    };
    expectValue("AutoSave", QMetaType::Bool, true);
    expectValue("Animation", QMetaType::Bool, false);
    expectValue("DeleteCheck", QMetaType::Bool, true);
    expectValue("AutoSaveAtBG", QMetaType::Bool, false);
    expectValue("createNewMemoAsPlainText", QMetaType::Bool, false);
    expectValue("AutoSavePeriod", QMetaType::LongLong, qint64(5));
    expectValue("HomeID", QMetaType::LongLong, qint64(4));
    expectValue("TitleSize", QMetaType::LongLong, qint64(2));
    expectValue("NoteWindowStyleTag", QMetaType::LongLong, qint64(1));
    expectValue("ApplicationVersion", QMetaType::Double, 2.0);
    expectValue("DefaultFontSize", QMetaType::Double, 13.5);
    expectValue("DefaultFont", QMetaType::QString, QStringLiteral("HiraKakuProN-W3"));
    expectValue("abGroupName", QMetaType::QString, QStringLiteral("Famille Müller"));
    expectValue("se-XCMD", QMetaType::QString, QStringLiteral("5f4dcc3b5aa765d61d8327deb882cf99"));
    expectValue("BGColor", QMetaType::QByteArray, archivedColor(kBackground));
    const QVariant sync = defaults.objectForKey(QStringLiteral("LastSynchronizedDate"));
    EXPECT_EQ(sync.typeId(), int(QMetaType::QDateTime));
    EXPECT_EQ(sync.toDateTime().toSecsSinceEpoch(), kLastSync.toSecsSinceEpoch());
}

TEST_F(LegacyDataFolderTest, ReadsEveryPageSettingAndTextOfAPlatformWrittenFolderAndKeepsThemThroughSaving)
{
    const MemoRecord tree = platformTree();
    const std::map<qint64, PageFileLayout> pageFiles = platformPageFiles();
    writeFile(QStringLiteral("JW3Data.jw3datastore"), dataStore(tree));
    writeFile(QStringLiteral("JW3Data.jw3settings"), platformSettings());
    writePageFiles(tree, pageFiles);
    ASSERT_FALSE(QFile::exists(notePathForID(10))) << "one page has no page file";

    std::map<QString, QByteArray> pageFilesBefore;
    for (const QString &name : QDir(folder + QStringLiteral("/Note Data")).entryList(QDir::Files))
        pageFilesBefore[name] = readFile(QStringLiteral("Note Data/") + name);
    ASSERT_EQ(pageFilesBefore.size(), pageFiles.size());

    StandInHost host;
    {
        DataStore store;
        store.setHost(&host);
        store.loadNoteData();
        EXPECT_TRUE(store.problems().isEmpty()) << store.problems().join(u'\n').toStdString();
        EXPECT_TRUE(host.problems.isEmpty()) << host.problems.join(u'\n').toStdString();
        EXPECT_EQ(host.opened, (QList<qint64>{12, 2, 1})) << "the windows reopen in the settings' order";
        EXPECT_FALSE(host.mainWindowShown);
        EXPECT_EQ(host.oldDefaultsImports, 0) << "the settings brought the application version";
        // The counter is left one above the largest ID (12); new pages take the one after.
        EXPECT_EQ(UserDefaults::standardUserDefaults().integerForKey(QStringLiteral("memoID")), 13)
            << "new pages take IDs above the folder's largest";

        expectSameTree(tree, store.rootMemo(), 5, 4);
        expectTexts(store.rootMemo(), platformPageTexts());
        expectPlatformPreferences();

        const Status saved = store.save();
        ASSERT_TRUE(saved.ok()) << saved.errorMessage().toStdString();
    }

    // Nothing was edited: no page file was written over.
    for (const auto &[name, bytes] : pageFilesBefore)
        EXPECT_EQ(readFile(QStringLiteral("Note Data/") + name), bytes) << name.toStdString();
    EXPECT_FALSE(QFile::exists(notePathForID(10)));

    // The preferences must now come from the settings file the application wrote.
    UserDefaults &defaults = UserDefaults::standardUserDefaults();
    for (const QString &key : SettingsFile::preferenceKeys())
        defaults.removeObjectForKey(key);

    StandInHost again;
    DataStore reloaded;
    reloaded.setHost(&again);
    reloaded.loadNoteData();
    EXPECT_TRUE(reloaded.problems().isEmpty()) << reloaded.problems().join(u'\n').toStdString();
    EXPECT_EQ(again.opened, (QList<qint64>{12, 2, 1}));
    expectSameTree(tree, reloaded.rootMemo(), 5, 4);
    expectTexts(reloaded.rootMemo(), platformPageTexts());
    expectPlatformPreferences();
}

// A store written before the vertical layout and the web clips: class
// version 3 pages with version 3 window records, tags in immutable arrays.
MemoRecord olderTree()
{
    MemoRecord grandchild;
    grandchild.memoID = 22;
    grandchild.title = QStringLiteral("子ページ");
    grandchild.createdAt = secondsAt(utc(2007, 11, 5, 10, 0, 0));
    grandchild.modifiedAt = secondsAt(utc(2007, 11, 6, 11, 0, 0));
    grandchild.tags = std::nullopt;
    grandchild.plainText = QStringLiteral("Petit texte");
    grandchild.windowAttribute = windowOf(22);

    MemoRecord summer;
    summer.memoID = 21;
    summer.title = QStringLiteral("Vieux carnet — été");
    summer.createdAt = secondsAt(utc(2007, 7, 14, 9, 0, 0));
    summer.modifiedAt = secondsAt(utc(2007, 8, 15, 17, 30, 0));
    summer.zoneBeforeFormat = true;
    summer.tags = QStringList{QStringLiteral("vacances")};
    summer.tagsMutable = false;
    summer.titleColor = LegacyColor::calibratedWhite(0.25f);
    summer.protectWithPassword = true;
    summer.plainText = QStringLiteral("Souvenirs");
    WindowAttributeRecord summerWindow = windowOf(22);
    summerWindow.windowFrame = QStringLiteral("{{60, 70}, {480, 360}}");
    summerWindow.tabItems = QList<qint64>{22};
    summerWindow.windowFrameStr = QStringLiteral("60 70 480 360 0 0 1280 778 ");
    summer.windowAttribute = summerWindow;
    summer.children = {grandchild};

    MemoRecord ruler;
    ruler.memoID = 20;
    ruler.title = QStringLiteral("Ruler page");
    ruler.createdAt = secondsAt(utc(2007, 6, 1, 8, 0, 0));
    ruler.modifiedAt = secondsAt(utc(2007, 6, 2, 8, 0, 0));
    ruler.referenceNumber = 12;
    ruler.tags = QStringList{QStringLiteral("old"), QStringLiteral("ruler")};
    ruler.titleColor = LegacyColor::deviceRGB(0.9f, 0.9f, 0.1f);
    ruler.titleCharacterColor = LegacyColor::deviceRGB(0.8f, 0.1f, 0.1f);
    ruler.locked = true;
    ruler.scaleImages = true; // stored, yet never read back at this version
    ruler.showRuler = true;
    ruler.showLineNumbers = true;
    ruler.verticalLayout = true; // not in the archive at this version
    ruler.webURLStr = QStringLiteral("https://example.com/ignored");
    ruler.plainText = QStringLiteral("Tabs\tand rulers");
    ruler.windowAttribute = windowOf(20);

    MemoRecord root;
    root.memoID = 0;
    root.title = QStringLiteral("Older notes");
    root.createdAt = secondsAt(utc(2007, 6, 1, 7, 0, 0));
    root.modifiedAt = secondsAt(utc(2007, 8, 15, 17, 30, 0));
    root.tags = QStringList();
    root.windowAttribute = windowOf(20);
    root.children = {ruler, summer};
    return root;
}

// Writes @p root as pages of @p memoVersion whose window records are of @p attributeVersion.
QByteArray olderDataStore(const MemoRecord &root, qint64 memoVersion, qint64 attributeVersion)
{
    // writeMemo gives pages window records of the current version; older
    // stores carry older ones, so the tree is written here page by page.
    TypedStreamBytes s;
    std::function<void(const MemoRecord &)> page = [&](const MemoRecord &r) {
        s.beginObject(memoChain(memoVersion));
        s.type("@");
        s.number('q', r.memoID);
        s.type("@");
        r.title.isEmpty() ? s.emptyString() : s.string(r.title);
        s.type("@");
        s.beginArray(qint64(r.children.size()));
        for (const MemoRecord &child : r.children) {
            s.type("@");
            page(child);
        }
        s.endObject();
        for (double seconds : {r.createdAt, r.modifiedAt}) {
            s.type("@");
            s.beginCalendarDate(seconds);
            s.type("@");
            s.shared(QStringLiteral("format"), [&] { return s.string(QStringLiteral("%Y-%m-%d %H:%M:%S %z")); });
            s.type("@");
            s.shared(QStringLiteral("zone"), [&] { return s.timeZone(QStringLiteral("Europe/Paris")); });
            s.endObject();
        }
        s.type("@");
        s.number('i', r.referenceNumber);
        s.type("@");
        if (r.tags) {
            s.beginArray(r.tags->size(), r.tagsMutable);
            for (const QString &tag : *r.tags) {
                s.type("@");
                s.string(tag);
            }
            s.endObject();
        } else {
            s.nil();
        }
        s.type("@");
        s.color(r.titleColor);
        s.type("@");
        s.number('c', r.locked);
        s.type("@");
        s.number('c', r.protectWithPassword);
        s.type("@");
        r.plainText.isEmpty() ? s.emptyString() : s.string(r.plainText);
        s.type("@");
        s.string(r.scrollRange);
        s.type("@");
        s.string(r.selectedRange);
        s.type("@");
        if (r.windowAttribute)
            writeWindowAttribute(s, *r.windowAttribute, attributeVersion);
        else
            s.nil();
        if (memoVersion >= 2) {
            s.type("c");
            s.rawByte(r.scaleImages);
        }
        if (memoVersion >= 3) {
            s.type("c");
            s.rawByte(r.showRuler);
            s.type("c");
            s.rawByte(r.showLineNumbers);
            s.type("@");
            s.color(r.titleCharacterColor);
        }
        s.endObject();
    };
    s.type("@");
    page(root);
    return s.bytes();
}

TEST_F(LegacyDataFolderTest, ReadsAStoreOfOlderPagesAndSavesItInTheCurrentVersion)
{
    const MemoRecord tree = olderTree();
    const QByteArray store = olderDataStore(tree, 3, 3);
    ASSERT_TRUE(store.contains(QByteArray("\x06JWMemo\x03", 8)));
    writeFile(QStringLiteral("JW3Data.jw3datastore"), store);

    TypedStreamBytes settings;
    settings.type("@");
    settings.beginDictionary(2);
    settings.type("@");
    settings.string(QStringLiteral("windowIDs"));
    settings.type("@");
    settings.beginArray(1, false);
    settings.type("@");
    settings.number('q', 21);
    settings.endObject();
    settings.type("@");
    settings.string(QStringLiteral("ApplicationVersion"));
    settings.type("@");
    settings.realNumber('f', 2.0);
    settings.endObject();
    writeFile(QStringLiteral("JW3Data.jw3settings"), settings.bytes());

    std::map<qint64, PageFileLayout> files;
    files[20].memoData = rtfd(platformRtf("949\\cocoasubrtf540", kHelvetica, "", "\\f0\\fs24 \\cf0 Tabs\tand rulers"));
    files[21].memoData = rtfd(platformRtf("949\\cocoasubrtf540", kHelvetica, "", "\\f0\\fs24 \\cf0 Souvenirs"));
    files[22].memoData = rtfd(platformRtf("949\\cocoasubrtf540", kHelvetica, "", "\\f0\\fs24 \\cf0 Never read"));
    writePageFiles(tree, files);
    const std::map<qint64, PageText> texts = {
        {20, {QStringLiteral("Tabs\tand rulers"), false, {}}},
        {21, {QStringLiteral("Souvenirs"), false, {}}},
        {22, {QStringLiteral("Petit texte"), false, {}}}, // no tags, so no text in its file
    };

    StandInHost host;
    {
        DataStore loaded;
        loaded.setHost(&host);
        loaded.loadNoteData();
        EXPECT_TRUE(loaded.problems().isEmpty()) << loaded.problems().join(u'\n').toStdString();
        EXPECT_EQ(host.opened, QList<qint64>{21});
        expectSameTree(tree, loaded.rootMemo(), 3, 3);
        expectTexts(loaded.rootMemo(), texts);
        ASSERT_TRUE(loaded.save().ok());
    }
    const QByteArray rewritten = readFile(QStringLiteral("JW3Data.jw3datastore"));
    EXPECT_TRUE(rewritten.contains(QByteArray("\x06JWMemo\x05", 8))) << "saved in the current version";

    StandInHost again;
    DataStore reloaded;
    reloaded.setHost(&again);
    reloaded.loadNoteData();
    EXPECT_TRUE(reloaded.problems().isEmpty()) << reloaded.problems().join(u'\n').toStdString();
    EXPECT_EQ(again.opened, QList<qint64>{21});
    expectSameTree(tree, reloaded.rootMemo(), 3, 3);
    expectTexts(reloaded.rootMemo(), texts);
}

TEST_F(LegacyDataFolderTest, TakesAVersion2TreeKeptInThePreferencesAndWritesTheDataStore)
{
    MemoRecord only;
    only.memoID = 31;
    only.title = QStringLiteral("Ancienne note ✎");
    only.createdAt = secondsAt(utc(2006, 1, 2, 3, 4, 5));
    only.modifiedAt = secondsAt(utc(2006, 2, 3, 4, 5, 6));
    only.tags = QStringList{QStringLiteral("legacy")};
    only.titleColor = LegacyColor::deviceRGB(0.3f, 0.3f, 0.9f);
    only.scaleImages = true;
    only.showRuler = true; // not held by version 2
    only.plainText = QStringLiteral("From the preferences");
    WindowAttributeRecord window = windowOf(31);
    window.windowFrame = QStringLiteral("{{5, 6}, {300, 200}}");
    window.tabItems = QList<qint64>{31};
    only.windowAttribute = window;
    MemoRecord root;
    root.memoID = 0;
    root.title = QStringLiteral("Old notes");
    root.createdAt = secondsAt(utc(2006, 1, 1, 0, 0, 0));
    root.modifiedAt = secondsAt(utc(2006, 2, 3, 4, 5, 6));
    root.tags = QStringList();
    root.children = {only};

    UserDefaults &defaults = UserDefaults::standardUserDefaults();
    defaults.setValue(QStringLiteral("rootMemo"), olderDataStore(root, 2, 2));
    defaults.setValue(QStringLiteral("windowIDs"), QVariantList{qint64(31)});
    ASSERT_FALSE(QFile::exists(folder + QStringLiteral("/JW3Data.jw3datastore")));

    StandInHost host;
    {
        DataStore loaded;
        loaded.setHost(&host);
        loaded.loadNoteData();
        EXPECT_TRUE(loaded.problems().isEmpty()) << loaded.problems().join(u'\n').toStdString();
        EXPECT_EQ(host.oldDefaultsImports, 1) << "no application version yet: older preferences are imported";
        EXPECT_EQ(host.opened, QList<qint64>{31}) << "no settings file: the windows of the preferences";
        // Loading saved the tree at once, into the new data store.
        expectSameTree(root, loaded.rootMemo(), 2, 2, true);
        EXPECT_FALSE(defaults.objectForKey(QStringLiteral("rootMemo")).isValid());
        EXPECT_TRUE(QFile::exists(folder + QStringLiteral("/JW3Data.jw3datastore")));
        EXPECT_TRUE(QFile::exists(folder + QStringLiteral("/JW3Data.jw3settings")));
    }

    StandInHost again;
    DataStore reloaded;
    reloaded.setHost(&again);
    reloaded.loadNoteData();
    EXPECT_TRUE(reloaded.problems().isEmpty()) << reloaded.problems().join(u'\n').toStdString();
    expectSameTree(root, reloaded.rootMemo(), 2, 2);
}

} // namespace
