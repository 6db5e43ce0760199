#include "platform/base/AtomicFileBatch.h"
#include "platform/base/AtomicFileWriter.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <csignal>
#include <sys/resource.h>
#include <unistd.h>

namespace {

class AtomicFileWriterTest : public ::testing::Test
{
protected:
    QTemporaryDir folder;
    QString target() const { return folder.filePath("page.jw3page"); }

    QByteArray contents() const
    {
        QFile file(target());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    QStringList entries() const { return QDir(folder.path()).entryList(QDir::Files | QDir::Hidden | QDir::System); }
};

// Lowers the largest file this process may write, as a full disk would, and
// puts everything back afterwards.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        getrlimit(RLIMIT_FSIZE, &m_saved);
        m_savedHandler = std::signal(SIGXFSZ, SIG_IGN); // fail with EFBIG instead of dying
        rlimit limit = m_saved;
        limit.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &m_saved);
        std::signal(SIGXFSZ, m_savedHandler);
    }

private:
    rlimit m_saved{};
    void (*m_savedHandler)(int) = nullptr;
};

TEST_F(AtomicFileWriterTest, writesAndReplacesWithoutLeavingTemporaryFiles)
{
    ASSERT_TRUE(AtomicFileWriter::writeFile(target(), "first").ok());
    EXPECT_EQ(contents(), "first");
    ASSERT_TRUE(AtomicFileWriter::writeFile(target(), "second, longer").ok());
    EXPECT_EQ(contents(), "second, longer");
    ASSERT_TRUE(AtomicFileWriter::writeFile(target(), QByteArray()).ok());
    EXPECT_EQ(contents(), QByteArray());
    EXPECT_EQ(entries(), QStringList{"page.jw3page"});
}

TEST_F(AtomicFileWriterTest, aWriteThatRunsOutOfSpaceLeavesThePreviousFileIntact)
{
    ASSERT_TRUE(AtomicFileWriter::writeFile(target(), "the old page").ok());
    // A small page fails only when a buffer would be flushed; a large one at once.
    for (const qsizetype size : {qsizetype(5000), qsizetype(1 << 20)}) {
        Status status;
        {
            FileSizeLimit limit(4096);
            status = AtomicFileWriter::writeFile(target(), QByteArray(size, 'x'));
        }
        EXPECT_FALSE(status.ok()) << size;
        EXPECT_TRUE(status.errorMessage().contains(target())) << status.errorMessage().toStdString();
        EXPECT_EQ(contents(), "the old page");
        EXPECT_EQ(entries(), QStringList{"page.jw3page"}) << "no temporary file is left behind";
    }
}

TEST_F(AtomicFileWriterTest, aReadOnlyFolderLeavesThePreviousFileIntact)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "permissions do not stop root";
    ASSERT_TRUE(AtomicFileWriter::writeFile(target(), "the old page").ok());
    QFile::setPermissions(folder.path(), QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    const Status status = AtomicFileWriter::writeFile(target(), "new");
    QFile::setPermissions(folder.path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);

    EXPECT_FALSE(status.ok());
    EXPECT_EQ(contents(), "the old page");
}

TEST_F(AtomicFileWriterTest, aMissingFolderIsAnError)
{
    const Status status = AtomicFileWriter::writeFile(folder.filePath("no/such/page"), "x");
    EXPECT_FALSE(status.ok());
    EXPECT_FALSE(status.errorMessage().isEmpty());
}

} // namespace

namespace {

// A batch puts nothing under a final name before commit(), and a batch given
// up leaves the targets and the folder as they were.
TEST_F(AtomicFileWriterTest, batchRenamesOnlyOnCommitInTheOrderAdded)
{
    ASSERT_TRUE(AtomicFileWriter::writeFile(target(), "old").ok());
    {
        AtomicFileBatch batch;
        ASSERT_TRUE(batch.add(target(), "given up").ok());
        EXPECT_EQ(contents(), "old");
    }
    EXPECT_EQ(entries(), QStringList{"page.jw3page"});

    AtomicFileBatch batch;
    ASSERT_TRUE(batch.add(target(), "first").ok());
    ASSERT_TRUE(batch.add(folder.filePath("other.txt"), "other").ok());
    ASSERT_TRUE(batch.add(target(), "second").ok());
    EXPECT_EQ(contents(), "old");
    ASSERT_TRUE(batch.commit().ok());
    EXPECT_EQ(contents(), "second");
    EXPECT_EQ(entries(), (QStringList{"other.txt", "page.jw3page"}));

    EXPECT_FALSE(batch.add(folder.filePath("missing/page.txt"), "x").ok());
}

} // namespace
