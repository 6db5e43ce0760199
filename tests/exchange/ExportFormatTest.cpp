#include "ExportPages.h"
#include "common/FreshUserTest.h"
#include "exchange/ExportFormat.h"
#include "exchange/ExportProgress.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

namespace {

using ExportFormat::Format;

class ExportFormatTest : public FreshUserTest
{ };

// The dialog's path rule: a book as chosen, the folder formats without the
// extension, the others with their own in place of the chosen one.
TEST_F(ExportFormatTest, chosenPathsBecomeTheWritersPaths)
{
    const QString chosen = QStringLiteral("/home/u/Trip.notes/Day.rtfd");
    EXPECT_EQ(ExportFormat::targetPath(Format::Book, chosen), chosen);
    EXPECT_EQ(ExportFormat::targetPath(Format::RtfdTree, chosen), "/home/u/Trip.notes/Day");
    EXPECT_EQ(ExportFormat::targetPath(Format::PdfJoined, chosen), "/home/u/Trip.notes/Day.pdf");
    EXPECT_EQ(ExportFormat::targetPath(Format::Opml, "/home/u/.hidden"), "/home/u/.hidden.opml");
    EXPECT_EQ(ExportFormat::fromTag(7), Format::Opml);
    EXPECT_EQ(ExportFormat::fromTag(8), Format::Book);
    EXPECT_EQ(ExportFormat::fromName(QStringLiteral("text-joined")), Format::TextJoined);
    EXPECT_EQ(ExportFormat::names().size(), 11);
}

TEST_F(ExportFormatTest, folderFormatsMakeTheirFolderAndFilesNeedTheirs)
{
    QTemporaryDir folder;
    const MemoPtr trip = page(QStringLiteral("Trip"), QStringLiteral("Plans"), {page("Day", "Museum")});
    const auto tree = ExportFormat::exportMemo(Format::TextTree, trip, folder.filePath("new/out"));
    ASSERT_TRUE(tree.ok()) << tree.errorMessage().toStdString();
    EXPECT_TRUE(QFile::exists(folder.filePath("new/out/Trip/Day.txt")));

    const auto joined = ExportFormat::exportMemo(Format::TextJoined, trip, folder.filePath("missing/joined.txt"));
    EXPECT_FALSE(joined.ok());
    EXPECT_FALSE(QFile::exists(folder.filePath("missing")));
}

} // namespace

namespace {

// A watcher that says stop ends the export there, with a message that says so.
TEST_F(ExportFormatTest, aCancelledExportStopsAfterThePageItWasOn)
{
    QTemporaryDir folder;
    const MemoPtr trip = page(
        QStringLiteral("Trip"), QStringLiteral("Plans"), {page("One", "1"), page("Two", "2"), page("Three", "3")});
    int pages = 0;
    const ExportProgress watch([&] { return ++pages < 2; });
    const auto written = ExportFormat::exportMemo(Format::RtfdTree, trip, folder.path());
    ASSERT_FALSE(written.ok());
    EXPECT_EQ(written.errorMessage(), ExportProgress::cancelledError().message);
    EXPECT_TRUE(QFile::exists(folder.filePath(QStringLiteral("Trip/One.rtfd"))));
    EXPECT_FALSE(QFile::exists(folder.filePath(QStringLiteral("Trip/Two.rtfd"))));
}

} // namespace
