#include "common/FreshUserTest.h"
#include "common/Posts.h"
#include "RecordArchives.h"
#include "model/JWMemo.h"
#include "model/MemoCoding.h"
#include "platform/typedstream/ArchivedValues.h"
#include "platform/base/Localization.h"
#include "platform/base/NotificationCenter.h"
#include "platform/base/NotificationNames.h"
#include "platform/typedstream/TypedStreamReader.h"
#include "platform/typedstream/TypedStreamWriter.h"
#include "platform/settings/UserDefaults.h"

#include <gtest/gtest.h>

#include <QTest>

namespace {

using namespace std::chrono_literals;

const RecordArchives<MemoPtr> kPages{MemoCoding::registerWith, MemoCoding::coder, MemoCoding::kClassVersion};

// The fields a page archives, by key; the window record's floating flag stands for the record.
constexpr const char *kArchivedKeys[] = {"memoID", "title", "plainText", "createdAt", "modifiedAt", "referenceNumber",
    "tags", "titleColor", "titleCharacterColor", "locked", "protectWithPassword", "scrollRange", "selectedRange",
    "scaleImages", "showRuler", "showLineNumbers", "verticalLayout", "webURLStr"};

class JWMemoTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        Localization::install();
    }
    void TearDown() override
    {
        JWMemo::setRelockInterval(JWMemo::kRelockInterval);
        FreshUserTest::TearDown();
    }

    const QDateTime longAgo{QDate(2001, 2, 3), QTime(4, 5, 6), Qt::UTC};
};

// A page with every archived field away from its default.
MemoPtr unusualMemo(const QString &title)
{
    MemoPtr m = JWMemo::memo();
    m->setTitle(title);
    m->setPlainText(title + QStringLiteral(" — text\nsecond line"));
    m->setCreatedAt(QDateTime(QDate(2009, 5, 6), QTime(7, 8, 9), Qt::UTC));
    m->setModifiedAt(QDateTime(QDate(2010, 11, 12), QTime(13, 14, 15), Qt::UTC));
    m->setReferenceNumber(17);
    m->setTags({QStringLiteral("work"), QStringLiteral("Ärger")});
    m->setTitleColor(QColor(255, 0, 0));
    m->setTitleCharacterColor(QColor(0, 0, 255));
    m->setLocked(true);
    m->setProtectWithPassword(true);
    m->setScrollRange({3, 40});
    m->setSelectedRange({7, 2});
    m->windowAttribute()->setFloating(true);
    m->setScaleImages(true);
    m->setShowRuler(true);
    m->setShowLineNumbers(true);
    m->setVerticalLayout(true);
    m->setWebURLStr(QStringLiteral("http://example.org/"));
    return m;
}

void expectSameFields(const JWMemo &a, const JWMemo &b)
{
    for (const char *key : kArchivedKeys)
        EXPECT_EQ(a.value(QLatin1String(key)), b.value(QLatin1String(key))) << a.title().toStdString() << ' ' << key;
    EXPECT_EQ(a.windowAttribute()->floating(), b.windowAttribute()->floating());
    ASSERT_EQ(a.children().size(), b.children().size());
    for (size_t i = 0; i < a.children().size(); ++i)
        expectSameFields(*a.children()[i], *b.children()[i]);
}

} // namespace

TEST_F(JWMemoTest, idsComeFromTheCounterDepthFirstAndBeyond32Bits)
{
    const MemoPtr top = JWMemo::memo();
    const MemoPtr child = JWMemo::memo();
    child->appendChild(JWMemo::memo());
    top->appendChild(child);
    QHash<qint64, qint64> convert;
    top->assignNewIDWithConvertDictionary(convert);
    EXPECT_EQ(convert, (QHash<qint64, qint64>{{1, 4}, {2, 5}, {3, 6}}));

    // Beyond 32 bits the counter still counts, and survives a reload of the defaults.
    const qint64 large = (qint64(1) << 31) + 5;
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("memoID"), large);
    const MemoPtr memo = JWMemo::memo();
    EXPECT_EQ(memo->memoID(), large + 1);
    UserDefaults::resetStandardUserDefaults();
    EXPECT_GE(UserDefaults::standardUserDefaults().integerForKey(QStringLiteral("memoID")), large + 1);
    EXPECT_EQ(memo->assignNewID(), large + 2);
}

TEST_F(JWMemoTest, aNewPageIsAnEditedUntitledLeafOrItsTopLineAsPlainText)
{
    const MemoPtr memo = JWMemo::memo();
    EXPECT_EQ(memo->title(), localizedString(QStringLiteral("Untitled")));
    EXPECT_TRUE(memo->isEdited());
    EXPECT_EQ(memo->titleColor().alpha(), 0);
    EXPECT_EQ(memo->createdAt(), memo->modifiedAt());
    EXPECT_TRUE(memo->isLeaf());

    UserDefaults::standardUserDefaults().setValue(QStringLiteral("UseTopLineAsTitle"), true);
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("createNewMemoAsPlainText"), true);
    const MemoPtr second = JWMemo::memo();
    EXPECT_EQ(second->plainText(), second->title());
    EXPECT_TRUE(second->isPlainTextMemo());
}

TEST_F(JWMemoTest, setTitleDropsThePenSymbolMarksEditedAndPosts)
{
    const MemoPtr memo = JWMemo::memo();
    Posts titleChanges(NotificationNames::JW3MemoTitleHasChanged, memo.get());
    const QString pen = localizedString(QStringLiteral("PenSymbol"));
    ASSERT_NE(pen, QStringLiteral("PenSymbol"));

    memo->setIsEdited(false);
    memo->setModifiedAt(longAgo);
    memo->setTitle(pen + QStringLiteral("Plans"));
    EXPECT_EQ(memo->title(), QStringLiteral("Plans"));
    EXPECT_TRUE(memo->isEdited());
    EXPECT_GT(memo->modifiedAt(), longAgo);
    EXPECT_EQ(titleChanges.count, 1);

    // Only the first character is the mark; an untitled page has "", never a null string.
    memo->setTitle(pen + pen + QStringLiteral("x"));
    EXPECT_EQ(memo->title(), pen + QStringLiteral("x"));
    memo->setTitle(QString());
    EXPECT_FALSE(memo->title().isNull());
    // Setting it by key runs the same setter; unknown keys are refused.
    EXPECT_TRUE(memo->setValue(QStringLiteral("title"), QString(pen + QStringLiteral("Keyed"))));
    EXPECT_EQ(memo->title(), QStringLiteral("Keyed"));
    EXPECT_EQ(titleChanges.count, 4);
    EXPECT_FALSE(memo->setValue(QStringLiteral("noSuchKey"), 1));
}

TEST_F(JWMemoTest, outlineSettersMarkEditedButProtectionKeepsTheDate)
{
    const MemoPtr memo = JWMemo::memo();
    Posts reloads(NotificationNames::JW3ReloadOutlineData, memo.get());
    const auto reset = [&] {
        memo->setIsEdited(false);
        memo->setModifiedAt(longAgo);
    };
    const std::pair<const char *, QVariant> outlineSetters[] = {
        {"locked", true},
        {"isPlainTextMemo", true},
        {"titleColor", QColor(10, 20, 30)},
        {"titleCharacterColor", QColor(40, 50, 60)},
    };
    int expectedReloads = 0;
    for (const auto &[key, value] : outlineSetters) {
        SCOPED_TRACE(key);
        reset();
        ASSERT_TRUE(memo->setValue(QString::fromLatin1(key), value));
        EXPECT_TRUE(memo->isEdited());
        EXPECT_GT(memo->modifiedAt(), longAgo);
        EXPECT_EQ(reloads.count, ++expectedReloads);
    }

    reset();
    memo->setProtectWithPassword(true);
    EXPECT_TRUE(memo->isEdited());
    EXPECT_EQ(memo->modifiedAt(), longAgo);
    EXPECT_EQ(reloads.count, ++expectedReloads);
    // Marking unedited leaves the date alone too.
    memo->setIsEdited(false);
    EXPECT_EQ(memo->modifiedAt(), longAgo);
}

TEST_F(JWMemoTest, aPageIsALeafUnlessItHasChildrenOrIsOpenAndAlwaysWhileLocked)
{
    const struct
    {
        bool openLeaf, hasChildren, protect, unlocked, leaf;
    } cases[] = {
        {false, false, false, false, true},
        {true, false, false, false, false},
        {true, false, true, false, true},
        {false, true, false, false, false},
        {false, true, true, false, true},
        {false, true, true, true, false},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(::testing::Message() << "open " << c.openLeaf << ", children " << c.hasChildren << ", protected "
                                          << c.protect << ", unlocked " << c.unlocked);
        const MemoPtr memo = JWMemo::memo();
        if (c.hasChildren)
            memo->appendChild(JWMemo::memo());
        memo->setProtectWithPassword(c.protect);
        memo->setUnlockedPassword(c.unlocked);
        memo->setOpenLeaf(c.openLeaf);
        EXPECT_EQ(memo->isLeaf(), c.leaf);
    }

    // Taking the last child and the open-leaf notification recompute it.
    const MemoPtr memo = JWMemo::memo();
    const MemoPtr child = JWMemo::memo();
    memo->appendChild(child);
    EXPECT_TRUE(memo->removeChild(child.get()));
    EXPECT_TRUE(memo->isLeaf());
    NotificationCenter::defaultCenter().post(
        NotificationNames::JW3OpenNoteLeaf, nullptr, {{QStringLiteral("status"), true}});
    EXPECT_FALSE(memo->isLeaf());
}

TEST_F(JWMemoTest, anUnlockedPageLocksItselfAgain)
{
    JWMemo::setRelockInterval(50ms);
    const MemoPtr memo = JWMemo::memo();
    memo->appendChild(JWMemo::memo());
    memo->setProtectWithPassword(true);
    memo->setUnlockedPassword(true);
    EXPECT_TRUE(memo->isRelockPending());
    EXPECT_FALSE(memo->isLeaf());
    // Locking by hand leaves the timer running; it locks (again) when it fires.
    memo->setUnlockedPassword(false);
    EXPECT_TRUE(memo->isRelockPending());
    memo->setUnlockedPassword(true);

    QTRY_VERIFY_WITH_TIMEOUT(!memo->unlockedPassword(), 5000);
    EXPECT_TRUE(memo->isLeaf());
    EXPECT_FALSE(memo->isRelockPending());
}

TEST_F(JWMemoTest, aThreeLevelTreeSurvivesArchiving)
{
    const MemoPtr root = unusualMemo(QStringLiteral("Root"));
    const MemoPtr child = unusualMemo(QStringLiteral("Child"));
    const MemoPtr plain = JWMemo::memo();
    child->appendChild(unusualMemo(QStringLiteral("Grandchild")));
    root->appendChild(child);
    root->appendChild(plain);
    plain->setTags({});

    // A web clip's icon stays the archived image it was.
    auto icon = std::make_shared<TypedStreamObject>();
    icon->cls = std::make_shared<TypedStreamClass>(
        TypedStreamClass{"NSImage", 0, std::make_shared<TypedStreamClass>(TypedStreamClass{"NSObject", 0, nullptr})});
    TypedStreamValue flag;
    flag.kind = TypedStreamValue::Kind::Char;
    flag.integer = 1;
    icon->groups = {{"c", {flag}}};
    plain->setWebIconImage(QVariant::fromValue(ArchivedImage{icon, {}}));

    const QByteArray bytes = kPages.archive(root);
    auto decoded = kPages.unarchive(bytes);
    ASSERT_TRUE(decoded.ok()) << decoded.errorMessage().toStdString();
    const MemoPtr &r = decoded.value();
    EXPECT_EQ(kPages.archive(r), bytes) << "written back, byte for byte";
    expectSameFields(*root, *r);
    EXPECT_FALSE(r->isEdited());
    // A protected page comes back locked, hiding its children until unlocked.
    EXPECT_FALSE(r->unlockedPassword());
    EXPECT_TRUE(r->isLeaf());
    r->setUnlockedPassword(true);
    EXPECT_FALSE(r->isLeaf());
    EXPECT_EQ(r->children()[0]->webIconImage().metaType(), QMetaType::fromType<std::nullptr_t>());
    // Reading takes no new IDs.
    EXPECT_EQ(JWMemo::memo()->memoID(), 5);
}

TEST_F(JWMemoTest, theArchiveBeginsAsThePlatformWritesIt)
{
    const MemoPtr root = JWMemo::memo();
    root->setMemoID(0);
    root->setTitle(QStringLiteral("Notes"));
    const MemoPtr child = JWMemo::memo();
    child->setMemoID(1);
    root->appendChild(child);

    const auto hex = [](const char *text) {
        return QByteArray::fromHex(text);
    };
    const QByteArray expected = hex("040b73747265616d747970656481e803") + hex("840140") + hex("848484 06") + "JWMemo"
        + hex("05 8484 08") + "NSObject" + hex("00 85") + hex("92 848484 08") + "NSNumber" + hex("00 8484 07")
        + "NSValue" + hex("00 94") + hex("84012a 84840171 98 00 86") + hex("92 848484 08") + "NSString"
        + hex("01 94 84012b 05") + "Notes" + hex("86") + hex("92 848484 0e") + "NSMutableArray" + hex("00 8484 07")
        + "NSArray" + hex("00 94") + hex("84016901") + hex("928493") + hex("92 84 96 97 98 98 01 86");
    const QByteArray bytes = kPages.archive(root);
    EXPECT_EQ(bytes.left(expected.size()), expected);
}

class OlderMemoVersionTest : public JWMemoTest, public ::testing::WithParamInterface<int>
{ };

TEST_P(OlderMemoVersionTest, readsWhatTheVersionHoldsWithItsRules)
{
    const int version = GetParam();
    const MemoPtr root = unusualMemo(QStringLiteral("Old"));
    root->appendChild(unusualMemo(QStringLiteral("Older child")));
    const QByteArray bytes = kPages.archive(root, version);

    auto tree = TypedStreamReader::read(bytes);
    ASSERT_TRUE(tree.ok());
    EXPECT_EQ(tree.value().versionForClassName("JWMemo"), version);
    const std::map<int, size_t> groupsPerVersion = {{1, 14}, {2, 15}, {3, 18}, {4, 19}, {5, 21}};
    EXPECT_EQ(tree.value().groups.front().values.front().object->groups.size(), groupsPerVersion.at(version));

    auto decoded = kPages.unarchive(bytes);
    ASSERT_TRUE(decoded.ok()) << decoded.errorMessage().toStdString();
    for (const MemoPtr &m : {decoded.value(), decoded.value()->children().front()}) {
        EXPECT_EQ(m->tags(), root->tags());
        EXPECT_EQ(m->plainText().left(3), QStringLiteral("Old"));
        EXPECT_TRUE(m->windowAttribute()->floating());
        // Image scaling is kept from version 4 on only, though 2 and 3 store it.
        EXPECT_EQ(m->scaleImages(), version >= 4);
        EXPECT_EQ(m->showRuler(), version >= 3);
        EXPECT_EQ(m->showLineNumbers(), version >= 3);
        EXPECT_EQ(m->titleCharacterColor(), version >= 3 ? QColor(0, 0, 255) : QColor(0, 0, 0));
        EXPECT_EQ(m->verticalLayout(), version >= 4);
        EXPECT_EQ(m->webURLStr(), version >= 5 ? QStringLiteral("http://example.org/") : QStringLiteral(""));
    }
}

INSTANTIATE_TEST_SUITE_P(JWMemoTest, OlderMemoVersionTest, ::testing::Values(1, 2, 3, 4, 5),
    [](const auto &info) { return "version" + std::to_string(info.param); });

TEST_F(JWMemoTest, readsLooserFormsOfTheFields)
{
    // NSArray children, NSDate dates, an 'i' ID and nil tags, colours and strings,
    // as other writers of the format produce them.
    TypedStreamRegistry registry = kPages.registryAt(MemoCoding::kClassVersion);
    TypedStreamCoder loose = MemoCoding::coder();
    loose.encode = [](TypedStreamWriter &w, const QVariant &value) -> Status {
        const MemoPtr m = value.value<MemoPtr>();
        QVariantList objects(14);
        objects[0] = QVariant::fromValue(int(m->memoID()));
        objects[2] = QVariant::fromValue(ArchivedAs{"NSArray", m->childrenValue()});
        objects[3] = objects[4] = QDateTime(QDate(2005, 1, 2), QTime(3, 4, 5), Qt::UTC);
        objects[8] = QVariant::fromValue(qint8(1));
        for (const QVariant &o : objects) {
            if (Status s = w.encodeObject(o); !s)
                return s;
        }
        return {};
    };
    loose.version = 1;
    registry.registerCoder(loose);
    const MemoPtr root = JWMemo::memo();
    root->appendChild(JWMemo::memo());
    auto bytes = TypedStreamWriter::archivedDataWithRootObject(QVariant::fromValue(root), registry);
    ASSERT_TRUE(bytes.ok()) << bytes.errorMessage().toStdString();

    auto decoded = kPages.unarchive(bytes.value());
    ASSERT_TRUE(decoded.ok()) << decoded.errorMessage().toStdString();
    const JWMemo &r = *decoded.value();
    EXPECT_EQ(r.memoID(), root->memoID());
    EXPECT_EQ(r.title(), QStringLiteral(""));
    EXPECT_EQ(r.createdAt(), QDateTime(QDate(2005, 1, 2), QTime(3, 4, 5), Qt::UTC));
    EXPECT_TRUE(r.tags().isEmpty());
    EXPECT_TRUE(r.locked());
    EXPECT_EQ(r.titleColor().alpha(), 0);
    ASSERT_EQ(r.children().size(), 1u);
    EXPECT_EQ(r.children().front()->memoID(), root->children().front()->memoID());
}

TEST_F(JWMemoTest, truncatedOrWrongArchivesAreErrors)
{
    const MemoPtr root = unusualMemo(QStringLiteral("Root"));
    root->appendChild(unusualMemo(QStringLiteral("Child")));
    const QByteArray bytes = kPages.archive(root);
    for (qsizetype size = 0; size < bytes.size(); ++size)
        EXPECT_FALSE(kPages.unarchive(bytes.left(size)).ok()) << "accepted a prefix of " << size << " bytes";

    // Children that are not pages are refused, not skipped.
    TypedStreamRegistry registry = kPages.registryAt(MemoCoding::kClassVersion);
    TypedStreamCoder wrong = MemoCoding::coder();
    wrong.encode = [](TypedStreamWriter &w, const QVariant &) -> Status {
        if (Status s = w.encodeObject(qint64(5)); !s)
            return s;
        if (Status s = w.encodeObject(QStringLiteral("t")); !s)
            return s;
        return w.encodeObject(QVariantList{QStringLiteral("not a page")});
    };
    registry.registerCoder(wrong);
    auto hostile = TypedStreamWriter::archivedDataWithRootObject(QVariant::fromValue(JWMemo::memo()), registry);
    ASSERT_TRUE(hostile.ok());
    auto decoded = kPages.unarchive(hostile.value());
    ASSERT_FALSE(decoded.ok());
    EXPECT_TRUE(decoded.errorMessage().contains(QStringLiteral("children"))) << decoded.errorMessage().toStdString();
}
