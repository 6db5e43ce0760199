// A page's own file: what saving writes, what loading reads back lazily, and
// when a page must not touch its file at all.
#include "DataFolder.h"
#include "model/JWMemo.h"
#include "model/MemoCoding.h"
#include "model/MemoTree.h"
#include "model/PageFile.h"
#include "platform/base/FileContents.h"
#include "platform/settings/FolderPaths.h"
#include "platform/archive/PropertyList.h"
#include "platform/richtext/TextConverter.h"
#include "platform/typedstream/TypedStreamDecoder.h"
#include "platform/typedstream/TypedStreamWriter.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

class PageFileTest : public DataFolderTest
{
protected:
    // @p page (a new one if none) as a child of the application's tree, made on first use.
    MemoPtr inTree(MemoPtr page = JWMemo::memo())
    {
        if (!root) {
            root = JWMemo::memo();
            ApplicationTree::setRootMemo(root);
        }
        root->appendChild(page);
        return page;
    }
    static MemoPtr bare(qint64 id)
    {
        MemoPtr page = JWMemo::bareMemo();
        page->setMemoID(id);
        return page;
    }

    static QVariantMap fileOf(qint64 id)
    {
        auto bytes = FileContents::read(notePathForID(id));
        EXPECT_TRUE(bytes.ok());
        auto parsed = PropertyList::fromData(bytes.valueOr(QByteArray()));
        EXPECT_TRUE(parsed.ok());
        return parsed.valueOr(QVariant()).toMap();
    }

    MemoPtr root;
};

TEST_F(PageFileTest, SavingWritesEveryKeyWithTheProtectionFlagUnderOpen)
{
    const MemoPtr page = inTree();
    page->setTitle(QStringLiteral("Groceries"));
    page->setMemoDataWithPlainText(QStringLiteral("milk\neggs"));
    page->setTags({QStringLiteral("home")});
    page->setProtectWithPassword(true);
    page->setShowRuler(true);
    page->setReferenceNumber(3);

    ASSERT_TRUE(page->save());
    EXPECT_FALSE(page->isEdited());
    const QVariantMap file = fileOf(page->memoID());
    EXPECT_EQ(file.value(QStringLiteral("title")).toString(), QStringLiteral("Groceries"));
    EXPECT_EQ(file.value(QStringLiteral("memoID")).toLongLong(), page->memoID());
    EXPECT_EQ(file.value(QStringLiteral("open")), QVariant(true));
    EXPECT_EQ(file.value(QStringLiteral("showRuler")), QVariant(true));
    EXPECT_EQ(file.value(QStringLiteral("locked")), QVariant(false));
    EXPECT_EQ(file.value(QStringLiteral("referenceNumber")).toInt(), 3);
    EXPECT_EQ(file.value(QStringLiteral("tags")).toList(), QVariantList{QStringLiteral("home")});
    EXPECT_EQ(
        file.value(QStringLiteral("createdAt")).toDateTime().toSecsSinceEpoch(), page->createdAt().toSecsSinceEpoch());
    EXPECT_FALSE(file.contains(QStringLiteral("protectWithPassword")));

    TextConverter text;
    ASSERT_TRUE(text.setRTFDData(file.value(QStringLiteral("memoData")).toByteArray()).ok());
    EXPECT_EQ(text.string(), QStringLiteral("milk\neggs"));

    EXPECT_FALSE(page->save()) << "a page that is not edited writes nothing";
}

TEST_F(PageFileTest, AMissingValueIsLeftOutButTheTitleAndTextAreAlwaysWritten)
{
    MemoPtr page = bare(5); // as read from an archive without tags or dates
    page->setTitle(QStringLiteral("Old"));
    page->setMemoDataWithPlainText(QStringLiteral("old text"));
    const QVariantMap dictionary = PageFile::dictionaryForMemo(*page);
    EXPECT_TRUE(dictionary.contains(QStringLiteral("open")));
    EXPECT_FALSE(dictionary.contains(QStringLiteral("createdAt")));
    EXPECT_FALSE(dictionary.contains(QStringLiteral("tags")));
    EXPECT_TRUE(dictionary.contains(QStringLiteral("referenceNumber")));
    EXPECT_EQ(dictionary.value(QStringLiteral("title")).toString(), QStringLiteral("Old"));
    EXPECT_EQ(PageFile::memoDataIn(dictionary), page->memoData()) << "a page without tags or dates keeps its text";
}

TEST_F(PageFileTest, TextAndPlainFlagComeFromTheFileOnFirstUse)
{
    TextConverter text;
    text.setString(QStringLiteral("from the file"));
    const QVariantMap stored{{QStringLiteral("memoData"), text.RTFDData()},
        {QStringLiteral("isPlainTextMemo"), qint64(1)}}; // integers count as flags
    (void)notePathForID(1);                              // makes the folder
    ASSERT_TRUE(PageFile::write(41, stored).ok());

    MemoPtr page = bare(41);
    EXPECT_TRUE(page->isPlainTextMemo());
    TextConverter back;
    ASSERT_TRUE(back.setRTFDData(page->memoData()).ok());
    EXPECT_EQ(back.string(), QStringLiteral("from the file"));

    // Without a file (or with a damaged one), the text is made from the plain text.
    MemoPtr other = bare(42);
    other->setPlainText(QStringLiteral("kept in the tree"));
    writeFile(notePathForID(42), "<?xml version=\"1.0\"?><plist><dict><key>memoData</key>");
    EXPECT_FALSE(other->isPlainTextMemo());
    ASSERT_TRUE(back.setRTFDData(other->memoData()).ok());
    EXPECT_EQ(back.string(), QStringLiteral("kept in the tree"));
}

TEST_F(PageFileTest, OnlyPagesOfTheApplicationsTreeWriteTheirFiles)
{
    const MemoPtr member = inTree();
    const MemoPtr loose = JWMemo::memo(); // an import in progress, say
    EXPECT_FALSE(loose->save());
    EXPECT_FALSE(QFileInfo::exists(notePathForID(loose->memoID())));
    EXPECT_TRUE(loose->isEdited()) << "it keeps its edit for when it joins the tree";

    root->appendChild(loose);
    EXPECT_TRUE(loose->save()) << "membership follows changes of the tree";

    const MemoPtr removed = root->takeChildAt(0);
    ASSERT_EQ(removed, member);
    removed->setTitle(QStringLiteral("deleted, kept for undo"));
    EXPECT_FALSE(removed->save());
}

TEST_F(PageFileTest, ASaveThatFailsLeavesThePageEditedForTheNextTry)
{
    const MemoPtr page = inTree();
    // A folder where the file should be makes the write fail.
    ASSERT_TRUE(QDir().mkpath(notePathForID(page->memoID())));
    EXPECT_FALSE(page->save());
    EXPECT_TRUE(page->isEdited());

    ASSERT_TRUE(QDir(notePathForID(page->memoID())).removeRecursively());
    EXPECT_TRUE(page->save());
}

TEST_F(PageFileTest, AnUnshownPageKeepsItsPlainFlagWhenSavedForAnotherEdit)
{
    ASSERT_TRUE(PageFile::write(7, {{QStringLiteral("isPlainTextMemo"), true}}).ok());
    const MemoPtr page = inTree(bare(7));
    page->setCreatedAt(QDateTime::currentDateTimeUtc());

    page->setTitle(QStringLiteral("renamed in the outline"));
    ASSERT_TRUE(page->save());
    EXPECT_EQ(fileOf(7).value(QStringLiteral("isPlainTextMemo")), QVariant(true));
}

TEST_F(PageFileTest, ANewPageMovesAStaleFileUnderItsIDAside)
{
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("memoID"), 9);
    ASSERT_TRUE(PageFile::write(10, {{QStringLiteral("title"), QStringLiteral("someone's old page")}}).ok());

    const MemoPtr page = JWMemo::memo();
    ASSERT_EQ(page->memoID(), 10);
    EXPECT_FALSE(PageFile::exists(10));
    EXPECT_TRUE(QFileInfo::exists(trashFolderPath() + QStringLiteral("/10.jw3page")));
    EXPECT_TRUE(page->title() != QStringLiteral("someone's old page"));

    // A second stale file of that ID takes a numbered name beside the first.
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("memoID"), 9);
    ASSERT_TRUE(PageFile::write(10, {{QStringLiteral("title"), QStringLiteral("another old page")}}).ok());
    EXPECT_EQ(JWMemo::memo()->memoID(), 10);
    const QString second = trashFolderPath() + QStringLiteral("/10-2.jw3page");
    EXPECT_TRUE(FileContents::read(second).valueOr({}).contains("another"));
}

TEST_F(PageFileTest, AStaleFileThatCannotBeMovedAsideStaysAndItsIDIsSkipped)
{
    // Something that is no folder where the unused files go: nothing can move there.
    writeFile(noteDataFolderPath() + QStringLiteral("/Unused Files"), {});
    ASSERT_TRUE(PageFile::write(10, {{QStringLiteral("title"), QStringLiteral("someone's only copy")}}).ok());
    const QByteArray before = FileContents::read(notePathForID(10)).valueOr({});
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("memoID"), 9);

    const MemoPtr page = JWMemo::memo();
    EXPECT_EQ(page->memoID(), 11);
    EXPECT_EQ(FileContents::read(notePathForID(10)).valueOr({}), before);
    EXPECT_FALSE(PageFile::setAsideStale(10));
    EXPECT_TRUE(PageFile::setAsideStale(12)) << "no file, nothing to move";
}

TEST_F(PageFileTest, RepairingADuplicateIDKeepsBothPagesTexts)
{
    // Two pages share ID 7 and so one page file, last written by the older one.
    TextConverter older;
    older.setString(QStringLiteral("older text"));
    ASSERT_TRUE(PageFile::write(7, {{QStringLiteral("memoData"), older.RTFDData()}}).ok());
    const auto page = [this](const QString &text, int daysAgo) {
        const MemoPtr memo = inTree(bare(7));
        memo->setTitle(text);
        memo->setPlainText(text);
        memo->setTags({});
        memo->setCreatedAt(QDateTime::currentDateTimeUtc().addDays(-daysAgo));
        memo->setModifiedAt(memo->createdAt());
        return memo;
    };
    const MemoPtr oldPage = page(QStringLiteral("older text"), 10);
    const MemoPtr newPage = page(QStringLiteral("newer text"), 1);
    MemoTree tree;
    tree.setRoot(root);
    tree.resetMemoID();

    EXPECT_EQ(tree.resolveDupulicatedMemoID(), 1);
    EXPECT_EQ(oldPage->memoID(), 7);
    ASSERT_NE(newPage->memoID(), 7);
    EXPECT_EQ(newPage->modifiedAt(), newPage->createdAt()) << "a new ID is no edit of the content";
    ASSERT_TRUE(newPage->save()) << "the text is written under the new ID";

    TextConverter back;
    ASSERT_TRUE(back.setRTFDData(PageFile::memoDataForID(newPage->memoID())).ok());
    EXPECT_EQ(back.string(), QStringLiteral("newer text")) << "not the other page's file";
    ASSERT_TRUE(back.setRTFDData(oldPage->memoData()).ok());
    EXPECT_EQ(back.string(), QStringLiteral("older text"));
}

TEST_F(PageFileTest, APageWithAnEmptyTitleReadFromTheStoreKeepsItsTextInItsFile)
{
    TypedStreamRegistry registry = TypedStreamRegistry::withStandardClasses();
    MemoCoding::registerWith(registry);
    const MemoPtr original = JWMemo::memo();
    original->setTitle(QString());
    original->setPlainText(QStringLiteral("text under no title"));
    auto bytes = TypedStreamWriter::archivedDataWithRootObject(QVariant::fromValue(original), registry);
    ASSERT_TRUE(bytes.ok());
    auto decoded = TypedStreamDecoder::unarchiveObjectWithData(bytes.value(), registry);
    ASSERT_TRUE(decoded.ok());

    const MemoPtr page = inTree(decoded.value().value<MemoPtr>());
    page->setIsEdited(true);
    ASSERT_TRUE(page->save());
    // An empty title is a title: the file must go on to hold the text.
    EXPECT_TRUE(fileOf(page->memoID()).contains(QStringLiteral("memoData")));
}

TEST_F(PageFileTest, RemovingTheFileKeepsTheTextInMemoryAndAWebClipsPageFile)
{
    const MemoPtr page = inTree();
    page->setMemoDataWithPlainText(QStringLiteral("text"));
    ASSERT_TRUE(page->save());

    page->removeNoteFile();
    EXPECT_FALSE(PageFile::exists(page->memoID()));
    EXPECT_TRUE(page->isEdited());
    EXPECT_FALSE(page->memoData().isEmpty()) << "the text stays in memory";

    // A web clip keeps its page file and loses its archives instead.
    page->setWebURLStr(QStringLiteral("https://example.org/"));
    ASSERT_TRUE(page->save());
    const QString archive = noteDataFolderPath() + QStringLiteral("/%1.webarchive").arg(page->memoID());
    QFile(archive).open(QIODevice::WriteOnly);
    page->removeNoteFile();
    EXPECT_TRUE(PageFile::exists(page->memoID()));
    EXPECT_FALSE(QFileInfo::exists(archive));
}

TEST_F(PageFileTest, ConvertingPutsTheTitleIntoTheTextAndBack)
{
    const MemoPtr page = inTree();
    page->setTitle(QStringLiteral("Heading"));
    page->setMemoDataWithPlainText(QStringLiteral("body"));
    page->convertNoteTextToSetTitleAtFirstLine();
    EXPECT_EQ(page->plainText(), QStringLiteral("Heading\nbody"));
    EXPECT_FALSE(page->isEdited()) << "converted pages are saved at once";

    page->setMemoDataWithPlainText(QStringLiteral("First line\nrest"));
    page->convertNoteTextToSetTitleFromFirstLine();
    EXPECT_EQ(page->title(), QStringLiteral("First line"));
    EXPECT_EQ(fileOf(page->memoID()).value(QStringLiteral("title")).toString(), QStringLiteral("First line"));
}

} // namespace
