#include "common/QtPrinters.h"
#include "RecordArchives.h"
#include "model/JWWindowAttribute.h"
#include "model/WindowAttributeCoding.h"
#include "platform/typedstream/TypedStreamReader.h"
#include "platform/typedstream/TypedStreamWriter.h"

#include <gtest/gtest.h>

namespace {

const QByteArray kHeader = QByteArray::fromHex("040b73747265616d747970656481e803");

const RecordArchives<WindowAttributePtr> kRecords{
    WindowAttributeCoding::registerWith, WindowAttributeCoding::coder, WindowAttributeCoding::kClassVersion};

// A record with every field away from its default, fractions included.
WindowAttributePtr unusualRecord()
{
    auto r = std::make_shared<JWWindowAttribute>();
    r->setSelectionID(4711);
    r->setWindowFrame(QRectF(10.5, -20, 640, 480.25));
    r->setWindowFrameStr(QStringLiteral("10 -20 640 480 0 0 1920 1080"));
    r->setWebWindowFrame(QRectF(1, 2, 3, 4));
    r->setShowPageHandle(true);
    r->setFloating(true);
    r->setShowDrawer(false);
    r->setDrawerEdge(JWWindowAttribute::MinXEdge);
    r->setDrawerSize(QSizeF(200.5, 300));
    r->setIconized(true);
    r->setIconWindowFrame(QRectF(5, 6, 100, 80));
    r->setIconFrameStr(QStringLiteral("5 6 100 80 — Ü"));
    r->setRulerIsVisible(true);
    r->setContinuousSpellChecking(true);
    r->setIconWindowChangeAlphaValue(false);
    r->setIconWindowAlphaValue(0.3f);
    r->setIconWindowAlphaValueAtPoint(0.75f);
    r->setIconWindowMoveSpaces(true);
    r->setNoteWindowChangeAlphaValue(true);
    r->setNoteWindowAlphaValue(0.6f);
    r->setNoteWindowAlphaValueAtPoint(0.9f);
    r->setShowWebControlBar(false);
    r->setTabItems(QList<qint64>{12, 3, 70000});
    r->setSelectedTabIndex(2);
    return r;
}

} // namespace

TEST(JWWindowAttributeTest, archivesADefaultRecordByteForByte)
{
    const auto hex = [](const char *text) {
        return QByteArray::fromHex(text);
    };
    const QByteArray expected = kHeader + hex("840140 84 848411") + "JWWindowAttribute" + hex("04 848408") + "NSObject"
        + hex("0085")
        // selectionID: NSNumber 'q' 0
        + hex("9284848408") + "NSNumber" + hex("00848407") + "NSValue"
        + hex("0094 84012a 84840171 9800 86")
        // windowFrame
        + hex("9284848408") + "NSString" + hex("0194 84012b 16") + "{{48, 61}, {500, 500}}"
        + hex("86")
        // showPageHandle, floating, showDrawer, drawerEdge
        + hex("84016300 9b00 9b01 84016902")
        // drawerSize, iconized, iconWindowFrame
        + hex("92849a9a0a") + "{168, 328}" + hex("86 9b00 92849a9a14") + "{{48, 61}, {48, 48}}"
        + hex("86")
        // ruler, spelling, icon alpha switch, icon alpha 0.5 and 1.0, spaces; note window alpha switch and values
        + hex("9b00 9b00 9b01 840166 830000003f 9d01 9b00 9b00 9d01 9d01")
        // tabItems nil, selectedTabIndex, the two empty frame strings
        + hex("9285 9c00 92849a9a0086 92849a9a0086")
        // webWindowFrame, showWebControlBar, end of the record
        + hex("92849a9a16") + "{{48, 61}, {700, 800}}" + hex("86 9b01 86");
    EXPECT_EQ(kRecords.archive(std::make_shared<JWWindowAttribute>()), expected);
}

TEST(JWWindowAttributeTest, nilAndEmptyTabsStayApartThroughArchiving)
{
    const WindowAttributePtr record = unusualRecord();
    for (const auto &tabs : {std::optional(QList<qint64>()), std::optional<QList<qint64>>()}) {
        record->setTabItems(tabs);
        auto back = kRecords.unarchive(kRecords.archive(record));
        ASSERT_TRUE(back.ok());
        EXPECT_EQ(back.value()->tabItems(), tabs);
    }
}

class OlderVersionTest : public ::testing::TestWithParam<int>
{ };

TEST_P(OlderVersionTest, readsWhatTheVersionHoldsAndDefaultsTheRest)
{
    const int version = GetParam();
    const WindowAttributePtr source = unusualRecord();
    source->setWindowFrame(QRectF(30, 40, 500, 500));
    const QByteArray bytes = kRecords.archive(source, version);

    auto tree = TypedStreamReader::read(bytes);
    ASSERT_TRUE(tree.ok());
    EXPECT_EQ(tree.value().versionForClassName("JWWindowAttribute"), version);
    const qsizetype groups = tree.value().groups.front().values.front().object->groups.size();
    EXPECT_EQ(groups, 16 + 2 * version);

    auto decoded = kRecords.unarchive(bytes);
    ASSERT_TRUE(decoded.ok()) << decoded.errorMessage().toStdString();
    const JWWindowAttribute &r = *decoded.value();
    const JWWindowAttribute defaults;
    EXPECT_EQ(r.selectionID(), 4711);
    EXPECT_EQ(r.windowFrame(), QRectF(30, 40, 500, 500));
    EXPECT_EQ(r.drawerSize(), QSizeF(200.5, 300));
    EXPECT_EQ(r.iconWindowFrame(), QRectF(5, 6, 100, 80));
    EXPECT_EQ(r.noteWindowAlphaValueAtPoint(), 0.9f);
    EXPECT_EQ(r.tabItems(), version >= 2 ? source->tabItems() : defaults.tabItems());
    EXPECT_EQ(r.selectedTabIndex(), version >= 2 ? 2 : 0);
    EXPECT_EQ(r.windowFrameStr(), version >= 3 ? source->windowFrameStr() : QString());
    EXPECT_EQ(r.iconFrameStr(), version >= 3 ? source->iconFrameStr() : QString());
    // Without a web frame of its own, a web clip opens 1.2 times the note window's size.
    EXPECT_EQ(r.webWindowFrame(), QRectF(30, 40, 600, 600));
    EXPECT_TRUE(r.showWebControlBar());
}

INSTANTIATE_TEST_SUITE_P(JWWindowAttributeTest, OlderVersionTest, ::testing::Values(1, 2, 3),
    [](const ::testing::TestParamInfo<int> &info) { return "version" + std::to_string(info.param); });

TEST(JWWindowAttributeTest, truncatedOrMistypedArchivesAreErrors)
{
    // Cut-off records are JWMemoTest's (pages archive their window records). A record claiming version 4 that stops after the version 1 values.
    QByteArray shortRecord = kRecords.archive(unusualRecord(), 1);
    const qsizetype versionByte = shortRecord.indexOf("JWWindowAttribute") + 17;
    ASSERT_EQ(shortRecord.at(versionByte), '\x01');
    shortRecord[versionByte] = '\x04';
    auto missing = kRecords.unarchive(shortRecord);
    ASSERT_FALSE(missing.ok());
    EXPECT_TRUE(missing.errorMessage().contains(QLatin1String("tabItems"))) << missing.errorMessage().toStdString();

    // A number where the window frame string belongs.
    TypedStreamRegistry hostile = TypedStreamRegistry::withStandardClasses();
    TypedStreamCoder coder = WindowAttributeCoding::coder();
    coder.encode = [](TypedStreamWriter &writer, const QVariant &) -> Status {
        if (Status s = writer.encodeObject(qint64(1)); !s)
            return s;
        return writer.encodeObject(qint64(2));
    };
    hostile.registerCoder(coder);
    hostile.setDefaultClassName(qMetaTypeId<WindowAttributePtr>(), "JWWindowAttribute");
    auto hostileBytes = TypedStreamWriter::archivedDataWithRootObject(
        QVariant::fromValue(std::make_shared<JWWindowAttribute>()), hostile);
    ASSERT_TRUE(hostileBytes.ok());
    auto mistyped = kRecords.unarchive(hostileBytes.value());
    ASSERT_FALSE(mistyped.ok());
    EXPECT_TRUE(mistyped.errorMessage().contains(QLatin1String("windowFrame")));
}
