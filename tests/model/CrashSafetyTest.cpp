// Killing the application while it saves must never cost a page: jw-save-loop,
// which edits and saves without pause, is killed with SIGKILL at random moments
// (drawn from JW_CRASH_SEED, else a fixed seed, named by every failure), and
// after each kill the folder must load, keep every page it had, and hold only
// whole files, each one a version the program really wrote.
#include "DataFolder.h"
#include "platform/base/FileContents.h"
#include "platform/settings/FolderPaths.h"
#include "platform/archive/PropertyList.h"
#include "platform/richtext/TextConverter.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QThread>

#include <signal.h>
#include <sys/stat.h>

#include <random>

namespace {

constexpr int kKills = 100;
// Small enough for a hundred kills in a minute; every save still rewrites the whole tree.
constexpr int kPages = 1'000;
constexpr int kTextBytes = 2'000;
constexpr quint32 kDefaultSeed = 20'240'601;

using Version = std::pair<qint64, qint64>; // ID and generation

QByteArray textHash(const QString &text)
{
    return QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Sha1).toHex();
}

// The generation a title "Page <ID> gen <generation>" names for @p memoID; -1 when it names none.
qint64 generationInTitle(const QString &title, qint64 memoID)
{
    static const QRegularExpression pattern(QStringLiteral("^Page (\\d+) gen (\\d+)$"));
    const QRegularExpressionMatch match = pattern.match(title);
    if (!match.hasMatch() || match.captured(1).toLongLong() != memoID)
        return -1;
    return match.captured(2).toLongLong();
}

// The same identity, the same bytes: an atomic write makes a new file, a write in place moves the change time.
struct FileIdentity
{
    ino_t inode = 0;
    qint64 size = 0;
    qint64 changed = 0;
    friend bool operator==(const FileIdentity &, const FileIdentity &) = default;
};

std::optional<FileIdentity> identityOf(const QString &path)
{
    struct stat info
    { };
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return std::nullopt;
    return FileIdentity{info.st_ino, info.st_size, info.st_ctim.tv_sec * 1'000'000'000 + info.st_ctim.tv_nsec};
}

class CrashSafetyTest : public DataFolderTest
{
protected:
    void SetUp() override
    {
        DataFolderTest::SetUp();
        m_journalPath = home() + QStringLiteral("/journal");
        const QString childHome = home() + QStringLiteral("/child");
        for (const QString &sub : {QStringLiteral("/config"), QStringLiteral("/data")})
            ASSERT_TRUE(QDir().mkpath(childHome + sub));
        m_environment = QProcessEnvironment::systemEnvironment();
        m_environment.insert(QStringLiteral("HOME"), childHome);
        m_environment.insert(QStringLiteral("XDG_CONFIG_HOME"), childHome + QStringLiteral("/config"));
        m_environment.insert(QStringLiteral("XDG_DATA_HOME"), childHome + QStringLiteral("/data"));
        m_environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), home());
        m_environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        const QByteArray seed = qgetenv("JW_CRASH_SEED");
        m_seed = seed.isEmpty() ? kDefaultSeed : seed.toUInt();
    }

    // Starts the child for @p round and waits until its tree is loaded or made and saved.
    void startChild(QProcess &child, int round)
    {
        child.setProcessEnvironment(m_environment);
        child.start(QCoreApplication::applicationDirPath() + QStringLiteral("/jw-save-loop"),
            {folder(), m_journalPath, QString::number(round), QString::number(kPages), QString::number(kTextBytes),
                QString::number(m_seed)});
        ASSERT_TRUE(child.waitForStarted())
            << "jw-save-loop, built with the tests, cannot be started: " << child.errorString().toStdString();
        while (!child.canReadLine()) {
            ASSERT_TRUE(child.waitForReadyRead(60'000))
                << "jw-save-loop never got ready: " << child.readAllStandardError().toStdString();
        }
        ASSERT_EQ(child.readLine().trimmed(), QByteArray("ready"));
    }

    // The journal: every version the child announced, with its text's hash.
    [[nodiscard]] QHash<Version, QByteArray> readJournal() const
    {
        QHash<Version, QByteArray> versions;
        auto bytes = FileContents::read(m_journalPath);
        EXPECT_TRUE(bytes.ok()) << bytes.errorMessage().toStdString();
        for (const QByteArray &line : bytes.valueOr(QByteArray()).split('\n')) {
            const QList<QByteArray> fields = line.split(' ');
            if (fields.size() == 3) // a line cut short by the kill names no version
                versions.insert({fields[0].toLongLong(), fields[1].toLongLong()}, fields[2]);
        }
        return versions;
    }

    // What is wrong with one page file, if anything; notes the generation it holds in @p generation.
    static QString problemWithPageFile(
        const QString &path, qint64 memoID, const QHash<Version, QByteArray> &journal, qint64 &generation)
    {
        auto bytes = FileContents::read(path);
        if (!bytes)
            return bytes.errorMessage();
        auto parsed = PropertyList::fromData(bytes.value());
        if (!parsed || parsed.value().typeId() != QMetaType::QVariantMap)
            return QStringLiteral("not a property-list dictionary (%1 bytes)").arg(bytes.value().size());
        const QVariantMap page = parsed.value().toMap();
        if (page.value(QStringLiteral("memoID")).toLongLong() != memoID)
            return QStringLiteral("it names page %1").arg(page.value(QStringLiteral("memoID")).toLongLong());
        generation = generationInTitle(page.value(QStringLiteral("title")).toString(), memoID);
        if (!journal.contains({memoID, generation}))
            return QStringLiteral("its title \"%1\" is no version the program wrote")
                .arg(page.value(QStringLiteral("title")).toString());
        TextConverter text;
        if (Status read = text.setRTFDData(page.value(QStringLiteral("memoData")).toByteArray()); !read)
            return QStringLiteral("its text is no RTFD: %1").arg(read.errorMessage());
        if (textHash(text.string()) != journal.value({memoID, generation}))
            return QStringLiteral("its text is not the text of generation %1").arg(generation);
        return {};
    }

    // Every page file and the data store's own files, whole and as written.
    void checkFiles(const QHash<Version, QByteArray> &journal)
    {
        static const QRegularExpression pageFileName(QStringLiteral("^(\\d+)\\.jw3page$"));
        const QDir noteData(folder() + QStringLiteral("/Note Data"));
        QHash<qint64, CheckedFile> present;
        for (const QFileInfo &entry : noteData.entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)) {
            const QString name = entry.fileName();
            if (entry.isDir()) {
                EXPECT_EQ(name, QStringLiteral("Unused Files")) << "an unexpected folder in Note Data";
                continue;
            }
            const QRegularExpressionMatch match = pageFileName.match(name);
            if (!match.hasMatch()) { // what the store takes for page files must be nothing else
                EXPECT_FALSE(name.endsWith(QStringLiteral(".jw3page"))) << "a stray page file: " << name.toStdString();
                continue;
            }
            const qint64 id = match.captured(1).toLongLong();
            const auto identity = identityOf(entry.absoluteFilePath());
            ASSERT_TRUE(identity.has_value()) << name.toStdString();
            if (const auto known = m_checkedFiles.constFind(id);
                known != m_checkedFiles.cend() && known->identity == *identity) {
                present.insert(id, *known); // unchanged since it was checked
                continue;
            }
            CheckedFile checked{*identity, -1};
            const QString problem = problemWithPageFile(entry.absoluteFilePath(), id, journal, checked.generation);
            EXPECT_TRUE(problem.isEmpty()) << "page file " << name.toStdString() << ": " << problem.toStdString();
            present.insert(id, checked);
        }
        m_checkedFiles = present;
        for (const QString &name : QDir(folder()).entryList(
                 {QStringLiteral("*.jw3datastore"), QStringLiteral("*.jw3settings")}, QDir::Files | QDir::Hidden))
            EXPECT_TRUE(name == QStringLiteral("JW3Data.jw3datastore") || name == QStringLiteral("JW3Data.jw3settings"))
                << "a stray store file: " << name.toStdString();
    }

    // Loads the folder with fresh preferences; checks the tree against the pages known before and the journal.
    void checkTree(const QHash<Version, QByteArray> &journal)
    {
        UserDefaults::resetStandardUserDefaults();
        QFile::remove(UserDefaults::standardFilePath());
        UserDefaults::resetStandardUserDefaults();
        defaults().setValue(QStringLiteral("dataFolderPath"), folder());

        const auto store = loadedStore();
        ASSERT_TRUE(store->problems().isEmpty()) << store->problems().join(u'\n').toStdString();
        ASSERT_TRUE(store->rootMemo());
        QSet<qint64> ids;
        for (const MemoPtr &page : store->tree().arrayOfMemos(store->rootMemo())) {
            const qint64 id = page->memoID();
            // Two pages with one ID would share, and overwrite, one page file.
            EXPECT_FALSE(ids.contains(id)) << "two pages have the ID " << id;
            ids.insert(id);
            const qint64 generation = generationInTitle(page->title(), id);
            EXPECT_TRUE(journal.contains({id, generation}))
                << "page " << id << " has the title " << page->title().toStdString();
            EXPECT_EQ(textHash(page->plainText()), journal.value({id, generation}))
                << "page " << id << ": the data store's text is not that of generation " << generation;
            // Page files are written before the tree: one older than the tree's page would lose rich text.
            EXPECT_TRUE(m_checkedFiles.contains(id)) << "page " << id << " has no page file";
            EXPECT_GE(m_checkedFiles.value(id).generation, generation)
                << "page " << id << ": the tree holds a newer version than its page file";
        }
        for (qint64 id : std::as_const(m_knownIDs))
            EXPECT_TRUE(ids.contains(id)) << "page " << id << " is lost";
        m_knownIDs = ids;
    }

    QString m_journalPath;
    QProcessEnvironment m_environment;
    quint32 m_seed = kDefaultSeed;
    QSet<qint64> m_knownIDs;
    struct CheckedFile
    {
        FileIdentity identity;
        qint64 generation = -1;
    };
    // The page files present after the last kill by ID, with the generation each holds.
    QHash<qint64, CheckedFile> m_checkedFiles;
};

TEST_F(CrashSafetyTest, KilledWhileSavingLosesNothingAndLeavesOnlyWholeFiles)
{
    std::mt19937 random(m_seed);
    std::uniform_int_distribution<int> runTime(20, 400);
    for (int round = 1; round <= kKills; ++round) {
        const int milliseconds = runTime(random);
        SCOPED_TRACE(QStringLiteral("kill %1 after %2 ms, JW_CRASH_SEED=%3")
                         .arg(round)
                         .arg(milliseconds)
                         .arg(m_seed)
                         .toStdString());
        QProcess child;
        ASSERT_NO_FATAL_FAILURE(startChild(child, round));
        QThread::msleep(milliseconds);
        ASSERT_EQ(child.state(), QProcess::Running)
            << "jw-save-loop stopped by itself: " << child.readAllStandardError().toStdString();
        ::kill(pid_t(child.processId()), SIGKILL);
        ASSERT_TRUE(child.waitForFinished(10'000));
        ASSERT_EQ(child.exitStatus(), QProcess::CrashExit);

        const QHash<Version, QByteArray> journal = readJournal();
        ASSERT_NO_FATAL_FAILURE(checkFiles(journal));
        ASSERT_NO_FATAL_FAILURE(checkTree(journal));
        ASSERT_GE(m_knownIDs.size(), kPages);
        if (HasFailure())
            break; // one kill's findings are enough to read
    }
}

} // namespace
