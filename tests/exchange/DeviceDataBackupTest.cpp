#include "common/FreshUserTest.h"
#include "common/WriteFailures.h"
#include "exchange/BackupFiles.h"
#include "exchange/DeviceDataBackup.h"
#include "model/JWMemo.h"
#include "platform/settings/FolderPaths.h"

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

MemoPtr page(const QString &title, const QString &text)
{
    MemoPtr memo = JWMemo::memo();
    memo->setTitle(title);
    memo->setMemoDataWithPlainText(text);
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
    for (const QString &name : names) {
        QFile file(folder + u'/' + name);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    }
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
    trip->appendChild(page(QStringLiteral("Caf\u00e9 \u65e5\u672c"), QStringLiteral("Espresso\n2 \u20ac")));
    // Pages of one title both stay: the later one's name takes a number.
    trip->appendChild(page(QStringLiteral("Day"), QStringLiteral("first")));
    trip->appendChild(page(QStringLiteral("Day"), QStringLiteral("second")));
    const DeviceDataBackup backup;
    EXPECT_EQ(backup.rootFolder(), iPhoneDataBackupRootFolderPath());

    // Names beyond ASCII are written whatever the process's locale.
    const Result<QString> made = [&] {
        const PlainCLocale plain;
        return backup.backupJotwell3Data(*trip, m_time.toOffsetFromUtc(3600));
    }();
    ASSERT_TRUE(made.ok()) << qPrintable(made.errorMessage());
    EXPECT_EQ(made.value(), backup.rootFolder() + QStringLiteral("/2026-03-29_01-30-05Z.tar.gz"));
    const QMap<QString, QByteArray> expected{{"2026-03-29_01-30-05Z/", {}},
        {"2026-03-29_01-30-05Z/Trip_backup.txt", "Plans"}, {"2026-03-29_01-30-05Z/Trip_backup/", {}},
        {"2026-03-29_01-30-05Z/Trip_backup/Caf\u00e9 \u65e5\u672c.txt", "Espresso\n2 \xe2\x82\xac"},
        {"2026-03-29_01-30-05Z/Trip_backup/Day.txt", "first"},
        {"2026-03-29_01-30-05Z/Trip_backup/Day 2.txt", "second"}};
    EXPECT_EQ(entriesOf(made.value()), expected);
    EXPECT_EQ(trip->title(), QStringLiteral("Trip"));

    // A second backup within the same second takes the next name; nothing but the archives is left.
    const Result<QString> again = backup.backupJotwell3Data(*trip, m_time);
    ASSERT_TRUE(again.ok()) << qPrintable(again.errorMessage());
    EXPECT_EQ(namesIn(backup.rootFolder()),
        QStringList({QStringLiteral("2026-03-29_01-30-05Z.tar.gz"), QStringLiteral("2026-03-29_01-30-05Z_2.tar.gz")}));
    EXPECT_TRUE(entriesOf(again.value()).contains(QStringLiteral("2026-03-29_01-30-05Z_2/Trip_backup.txt")));
}

TEST_F(DeviceDataBackupTest, compressFilePacksAFileOrFolderBesideItUnderItsName)
{
    QTemporaryDir data;
    const QString folder = data.filePath(QStringLiteral("Note Data"));
    ASSERT_TRUE(QDir().mkpath(folder + QStringLiteral("/Unused Files")));
    QFile page(folder + QStringLiteral("/12.jw3page"));
    ASSERT_TRUE(page.open(QIODevice::WriteOnly) && page.write("page twelve") == 11);
    page.close();
    ASSERT_TRUE(QFile::link(QStringLiteral("12.jw3page"), folder + QStringLiteral("/link")));

    const Result<QString> packed = compressFile(folder);
    ASSERT_TRUE(packed.ok()) << qPrintable(packed.errorMessage());
    EXPECT_EQ(packed.value(), data.filePath(QStringLiteral("Note Data.tar.gz")));
    const QMap<QString, QByteArray> expected{{"Note Data/", {}}, {"Note Data/12.jw3page", "page twelve"},
        {"Note Data/Unused Files/", {}}, {"Note Data/link", {}}};
    EXPECT_EQ(entriesOf(packed.value()), expected);

    const Result<QString> single = compressFile(page.fileName());
    ASSERT_TRUE(single.ok()) << qPrintable(single.errorMessage());
    EXPECT_EQ(single.value(), folder + QStringLiteral("/12.tar.gz"));
    EXPECT_EQ(entriesOf(single.value()), (QMap<QString, QByteArray>{{"12.jw3page", "page twelve"}}));
    EXPECT_FALSE(compressFile(data.filePath(QStringLiteral("missing"))).ok());
}

TEST_F(DeviceDataBackupTest, rotationKeepsTheNewestAndNeverRemovesDSStore)
{
    struct Case
    {
        int backups;
        bool dsStore;
        int removed;
    };
    // Entries besides .DS_Store, the oldest being a folder that a failed clean-up left.
    for (const Case &c : {Case{31, false, 1}, Case{30, false, 0}, Case{30, true, 0}, Case{32, true, 2}}) {
        SCOPED_TRACE(testing::Message() << c.backups << " backups, .DS_Store " << c.dsStore);
        QTemporaryDir folder;
        QStringList backups;
        for (int day = 1; day < c.backups; ++day)
            backups.append(QStringLiteral("2026-01-%1_00-00-00Z.tar.gz").arg(day, 2, 10, QChar(u'0')));
        makeEntries(folder.path(), backups);
        ASSERT_TRUE(QDir(folder.path()).mkpath(QStringLiteral("2025-12-31_00-00-00Z/Trip")));
        backups.prepend(QStringLiteral("2025-12-31_00-00-00Z"));
        if (c.dsStore)
            makeEntries(folder.path(), {QStringLiteral(".DS_Store")});

        removeOldFilesInDirectory(folder.path(), DeviceDataBackup::kKeptBackups);
        QStringList kept = backups.mid(c.removed);
        if (c.dsStore)
            kept.prepend(QStringLiteral(".DS_Store"));
        EXPECT_EQ(namesIn(folder.path()), kept);
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
        trip->appendChild(page(QStringLiteral("Page %1").arg(i), text));
    }
    const DeviceDataBackup backup;
    QStringList old;
    for (int day = 1; day <= DeviceDataBackup::kKeptBackups; ++day)
        old.append(QStringLiteral("2026-01-%1_00-00-00Z.tar.gz").arg(day, 2, 10, QChar(u'0')));
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
