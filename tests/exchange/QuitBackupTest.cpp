#include "common/WriteFailures.h"
#include "exchange/QuitBackup.h"
#include "platform/base/AtomicFileWriter.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QTemporaryDir>

namespace {

const QDateTime kTime(QDate(2026, 3, 29), QTime(1, 30), Qt::UTC);

// Every file under @p folder by relative path, with its bytes; links as "-> target".
QMap<QString, QByteArray> contents(const QString &folder)
{
    QMap<QString, QByteArray> files;
    QDirIterator it(folder, QDir::Files | QDir::System | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QFileInfo info(it.next());
        const QString name = QDir(folder).relativeFilePath(info.filePath());
        if (info.isSymLink()) {
            files[name] = "-> " + QFile::encodeName(info.symLinkTarget());
        } else {
            QFile file(info.filePath());
            files[name] = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("!unreadable");
        }
    }
    return files;
}

class QuitBackupTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(QDir(m_dir.path()).mkpath(QStringLiteral("Note Data/Unused Files")));
        write(QStringLiteral("JW3Data.jw3datastore"), "store");
        write(QStringLiteral("JW3Data.jw3settings"), "settings");
        write(QStringLiteral("Note Data/12.jw3page"), "page 12");
        write(QStringLiteral("Note Data/12.webarchive"), "clip");
        write(QStringLiteral("Note Data/Unused Files/7.jw3page"), "old page");
        write(QStringLiteral("Outside.txt"), "outside");
        ASSERT_TRUE(QFile::link(folder() + QStringLiteral("/Outside.txt"), folder() + QStringLiteral("/Note Data/out")));
    }
    void write(const QString &name, const QByteArray &bytes) const
    {
        ASSERT_TRUE(AtomicFileWriter::writeFile(folder() + u'/' + name, bytes).ok());
    }
    [[nodiscard]] QString folder() const { return m_dir.path(); }
    [[nodiscard]] QString backups() const { return folder() + QStringLiteral("/Backups"); }

    QTemporaryDir m_dir;
};

TEST_F(QuitBackupTest, holdsTheDataAsItWasWhateverIsSavedLater)
{
    QMap<QString, QByteArray> expected = contents(folder());
    expected.remove(QStringLiteral("Outside.txt"));

    const Result<QString> made = QuitBackup::backUp(folder(), kTime);
    ASSERT_TRUE(made.ok()) << made.errorMessage().toStdString();
    EXPECT_EQ(made.value(), backups() + QStringLiteral("/2026-03-29_01-30-00Z"));
    EXPECT_EQ(contents(made.value()), expected);
    EXPECT_TRUE(QFileInfo(made.value() + QStringLiteral("/Note Data/out")).isSymLink());

    write(QStringLiteral("Note Data/12.jw3page"), "page 12, edited");
    write(QStringLiteral("JW3Data.jw3datastore"), "store, edited");
    EXPECT_EQ(contents(made.value()), expected);

    const Result<QString> second = QuitBackup::backUp(folder(), kTime);
    ASSERT_TRUE(second.ok());
    EXPECT_EQ(second.value(), made.value() + QStringLiteral("_2"));
    EXPECT_EQ(contents(second.value()).value(QStringLiteral("Note Data/12.jw3page")), "page 12, edited");
}

TEST_F(QuitBackupTest, keepsTheNewestThirtyAndClearsWhatACrashLeft)
{
    for (int day = 1; day <= 30; ++day)
        ASSERT_TRUE(QDir().mkpath(backups() + QStringLiteral("/2026-01-%1_00-00-00Z").arg(day, 2, 10, QChar(u'0'))));
    ASSERT_TRUE(QDir().mkpath(backups() + QStringLiteral("/.partial-abc123/Note Data")));

    ASSERT_TRUE(QuitBackup::backUp(folder(), kTime).ok());
    const QStringList left = QDir(backups()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
    ASSERT_EQ(left.size(), QuitBackup::kKeptBackups);
    EXPECT_EQ(left.first(), QStringLiteral("2026-01-02_00-00-00Z"));
    EXPECT_EQ(left.last(), QStringLiteral("2026-03-29_01-30-00Z"));
}

TEST_F(QuitBackupTest, aFailedBackupLeavesNothingAndRemovesNoOldOne)
{
    ASSERT_TRUE(QDir().mkpath(backups() + QStringLiteral("/2026-01-01_00-00-00Z")));
    const QStringList before = QDir(backups()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    {
        WithoutWriteAccess readOnly({backups()}, {folder()});
        ASSERT_TRUE(readOnly.active());
        EXPECT_FALSE(QuitBackup::backUp(folder(), kTime).ok());
    }
    EXPECT_EQ(QDir(backups()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), before);

    // A folder of page files that cannot be read fails the backup half way: what was built goes.
    const QByteArray unused = QFile::encodeName(folder() + QStringLiteral("/Note Data/Unused Files"));
    ::chmod(unused.constData(), 0);
    {
        WithoutWriteAccess writable({backups()}, {folder()});
        writable.giveAccessBack();
        EXPECT_FALSE(QuitBackup::backUp(folder(), kTime).ok());
    }
    ::chmod(unused.constData(), 0755);
    EXPECT_EQ(QDir(backups()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), before);
}

} // namespace
