#include "common/WriteFailures.h"
#include "exchange/QuitBackup.h"
#include "platform/base/AtomicFileWriter.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
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
        QFile file(info.filePath());
        files[QDir(folder).relativeFilePath(info.filePath())] = info.isSymLink()
            ? "-> " + QFile::encodeName(info.symLinkTarget())
            : file.open(QIODevice::ReadOnly) ? file.readAll()
                                             : "!unreadable";
    }
    return files;
}

class QuitBackupTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(QDir(m_dir.path()).mkpath(QStringLiteral("Note Data/Unused Files")));
        for (const char *name : {"JW3Data.jw3datastore", "JW3Data.jw3settings", "Note Data/12.jw3page",
                 "Note Data/12.webarchive", "Note Data/Unused Files/7.jw3page", "Outside.txt"})
            write(QLatin1StringView(name), name);
        ASSERT_TRUE(QFile::link(
            m_dir.filePath(QStringLiteral("Outside.txt")), m_dir.filePath(QStringLiteral("Note Data/out"))));
    }
    void write(const QString &name, const QByteArray &bytes) const
    {
        ASSERT_TRUE(AtomicFileWriter::writeFile(m_dir.filePath(name), bytes).ok());
    }
    [[nodiscard]] QStringList backups() const
    {
        return QDir(m_dir.filePath(QStringLiteral("Backups")))
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
    }

    QTemporaryDir m_dir;
};

TEST_F(QuitBackupTest, holdsTheDataAsItWasWhateverIsSavedLater)
{
    QMap<QString, QByteArray> expected = contents(m_dir.path());
    expected.remove(QStringLiteral("Outside.txt"));
    const Result<QString> made = QuitBackup::backUp(m_dir.path(), kTime);
    ASSERT_TRUE(made.ok()) << made.errorMessage().toStdString();
    EXPECT_EQ(made.value(), m_dir.filePath(QStringLiteral("Backups/2026-03-29_01-30-00Z")));
    EXPECT_EQ(contents(made.value()), expected);

    write(QStringLiteral("Note Data/12.jw3page"), "edited");
    write(QStringLiteral("JW3Data.jw3datastore"), "edited");
    EXPECT_EQ(contents(made.value()), expected);
    EXPECT_EQ(QuitBackup::backUp(m_dir.path(), kTime).valueOr({}), made.value() + QStringLiteral("_2"));
}

TEST_F(QuitBackupTest, keepsTheNewestThirtyAndClearsWhatACrashLeft)
{
    for (int day = 1; day <= 30; ++day)
        ASSERT_TRUE(
            QDir(m_dir.path()).mkpath(QStringLiteral("Backups/2026-01-%1_00-00-00Z").arg(day, 2, 10, QChar(u'0'))));
    ASSERT_TRUE(QDir(m_dir.path()).mkpath(QStringLiteral("Backups/.partial-abc123/Note Data")));

    ASSERT_TRUE(QuitBackup::backUp(m_dir.path(), kTime).ok());
    ASSERT_EQ(backups().size(), QuitBackup::kKeptBackups);
    EXPECT_EQ(backups().first(), QStringLiteral("2026-01-02_00-00-00Z"));
    EXPECT_EQ(backups().last(), QStringLiteral("2026-03-29_01-30-00Z"));
}

TEST_F(QuitBackupTest, aFailedBackupLeavesNothingAndRemovesNoOldOne)
{
    ASSERT_TRUE(QDir(m_dir.path()).mkpath(QStringLiteral("Backups/2026-01-01_00-00-00Z")));
    const QStringList before = backups();
    const QByteArray unreadable = QFile::encodeName(m_dir.filePath(QStringLiteral("Note Data/Unused Files")));
    ::chmod(unreadable.constData(), 0);
    {
        WithoutWriteAccess readOnly({m_dir.filePath(QStringLiteral("Backups"))}, {m_dir.path()});
        EXPECT_FALSE(QuitBackup::backUp(m_dir.path(), kTime).ok());
        // With "Backups" writable, the page folder that cannot be read fails it half way.
        readOnly.giveAccessBack();
        EXPECT_FALSE(QuitBackup::backUp(m_dir.path(), kTime).ok());
    }
    ::chmod(unreadable.constData(), 0755);
    EXPECT_EQ(backups(), before);
}

} // namespace
