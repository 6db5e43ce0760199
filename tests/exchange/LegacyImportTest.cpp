#include "common/FreshUserTest.h"
#include "exchange/LegacyImport.h"
#include "exchange/LinkMarkupConverter.h"
#include "exchange/OldDataConverter.h"
#include "exchange/OpmlImport.h"
#include "platform/archive/PropertyList.h"
#include "platform/richtext/TextConverter.h"
#include "platform/settings/FolderPaths.h"
#include "platform/settings/UserDefaults.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTextCursor>

namespace {

QByteArray rtfd(const QString &text)
{
    TextConverter converter;
    converter.setString(text);
    return converter.RTFDData();
}

QByteArray plist(const QVariant &value)
{
    return PropertyList::toData(value, PropertyList::Format::Xml).valueOr(QByteArray());
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ASSERT_EQ(file.write(bytes), bytes.size());
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QTextCharFormat formatAt(const QTextDocument &document, int position)
{
    QTextCursor cursor(const_cast<QTextDocument *>(&document));
    cursor.setPosition(position + 1);
    return cursor.charFormat();
}

// A document whose every character of @p label is bold, between plain text.
void setMarkedUpText(QTextDocument &document, const QString &before, const QString &label, const QString &after)
{
    document.clear();
    QTextCursor cursor(&document);
    cursor.insertText(before);
    QTextCharFormat bold;
    bold.setFontWeight(QFont::Bold);
    cursor.insertText(label, bold);
    cursor.insertText(after, QTextCharFormat());
}

class LegacyImportTest : public FreshUserTest
{
protected:
    QString oldFolder() const { return home() + QStringLiteral("/old"); }
    QString textFolder() const { return oldFolder() + QStringLiteral("/Jotwell2"); }
    QString preferencesPath() const { return oldFolder() + QStringLiteral("/Jotwell2.plist"); }

    void SetUp() override
    {
        FreshUserTest::SetUp();
        ASSERT_TRUE(QDir().mkpath(textFolder()));
    }

    void writeNote(qint64 id, const QString &text)
    {
        writeFile(OldDataConverter::oldNotePathForID(textFolder(), id),
            plist(QVariantMap{{QStringLiteral("Note"), rtfd(text)}}));
    }
};

TEST_F(LegacyImportTest, convertsTheTreeTextsLinksAndPreferences)
{
    const QVariantMap budget{{"ID", 12}, {"Title", "Budget"}};
    const QVariantMap plans{{"ID", 57.0}, {"Title", "Plans"}, {"Children", QVariantList{budget, "not a page"}},
        {"TitleColorRed", 1.0}, {"TitleColorGreen", 0.5}, {"TitleColorBlue", "wrong"},
        {"WindowAttribute",
            QVariantMap{{"WindowFrame", "{{5, 6}, {300, 200}}"}, {"Floating", true}, {"DrawerEdge", "left"}}}};
    const QVariantMap root{{"ID", 0}, {"Title", 42}, {"Children", QVariantList{plans}}};
    const QVariantMap stale{{"ID", 99}, {"Title", "Stale"}};
    const QVariantMap old{{"MainNoteData", plist(root)}, {"MainNoteDict", stale}, {"AutoSavePeriod", 7},
        {"TabBarStyle", 2}, {"UseTopLineAsTitle", "not a flag"}, {"Unlisted", "x"}};
    writeFile(preferencesPath(), plist(old));
    UserDefaults::standardUserDefaults().registerDefaults({{"UseTopLineAsTitle", false}});
    writeNote(57, QStringLiteral("see <a JW2Link PageID=\"12\">Budget</a> now"));
    writeNote(99, QStringLiteral("stale"));
    const QByteArray before = readFile(OldDataConverter::oldNotePathForID(textFolder(), 57));

    const Result<MemoPtr> converted = LegacyImport::importOldUserDefaults(preferencesPath(), textFolder());
    ASSERT_TRUE(converted) << converted.errorMessage().toStdString();
    const MemoPtr &top = converted.value();
    ASSERT_TRUE(top);

    EXPECT_EQ(top->memoID(), 0);
    EXPECT_EQ(top->title(), appName());
    ASSERT_EQ(top->children().size(), 1u);
    const MemoPtr &converted57 = top->children().front();
    EXPECT_EQ(converted57->memoID(), 57);
    EXPECT_EQ(converted57->title(), QStringLiteral("Plans"));
    EXPECT_TRUE(converted57->isEdited());
    EXPECT_EQ(converted57->titleColor(), QColor::fromRgbF(1.0f, 0.5f, 0.0f, 1.0f));
    EXPECT_EQ(converted57->windowAttribute()->windowFrame(), QRectF(5, 6, 300, 200));
    EXPECT_TRUE(converted57->windowAttribute()->floating());
    EXPECT_EQ(converted57->windowAttribute()->drawerEdge(), JWWindowAttribute().drawerEdge());
    ASSERT_EQ(converted57->children().size(), 1u);
    EXPECT_EQ(converted57->children().front()->memoID(), 12);

    // The text of 57, its link markup made a link to page 12.
    EXPECT_EQ(converted57->plainText(), QStringLiteral("see Budget now"));
    TextConverter text;
    ASSERT_TRUE(text.setRTFDData(converted57->memoData()));
    EXPECT_EQ(formatAt(text.document(), 4).anchorHref(), QStringLiteral("Jotwell3://pageid/12/"));
    EXPECT_FALSE(formatAt(text.document(), 3).isAnchor());
    EXPECT_FALSE(formatAt(text.document(), 10).isAnchor());

    UserDefaults &defaults = UserDefaults::standardUserDefaults();
    EXPECT_EQ(defaults.integerForKey(QStringLiteral("memoID")), 58);
    EXPECT_FALSE(defaults.hasStoredValue(QStringLiteral("temp_memoID")));
    EXPECT_EQ(defaults.integerForKey(QStringLiteral("AutoSavePeriod")), 7);
    EXPECT_EQ(defaults.integerForKey(QStringLiteral("TabBarStyle")), 2);
    EXPECT_FALSE(defaults.hasStoredValue(QStringLiteral("UseTopLineAsTitle")));
    EXPECT_FALSE(defaults.hasStoredValue(QStringLiteral("Unlisted")));
    EXPECT_EQ(readFile(OldDataConverter::oldNotePathForID(textFolder(), 57)), before);
}

TEST_F(LegacyImportTest, textInTheDictionaryWinsAndATreeIsOptional)
{
    writeNote(5, QStringLiteral("from the file"));
    OldDataConverter::Context context = OldDataConverter::context(textFolder());
    const Result<MemoPtr> memo = OldDataConverter::memoWithOldDictionary(
        QVariantMap{{"ID", 5}, {"NoteData", rtfd(QStringLiteral("from the dictionary"))}}, context);
    ASSERT_TRUE(memo);
    EXPECT_EQ(memo.value()->plainText(), QStringLiteral("from the dictionary"));

    // Without a tree, only the preferences come over.
    writeFile(preferencesPath(), plist(QVariantMap{{"AutoSavePeriod", 9}}));
    const Result<MemoPtr> none = LegacyImport::importOldUserDefaults(preferencesPath(), textFolder());
    ASSERT_TRUE(none);
    EXPECT_FALSE(none.value());
    EXPECT_EQ(UserDefaults::standardUserDefaults().integerForKey(QStringLiteral("AutoSavePeriod")), 9);

    writeFile(preferencesPath(), "not a property list");
    EXPECT_FALSE(LegacyImport::importOldUserDefaults(preferencesPath(), textFolder()));
}

TEST_F(LegacyImportTest, linkMarkupBecomesLinksOnly)
{
    QTextDocument document;
    setMarkedUpText(document, QStringLiteral("a <a JW2Link href=\"https://example.org/x\">"), QStringLiteral("site"),
        QStringLiteral("</a> b <a JW2Link path=\"/tmp/a b\">file</a> c <a JW2Link name=\"x\">other</a> d"));
    EXPECT_EQ(LinkMarkupConverter::convertText(document), 3);
    EXPECT_EQ(document.toPlainText(), QStringLiteral("a site b file c other d"));
    const QTextCharFormat site = formatAt(document, 2);
    EXPECT_EQ(site.anchorHref(), QStringLiteral("https://example.org/x"));
    EXPECT_EQ(site.fontWeight(), QFont::Bold);
    EXPECT_FALSE(site.hasProperty(QTextFormat::ForegroundBrush));
    EXPECT_EQ(site.underlineStyle(), QTextCharFormat::NoUnderline);
    EXPECT_EQ(formatAt(document, 9).anchorHref(), QStringLiteral("file:///tmp/a%20b"));
    EXPECT_FALSE(formatAt(document, 16).isAnchor());

    // Case-insensitive inside a span; an invalid URL leaves the label plain.
    document.setPlainText(QStringLiteral("<a JW2Link href=\"http://[bad\">x</A></a>"));
    EXPECT_EQ(LinkMarkupConverter::convertText(document), 1);
    EXPECT_EQ(document.toPlainText(), QStringLiteral("x</a>"));
    EXPECT_FALSE(formatAt(document, 0).isAnchor());

    // A missing "</a>" ends the conversion there.
    document.setPlainText(QStringLiteral("<a JW2Link PageID=\"1\">one</a> <a JW2Link PageID=\"2\">two "
                                         "<a JW2Link PageID=\"3\">"));
    EXPECT_EQ(LinkMarkupConverter::convertText(document), 1);
    EXPECT_EQ(document.toPlainText(), QStringLiteral("one <a JW2Link PageID=\"2\">two <a JW2Link PageID=\"3\">"));
    EXPECT_EQ(formatAt(document, 0).anchorHref(), QStringLiteral("Jotwell3://pageid/1/"));
}

TEST_F(LegacyImportTest, deepTreesAreRefused)
{
    QVariantMap nested{{"ID", 1}};
    for (int level = 1; level < OldDataConverter::kMaxDepth; ++level)
        nested = QVariantMap{{"ID", level + 1}, {"Children", QVariantList{nested}}};
    OldDataConverter::Context context = OldDataConverter::context();
    EXPECT_TRUE(OldDataConverter::memoWithOldDictionary(nested, context));
    nested = QVariantMap{{"Children", QVariantList{nested}}};
    EXPECT_FALSE(OldDataConverter::memoWithOldDictionary(nested, context));

    QByteArray opml("<opml><head/><body>");
    for (int level = 0; level < 10000; ++level)
        opml += "<outline text=\"x\">";
    EXPECT_FALSE(OpmlImport::memoFromOpmlData(opml + "</body></opml>"));
    EXPECT_FALSE(OpmlImport::memoFromOpmlData("<opml><body><outline text=\"x\"></body>"));
}

TEST_F(LegacyImportTest, importsOutlines)
{
    const MemoPtr states = OpmlImport::newMemoFrom_opml(testDataPath(QStringLiteral("opml/states.opml")));
    ASSERT_TRUE(states);
    EXPECT_EQ(states->title(), QStringLiteral("states.opml"));
    QList<MemoPtr> all;
    states->addSubMemosToArray(all, false);
    EXPECT_EQ(all.size(), 64);
    const MemoPtr farWest = states->children().at(0)->children().at(0);
    EXPECT_EQ(farWest->title(), QStringLiteral("Far West"));
    const MemoPtr nevada = farWest->children().at(3);
    ASSERT_EQ(nevada->children().size(), 4u);
    EXPECT_EQ(nevada->children().at(1)->title(), QStringLiteral("Las Vegas"));

    const MemoPtr trip = OpmlImport::newMemoFrom_opml(testDataPath(QStringLiteral("opml/trip.opml")));
    ASSERT_TRUE(trip);
    const MemoPtr bistro = trip->children().at(0);
    EXPECT_EQ(bistro->title(), QStringLiteral("Café & <\"Bistro\">"));
    EXPECT_FALSE(bistro->isPlainTextMemo());
    TextConverter text;
    ASSERT_TRUE(text.setRTFDData(bistro->memoData()));
    EXPECT_EQ(text.plainString(), QStringLiteral("Line one\nLine two"));
    EXPECT_NE(bistro->memoID(), bistro->children().at(0)->memoID());

    // An outline without text is titled by its title attribute; the declared encoding is honoured.
    const MemoPtr feeds = OpmlImport::memoFromOpmlData(
        "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><opml><head><title>Feeds</title></head><body>"
        "<outline title=\"Caf\xe9\"/><outline text=\"wins\" title=\"loses\"/></body></opml>");
    ASSERT_TRUE(feeds);
    ASSERT_EQ(feeds->children().size(), 2u);
    EXPECT_EQ(feeds->children().at(0)->title(), QStringLiteral("Café"));
    EXPECT_EQ(feeds->children().at(1)->title(), QStringLiteral("wins"));
}

TEST_F(LegacyImportTest, importsTheOldestVersionsPages)
{
    const QString path = oldFolder() + QStringLiteral("/Jotwell.plist");
    EXPECT_FALSE(LegacyImport::importJotwellData(path).valueOr(MemoPtr()));
    const QVariantList pages{QVariantMap{{"Title", "First"}}, QVariantMap{{"Title", "Second"}}};
    writeFile(path, plist(QVariantMap{{"MyNoteArray", QVariantList()}, {"MyNoteArrayData", plist(pages)}}));
    const MemoPtr imported = LegacyImport::importJotwellData(path).valueOr(MemoPtr());
    ASSERT_TRUE(imported);
    EXPECT_EQ(imported->title(), QStringLiteral("JotwellData Title"));
    EXPECT_EQ(imported->plainText(), QStringLiteral("Imported Data From Jotwell"));
    ASSERT_EQ(imported->children().size(), 2u);
    EXPECT_EQ(imported->children().at(1)->title(), QStringLiteral("Second"));
}

} // namespace
