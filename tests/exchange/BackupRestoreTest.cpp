#include "common/FreshUserTest.h"
#include "exchange/BackupFiles.h"
#include "exchange/BackupRestore.h"
#include "exchange/QuitBackup.h"
#include "exchange/TarGzWriter.h"
#include "model/DataStore.h"
#include "platform/base/FileContents.h"
#include "platform/settings/UserDefaults.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRandomGenerator>

#include <sys/stat.h>

namespace {

const QDateTime kEarlier(QDate(2026, 3, 28), QTime(23, 0), Qt::UTC);
const QDateTime kLater(QDate(2026, 3, 29), QTime(1, 30), Qt::UTC);

// Every file under @p folder by relative path, with its bytes; links as "-> target".
QMap<QString, QByteArray> contents(const QString &folder)
{
    QMap<QString, QByteArray> files;
    QDirIterator it(folder, QDir::Files | QDir::System | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QFileInfo info(it.next());
        files[QDir(folder).relativeFilePath(info.filePath())] = info.isSymLink()
            ? "-> " + QFile::encodeName(info.symLinkTarget())
            : FileContents::read(info.filePath()).valueOr("!unreadable");
    }
    return files;
}

QStringList titles(const MemoPtr &memo)
{
    QStringList out;
    for (const MemoPtr &child : memo->children())
        out << child->title() + u'(' + titles(child).join(u',') + u')';
    return out;
}

class BackupRestoreTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        setDataFolder(folder());
        DataStore store;
        store.loadNoteData();
        const MemoPtr root = store.rootMemo();
        root->setChildrenValue({});
        const auto add = [](const MemoPtr &parent, const QString &title) {
            MemoPtr memo = JWMemo::memo();
            memo->setTitle(title);
            memo->setMemoDataWithPlainText(title + QStringLiteral(" text"));
            parent->appendChild(memo);
            return memo;
        };
        add(add(root, QStringLiteral("Straße")), QStringLiteral("Inside"));
        add(root, QStringLiteral("B"));
        ASSERT_TRUE(store.save().ok());
        m_titles = titles(root);
        // A name beyond ASCII, which the archive reader must take in any locale.
        QFile other(folder() + QStringLiteral("/Note Data/Straße.webarchive"));
        ASSERT_TRUE(other.open(QIODevice::WriteOnly) && other.write("archive") == 7);
    }
    static void setDataFolder(const QString &path)
    {
        UserDefaults::standardUserDefaults().setValue(QStringLiteral("dataFolderPath"), path);
    }
    [[nodiscard]] QString folder() const { return home() + QStringLiteral("/Data Folder"); }
    [[nodiscard]] QString backups() const { return folder() + QStringLiteral("/Backups"); }

    [[nodiscard]] static BackupRestore::Backup backUp(const QString &dataFolder, const QDateTime &time)
    {
        const Result<QString> made = QuitBackup::backUp(dataFolder, time);
        EXPECT_TRUE(made.ok()) << made.errorMessage().toStdString();
        return BackupRestore::describe(made.valueOr({})).valueOr({});
    }

    /** The entries of home(), hidden ones included: what a failed restore must leave as it was. */
    [[nodiscard]] QStringList homeEntries() const
    {
        return QDir(home()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
    }

    QStringList m_titles;
};

TEST_F(BackupRestoreTest, listsCompleteBackupsNewestFirstWithTheirSizes)
{
    const BackupRestore::Backup earlier = backUp(folder(), kEarlier);
    const BackupRestore::Backup later = backUp(folder(), kLater);
    const BackupRestore::Backup sameSecond = backUp(folder(), kLater);
    // What is not a complete dated backup with a data store.
    for (const char *junk : {".partial-abc123", "Copied by hand", "2026-03-30_00-00-00Z/Note Data"})
        ASSERT_TRUE(QDir(backups()).mkpath(QLatin1StringView(junk)));
    for (const char *withDataStore : {".partial-abc123", "Copied by hand"})
        ASSERT_TRUE(QFile::copy(folder() + QStringLiteral("/JW3Data.jw3datastore"),
            backups() + u'/' + QLatin1StringView(withDataStore) + QStringLiteral("/JW3Data.jw3datastore")));
    ASSERT_TRUE(QFile::link(later.path, backups() + QStringLiteral("/2026-03-31_00-00-00Z")));
    ASSERT_TRUE(compressFile(earlier.path).ok()); // "…Z.tar.gz", a file

    const QList<BackupRestore::Backup> listed = BackupRestore::list(folder());
    ASSERT_EQ(listed.size(), 3);
    EXPECT_EQ(listed[0].path, sameSecond.path);
    EXPECT_TRUE(sameSecond.path.endsWith(QStringLiteral("_2")));
    EXPECT_EQ(listed[1].path, later.path);
    EXPECT_EQ(listed[2].path, earlier.path);
    EXPECT_EQ(listed[1].time, kLater);
    EXPECT_EQ(listed[2].time, kEarlier);

    // Every file at its size, although the page files are links shared with the data folder.
    qint64 bytes = 0;
    for (const QByteArray &file : contents(earlier.path))
        bytes += file.size();
    EXPECT_EQ(listed[2].bytes, bytes);
    EXPECT_EQ(listed[2].pageFiles,
        QDir(earlier.path + QStringLiteral("/Note Data")).entryList({QStringLiteral("*.jw3page")}, QDir::Files).size());
    EXPECT_GE(listed[2].pageFiles, 3);
}

TEST_F(BackupRestoreTest, aRestoredFolderIsACopyThatLoadsTheSameTree)
{
    const BackupRestore::Backup backup = backUp(folder(), kLater);
    const QMap<QString, QByteArray> backedUp = contents(backup.path);
    ASSERT_TRUE(BackupRestore::check(backup).ok());
    const QString target = home() + QStringLiteral("/Restored");
    const Result<QString> restored = BackupRestore::restore(backup, target, folder());
    ASSERT_TRUE(restored.ok()) << restored.errorMessage().toStdString();
    EXPECT_EQ(restored.value(), target);
    EXPECT_EQ(contents(target), backedUp);

    struct stat inBackup = {};
    struct stat inRestore = {};
    const QString page = QDir(backup.path + QStringLiteral("/Note Data")).entryList({QStringLiteral("*.jw3page")})[0];
    ASSERT_EQ(::stat(QFile::encodeName(backup.path + QStringLiteral("/Note Data/") + page).constData(), &inBackup), 0);
    ASSERT_EQ(::stat(QFile::encodeName(target + QStringLiteral("/Note Data/") + page).constData(), &inRestore), 0);
    EXPECT_NE(inBackup.st_ino, inRestore.st_ino) << "a copy, not a link";

    // A packed backup restores the same, from its top-level folder.
    const Result<QString> archive = compressFile(backup.path);
    ASSERT_TRUE(archive.ok());
    const Result<BackupRestore::Backup> packed = BackupRestore::describe(archive.value());
    ASSERT_TRUE(packed.ok()) << packed.errorMessage().toStdString();
    EXPECT_EQ(packed.value().time, kLater);
    EXPECT_EQ(packed.value().bytes, backup.bytes);
    EXPECT_EQ(packed.value().pageFiles, backup.pageFiles);
    ASSERT_TRUE(BackupRestore::check(packed.value()).ok());
    const QString unpacked = home() + QStringLiteral("/Unpacked");
    ASSERT_TRUE(QDir().mkpath(unpacked)); // an empty folder may be the target
    ASSERT_TRUE(BackupRestore::restore(packed.value(), unpacked, folder()).ok());
    EXPECT_EQ(contents(unpacked), backedUp);

    setDataFolder(unpacked);
    DataStore store;
    store.loadNoteData();
    EXPECT_TRUE(store.problems().isEmpty());
    EXPECT_EQ(titles(store.rootMemo()), m_titles);
    EXPECT_EQ(store.rootMemo()->children().front()->plainText(), QStringLiteral("Straße text"));
}

TEST_F(BackupRestoreTest, refusesTheFolderInUseAndAFolderWithAnythingInIt)
{
    const BackupRestore::Backup backup = backUp(folder(), kLater);
    const QMap<QString, QByteArray> before = contents(folder());
    const QString occupied = home() + QStringLiteral("/Occupied");
    ASSERT_TRUE(QDir().mkpath(occupied + QStringLiteral("/.hidden")));
    const QStringList entries = homeEntries();

    EXPECT_FALSE(BackupRestore::restore(backup, folder(), folder()).ok());
    EXPECT_FALSE(BackupRestore::restore(backup, folder() + QStringLiteral("/../Data Folder"), folder()).ok());
    EXPECT_FALSE(BackupRestore::restore(backup, occupied, folder()).ok());
    EXPECT_FALSE(BackupRestore::restore(backup, backup.path + QStringLiteral("/Inside"), folder()).ok());
    EXPECT_EQ(contents(folder()), before);
    EXPECT_EQ(homeEntries(), entries);
}

TEST_F(BackupRestoreTest, aBrokenBackupIsReportedAndLeavesNothing)
{
    // Bytes that do not compress, so that half the archive is half its stream
    // and not only the zeros that fill its last block.
    QByteArray noise(1 << 16, Qt::Uninitialized);
    QRandomGenerator(7).fillRange(reinterpret_cast<quint32 *>(noise.data()), noise.size() / 4);
    QFile picture(folder() + QStringLiteral("/Note Data/7.webarchive"));
    ASSERT_TRUE(picture.open(QIODevice::WriteOnly) && picture.write(noise) == noise.size());
    picture.close();
    const BackupRestore::Backup backup = backUp(folder(), kLater);
    const Result<QString> archive = compressFile(backup.path);
    ASSERT_TRUE(archive.ok());
    const QByteArray whole = FileContents::read(archive.value()).valueOr({});

    // A data store cut short.
    QFile dataStore(backup.path + QStringLiteral("/JW3Data.jw3datastore"));
    ASSERT_TRUE(dataStore.resize(dataStore.size() / 2));
    const Status truncatedStore = BackupRestore::check(backup);
    EXPECT_FALSE(truncatedStore.ok());
    EXPECT_TRUE(truncatedStore.errorMessage().contains(QStringLiteral("data store")))
        << truncatedStore.errorMessage().toStdString();

    // An archive cut off in the middle, and one whose entries lead out of their folder.
    const QString truncated = home() + QStringLiteral("/truncated.tar.gz");
    QFile cut(truncated);
    ASSERT_TRUE(cut.open(QIODevice::WriteOnly) && cut.write(whole.left(whole.size() / 2)) == whole.size() / 2);
    cut.close();
    const QString evil = home() + QStringLiteral("/evil.tar.gz");
    TarGzWriter writer(evil);
    ASSERT_TRUE(writer.open().ok());
    ASSERT_TRUE(writer.addFile(QStringLiteral("b/JW3Data.jw3datastore"), whole).ok());
    ASSERT_TRUE(writer.addFile(QStringLiteral("b/../../evil"), "evil").ok());
    ASSERT_TRUE(writer.finish().ok());

    const QStringList entries = homeEntries();
    for (const QString &path : {truncated, evil}) {
        SCOPED_TRACE(path.toStdString());
        EXPECT_FALSE(BackupRestore::describe(path).ok());
        BackupRestore::Backup pointedAt;
        pointedAt.path = path;
        EXPECT_FALSE(BackupRestore::readThrough(pointedAt).ok());
        const Result<QString> restored
            = BackupRestore::restore(pointedAt, home() + QStringLiteral("/Target"), folder());
        EXPECT_FALSE(restored.ok());
        EXPECT_FALSE(restored.errorMessage().isEmpty());
        EXPECT_EQ(homeEntries(), entries);
    }
    EXPECT_FALSE(QFileInfo::exists(QDir::cleanPath(home() + QStringLiteral("/../evil"))));
}

} // namespace
