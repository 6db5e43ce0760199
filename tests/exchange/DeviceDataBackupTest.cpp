#include "common/FreshUserTest.h"
#include "common/WriteFailures.h"
#include "exchange/BackupFiles.h"
#include "exchange/DeviceDataBackup.h"
#include "model/JWMemo.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QMap>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <algorithm>
#include <clocale>
#include <locale.h>
#include <memory>
#include <string>

#include <archive.h>
#include <archive_entry.h>

namespace {

MemoPtr page(const QString &title, const QString &text, const MemoPtr &parent = nullptr)
{
    MemoPtr memo = JWMemo::memo();
    memo->setTitle(title);
    memo->setMemoDataWithPlainText(text);
    if (parent)
        parent->appendChild(memo);
    return memo;
}

// The entries of a .tar.gz by name, with their contents; "!unreadable" when
// reading fails, "!twice <name>" for a name that comes again.
// Runs with the process's character set as a session without LANG has it.
class PlainCLocale
{
public:
    PlainCLocale()
        : m_saved(std::setlocale(LC_ALL, nullptr))
    {
        std::setlocale(LC_ALL, "C");
    }
    ~PlainCLocale() { std::setlocale(LC_ALL, m_saved.c_str()); }

private:
    std::string m_saved;
};

QMap<QString, QByteArray> entriesOf(const QString &path)
{
    // Read with UTF-8 names, whatever locale the archive was written in.
    locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t(nullptr));
    const locale_t previous = uselocale(utf8);
    QMap<QString, QByteArray> entries;
    std::unique_ptr<archive, decltype(&archive_read_free)> in(archive_read_new(), archive_read_free);
    archive_read_support_filter_gzip(in.get());
    archive_read_support_format_tar(in.get());
    int read = archive_read_open_filename(in.get(), QFile::encodeName(path).constData(), 1 << 16);
    archive_entry *entry = nullptr;
    while (read == ARCHIVE_OK && (read = archive_read_next_header(in.get(), &entry)) == ARCHIVE_OK) {
        QByteArray contents(qsizetype(archive_entry_size(entry)), Qt::Uninitialized);
        if (archive_read_data(in.get(), contents.data(), size_t(contents.size())) != contents.size())
            read = ARCHIVE_FATAL;
        const QString name = QString::fromUtf8(archive_entry_pathname_utf8(entry));
        entries.insert(entries.contains(name) ? QStringLiteral("!twice ") + name : name, contents);
    }
    if (read != ARCHIVE_EOF)
        entries.insert(QStringLiteral("!unreadable"), {});
    uselocale(previous);
    freelocale(utf8);
    return entries;
}

void makeEntries(const QString &folder, const QStringList &names)
{
    for (const QString &name : names)
        ASSERT_TRUE(QFile(folder + u'/' + name).open(QIODevice::WriteOnly));
}

// One backup a day from 2026-01-01 on, @p count in all.
QStringList dailyBackups(int count)
{
    QStringList names;
    for (int day = 1; day <= count; ++day)
        names.append(QStringLiteral("2026-01-%1_00-00-00Z.tar.gz").arg(day, 2, 10, QChar(u'0')));
    return names;
}

// Sorted by code points, as the rotation sorts, whatever the locale.
QStringList namesIn(const QString &folder)
{
    QStringList names = QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    std::sort(names.begin(), names.end());
    return names;
}

class DeviceDataBackupTest : public FreshUserTest
{
protected:
    const QDateTime m_time{QDate(2026, 3, 29), QTime(1, 30, 5), Qt::UTC};
};

TEST_F(DeviceDataBackupTest, archivesTheSubtreeUnderTheBackupTitle)
{
    MemoPtr trip = page(QStringLiteral("Trip"), QStringLiteral("Plans"));
    page(QStringLiteral("Caf\u00e9 \u65e5\u672c"), QStringLiteral("Espresso\n2 \u20ac"), trip);
    // Pages of one title both stay: the later one's name takes a number.
    page(QStringLiteral("Day"), QStringLiteral("first"), trip);
    page(QStringLiteral("Day"), QStringLiteral("second"), trip);
    const DeviceDataBackup backup;
    // Names beyond ASCII are written whatever the process's locale.
    const Result<QString> made = [&] {
        const PlainCLocale plain;
        return backup.backupJotwell3Data(*trip, m_time.toOffsetFromUtc(3600));
    }();
    ASSERT_TRUE(made.ok()) << qPrintable(made.errorMessage());
    EXPECT_EQ(made.value(), backup.rootFolder() + QStringLiteral("/2026-03-29_01-30-05Z.tar.gz"));
    const QString top = QStringLiteral("2026-03-29_01-30-05Z/");
    const QMap<QString, QByteArray> expected{{top, {}}, {top + "Trip_backup.txt", "Plans"}, {top + "Trip_backup/", {}},
        {top + "Trip_backup/Caf\u00e9 \u65e5\u672c.txt", "Espresso\n2 \xe2\x82\xac"},
        {top + "Trip_backup/Day.txt", "first"}, {top + "Trip_backup/Day 2.txt", "second"}};
    EXPECT_EQ(entriesOf(made.value()), expected);
    EXPECT_EQ(trip->title(), QStringLiteral("Trip"));

    // A second backup within the same second takes the next name; nothing but the archives is left.
    const Result<QString> again = backup.backupJotwell3Data(*trip, m_time);
    ASSERT_TRUE(again.ok());
    EXPECT_EQ(namesIn(backup.rootFolder()),
        QStringList({QStringLiteral("2026-03-29_01-30-05Z.tar.gz"), QStringLiteral("2026-03-29_01-30-05Z_2.tar.gz")}));
    EXPECT_TRUE(entriesOf(again.value()).contains(QStringLiteral("2026-03-29_01-30-05Z_2/Trip_backup.txt")));
}

TEST_F(DeviceDataBackupTest, rotationKeepsTheNewestAndNeverRemovesDSStore)
{
    for (const bool dsStore : {false, true}) {
        SCOPED_TRACE(dsStore ? "with .DS_Store" : "without .DS_Store");
        QTemporaryDir folder;
        // The oldest entry is a folder that a failed clean-up left.
        ASSERT_TRUE(QDir(folder.path()).mkpath(QStringLiteral("2025-12-31_00-00-00Z/Trip")));
        const QStringList backups = QStringList{QStringLiteral("2025-12-31_00-00-00Z")} + dailyBackups(31);
        makeEntries(
            folder.path(), backups.mid(1) + (dsStore ? QStringList{QStringLiteral(".DS_Store")} : QStringList()));

        removeOldFilesInDirectory(folder.path(), DeviceDataBackup::kKeptBackups);
        EXPECT_EQ(namesIn(folder.path()),
            (dsStore ? QStringList{QStringLiteral(".DS_Store")} : QStringList()) + backups.mid(2));
    }
}

TEST_F(DeviceDataBackupTest, aFailedBackupLeavesNothingAndRemovesNoOldBackup)
{
    MemoPtr trip = page(QStringLiteral("Trip"), QStringLiteral("Plans"));
    for (int i = 0; i < 8; ++i) {
        // Text that hardly compresses, so that the archive outgrows each page's file.
        QString text;
        for (int c = 0; c < 3000; ++c)
            text += QChar(u'a' + QRandomGenerator::global()->bounded(26));
        page(QStringLiteral("Page %1").arg(i), text, trip);
    }
    const DeviceDataBackup backup;
    const QStringList old = dailyBackups(DeviceDataBackup::kKeptBackups);
    makeEntries(backup.rootFolder(), old);
    {
        FileSizeLimit full(8000);
        ASSERT_TRUE(full.active());
        const Result<QString> made = backup.backupJotwell3Data(*trip, m_time);
        EXPECT_FALSE(made.ok());
        EXPECT_TRUE(made.errorMessage().contains(QStringLiteral("2026-03-29_01-30-05Z.tar.gz")))
            << qPrintable(made.errorMessage());
    }
    EXPECT_EQ(namesIn(backup.rootFolder()), old);

    WithoutWriteAccess readOnly({backup.rootFolder()}, {home()});
    if (!readOnly.active())
        GTEST_SKIP() << "no second user to write as";
    EXPECT_FALSE(backup.backupJotwell3Data(*trip, m_time).ok());
    EXPECT_EQ(namesIn(backup.rootFolder()), old);
}

} // namespace
