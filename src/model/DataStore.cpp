#include "DataStore.h"

#include "ApplicationTree.h"
#include "DataStoreHost.h"
#include "MemoCoding.h"
#include "MemoIDAllocator.h"
#include "ModelLog.h"
#include "PageFile.h"
#include "SettingsFile.h"

#include "platform/base/AtomicFileWriter.h"
#include "platform/base/FileContents.h"
#include "platform/base/FileSetAside.h"
#include "platform/settings/FolderPaths.h"
#include "platform/base/NotificationCenter.h"
#include "platform/base/NotificationNames.h"
#include "platform/base/PreferenceKeys.h"
#include "platform/richtext/Rtfd.h"
#include "platform/typedstream/TypedStreamDecoder.h"
#include "platform/typedstream/TypedStreamWriter.h"
#include "platform/settings/UserDefaults.h"
#include "util/FileManagerUtility.h"

#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QUrl>
#include <QtConcurrent/QtConcurrentMap>
#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unordered_set>

#include <sys/stat.h>

namespace {

// The version the data store and settings are written for; older ones get
// their tree from the preferences and are saved once in this form.
constexpr double kApplicationVersion = 2.0;

// An archived tree: the root page, or an error saying why not.
Result<MemoPtr> unarchiveTree(const QByteArray &bytes)
{
    auto root = TypedStreamDecoder::unarchiveObjectWithData(bytes);
    if (!root)
        return Error{root.errorMessage()};
    MemoPtr memo = root.value().value<MemoPtr>();
    if (!memo)
        return Error{QStringLiteral("it does not hold a page")};
    return memo;
}

// Once a data store could not be read, its page files are all that is left
// of its text: new pages must not take their IDs (a new page sets aside a
// file left under its ID). Raise the counter above every page file's ID.
void keepIDsAbovePageFiles()
{
    qint64 largest = 0;
    const QDir folder(noteDataFolderPath());
    for (const QString &name : folder.entryList({QStringLiteral("*.jw3page")}, QDir::Files)) {
        bool ok = false;
        const qint64 id = name.chopped(int(qstrlen(".jw3page"))).toLongLong(&ok);
        if (ok)
            largest = std::max(largest, id);
    }
    MemoIDAllocator::shared().raiseCounter(largest);
}

// A write that was cut off (a crash, a power cut) leaves its temporary file,
// "<file>.XXXXXX", beside the file it was to replace. It belongs to no page,
// whatever number its name starts with.
bool isInterruptedWrite(const QString &name)
{
    static const QRegularExpression pattern(
        QStringLiteral("\\.(jw3page|webarchive|jw3datastore|jw3settings)\\.[A-Za-z0-9]{6}$"));
    return pattern.match(name).hasMatch();
}

} // namespace

// --- Host defaults -----------------------------------------------------------

Status DataStoreHost::claimDataFolder(const QString &)
{
    return {};
}

void DataStoreHost::revealInFileManager(const QString &path)
{
    QDesktopServices::openUrl(QUrl::fromLocalFile(path));
}

void DataStoreHost::reportProblem(const QString &message)
{
    qCWarning(lcModel).noquote() << message;
}

// --- DataStore -------------------------------------------------------------------

DataStore::DataStore(QObject *notificationObject, QObject *parent)
    : QObject(parent)
    , m_notificationObject(notificationObject)
    , m_tree(notificationObject)
{
    MemoCoding::registerWithSharedRegistry();
    m_autoSaveTimer.setSingleShot(false);
    connect(&m_autoSaveTimer, &QTimer::timeout, this, &DataStore::saveWithTimer);
    connect(&m_writing, &QFutureWatcher<Status>::finished, this, [this] { (void)finishWriting(); });
}

DataStore::~DataStore()
{
    (void)finishWriting();
    if (ApplicationTree::rootMemo() == m_tree.root())
        ApplicationTree::setRootMemo(nullptr);
}

void DataStore::setHost(DataStoreHost *host)
{
    m_host = host;
}

QObject *DataStore::notificationObject()
{
    return m_notificationObject ? m_notificationObject : this;
}

void DataStore::setRootMemo(const MemoPtr &root)
{
    m_tree.setRoot(root);
    ApplicationTree::setRootMemo(root);
    m_searchPreparation.start(m_tree.arrayOfMemos(root));
}

void DataStore::report(const QString &message)
{
    m_problems.append(message);
    if (m_host)
        m_host->reportProblem(message);
    else
        qCWarning(lcModel).noquote() << message;
    Q_EMIT problemReported(message);
}

// --- Loading -----------------------------------------------------------------

void DataStore::loadNoteData()
{
    UserDefaults &defaults = UserDefaults::standardUserDefaults();
    m_problems.clear();
    m_keepDataStore = m_keepSettings = false;
    setState(m_saveFailure, QString());

    // The settings first: the preferences they carry apply to what follows.
    std::optional<QVariantMap> settings;
    const QString settingsPath = dataDictionaryFilePath();
    if (auto read = SettingsFile::read(settingsPath); !read) {
        const auto aside = FileSetAside::moveAside(settingsPath, QStringLiteral("unreadable"));
        m_keepSettings = !aside;
        report(aside ? tr("The settings file %1 could not be read (%2). It was kept as %3; the windows "
                          "open as on a first start.")
                           .arg(settingsPath, read.errorMessage(), *aside)
                     : tr("The settings file %1 could not be read (%2) nor moved aside; it is left as it "
                          "is and will not be written.")
                           .arg(settingsPath, read.errorMessage()));
    } else if ((settings = read.value())) {
        SettingsFile::copyPreferencesTo(*settings, defaults);
    }

    MemoPtr converted;
    if (!defaults.objectForKey(PreferenceKeys::ApplicationVersion).isValid() && m_host)
        converted = m_host->importOldUserDefaults();

    MemoPtr root = readDataStore();
    if (root) {
        setRootMemo(root);
        defaults.removeObjectForKey(PreferenceKeys::rootMemo);
    } else if ((root = converted)) {
        // The previous version's pages carry their texts in memory only.
        setRootMemo(root);
        (void)save();
    } else if ((root = readTreeFromOlderPreferences())) {
        setRootMemo(root);
        (void)save();
        defaults.removeObjectForKey(PreferenceKeys::rootMemo);
        (void)defaults.synchronize();
    } else {
        root = JWMemo::memo();
        root->setTitle(appName());
        setRootMemo(root);
        m_tree.addSamplePage();
    }

    m_tree.resetMemoID();

    if (defaults.floatForKey(PreferenceKeys::ApplicationVersion) < kApplicationVersion) {
        defaults.removeObjectForKey(PreferenceKeys::rootMemo);
        (void)save();
    }

    QList<qint64> windowIDs;
    if (settings) {
        windowIDs = SettingsFile::windowIDs(*settings);
    } else {
        for (const QVariant &id : defaults.arrayForKey(PreferenceKeys::windowIDs))
            windowIDs.append(id.toLongLong());
    }
    if (defaults.boolForKey(PreferenceKeys::OpeningWindowHasProblem)) {
        // A window failed to open last time: start without reopening, once.
        windowIDs.clear();
        defaults.removeObjectForKey(PreferenceKeys::windowIDs);
        defaults.removeObjectForKey(PreferenceKeys::OpeningWindowHasProblem);
        (void)defaults.synchronize();
    }
    reopenWindows(windowIDs);
}

MemoPtr DataStore::readDataStore()
{
    const QString path = dataFilePath();
    if (!QFileInfo::exists(path))
        return nullptr;
    auto bytes = FileContents::read(path);
    Result<MemoPtr> tree = bytes ? unarchiveTree(bytes.value()) : Result<MemoPtr>(Error{bytes.errorMessage()});
    if (tree)
        return tree.value();

    // Never written over: the file goes aside, and so do the page files'
    // IDs, before a fresh tree is made.
    const auto aside = FileSetAside::moveAside(path, QStringLiteral("unreadable"));
    if (aside) {
        setState(m_saveFailure, *aside);
        report(tr("The data file %1 could not be read (%2). It was kept as %3, and the application "
                  "starts with a new tree; the pages' texts are still in \"Note Data\".")
                   .arg(path, tree.errorMessage(), *aside));
    } else {
        m_keepDataStore = true;
        report(tr("The data file %1 could not be read (%2) nor moved aside; it is left as it is and "
                  "will not be written.")
                   .arg(path, tree.errorMessage()));
    }
    keepIDsAbovePageFiles();
    return nullptr;
}

MemoPtr DataStore::readTreeFromOlderPreferences()
{
    // Earlier versions kept the whole tree in the preferences.
    const QVariant stored = UserDefaults::standardUserDefaults().objectForKey(PreferenceKeys::rootMemo);
    if (stored.typeId() != QMetaType::QByteArray)
        return nullptr;
    auto tree = unarchiveTree(stored.toByteArray());
    if (!tree) {
        report(tr("The tree kept in the preferences by an earlier version could not be read (%1).")
                   .arg(tree.errorMessage()));
        return nullptr;
    }
    return tree.value();
}

void DataStore::reopenWindows(const QList<qint64> &windowIDs)
{
    if (!m_host)
        return;
    for (qint64 id : windowIDs)
        m_host->openWindowWithID(id);
    if (!m_host->hasOpenWindow())
        m_host->showMainWindow();
}

// --- Saving ------------------------------------------------------------------

void DataStore::postToWindowsAndPages()
{
    NotificationCenter &center = NotificationCenter::defaultCenter();
    center.post(NotificationNames::JW3SaveData, notificationObject());
    center.post(NotificationNames::JW3SaveMemoContent, notificationObject());
}

void DataStore::setState(const QString &saveFailure, const QString &setAsideDataFile)
{
    if (saveFailure == m_saveFailure && setAsideDataFile == m_setAsideDataFile)
        return;
    m_saveFailure = saveFailure;
    m_setAsideDataFile = setAsideDataFile;
    Q_EMIT stateChanged();
    NotificationCenter::defaultCenter().post(stateChangedNotification(), notificationObject());
}

QString DataStore::plainWordsForSaveError(const QString &error)
{
    const auto names = [&error](int code) {
        return error.contains(QString::fromLocal8Bit(std::strerror(code)));
    };
    // The writer's messages name the file in quotes; the folder is what the user can act on.
    static const QRegularExpression quoted(QStringLiteral("\"([^\"]+)\""));
    const QRegularExpressionMatch match = quoted.match(error);
    const QString folder = match.hasMatch() ? QFileInfo(match.captured(1)).absolutePath() : dataFolderPath();
    if (names(ENOSPC) || names(EDQUOT) || names(EFBIG))
        return tr("The disk is full (%1).").arg(folder);
    if (names(EACCES) || names(EPERM))
        return tr("Permission denied: %1").arg(folder);
    if (names(EROFS))
        return tr("The disk holding %1 is read-only.").arg(folder);
    return error;
}

Status DataStore::save()
{
    const Status started = saveInBackground();
    const Status written = finishWriting();
    return started ? written : started;
}

Status DataStore::saveInBackground()
{
    // One write at a time, in order.
    (void)finishWriting();
    const MemoPtr root = m_tree.root();
    if (!root)
        return Error{tr("There is no tree to save")};

    postToWindowsAndPages();

    // Every edited page of the tree was just asked to write its file: those
    // still edited could not, and wait for the next save.
    Status result;
    qsizetype unsaved = 0;
    QString firstPageError;
    const auto countUnsaved = [&](const auto &self, const JWMemo &memo) -> void {
        if (memo.isEdited() && !memo.saveError().isEmpty() && unsaved++ == 0)
            firstPageError = memo.saveError();
        for (const MemoPtr &child : memo.children())
            self(self, *child);
    };
    countUnsaved(countUnsaved, *root);
    if (unsaved > 0)
        result = Error{tr("%n page(s) could not be saved: %1", nullptr, int(unsaved)).arg(firstPageError)};

    UserDefaults &defaults = UserDefaults::standardUserDefaults();
    defaults.setValue(PreferenceKeys::ApplicationVersion, kApplicationVersion);
    (void)defaults.synchronize();

    if (m_keepDataStore) {
        if (result)
            result = Error{tr("The data file is not written: an unreadable one is in its place")};
    } else if (Status started = startWritingDataFile(root); !started && result) {
        result = started;
    }

    const QList<qint64> windowIDs = m_host ? m_host->openWindowRootIDs() : QList<qint64>();
    const Status settings = m_keepSettings
        ? Status(Error{tr("The settings file is not written: an unreadable one is in its place")})
        : SettingsFile::write(dataDictionaryFilePath(), SettingsFile::dictionaryFromDefaults(defaults, windowIDs));
    if (result && !settings)
        result = settings;

    if (m_host)
        (void)m_host->takeDeviceEdits();

    if (!result)
        qCWarning(lcModel).noquote() << QStringLiteral("Saving failed: %1").arg(result.errorMessage());
    // The state follows the whole save, so it changes once the file is written.
    m_failureBeforeWrite = result ? QString() : plainWordsForSaveError(result.errorMessage());
    if (m_writeHandled)
        setState(m_failureBeforeWrite, m_setAsideDataFile);
    return result;
}

namespace {

// What tells the file the last write left from one written since: a new
// file (each write makes one), a new size or a new time.
DataStore::FileStamp stampOf(const QString &path)
{
    struct stat info
    { };
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return {};
    return {
        quint64(info.st_ino), qint64(info.st_size), qint64(info.st_mtim.tv_sec) * 1'000'000'000 + info.st_mtim.tv_nsec};
}

} // namespace

// Archives what changed since the last archive and starts writing the file.
// The unchanged parts are copied from the file as the last write left it; a
// file changed by anyone else is written whole.
Status DataStore::startWritingDataFile(const MemoPtr &root)
{
    const FileStamp now = stampOf(dataFilePath());
    if (now.size < 0 || now != m_writtenStamp)
        m_archive.forget();
    auto step = m_archive.begin(root);
    if (!step) {
        m_archive.forget();
        return Error{tr("The tree could not be archived: %1").arg(step.errorMessage())};
    }
    TreeArchive::Step next = std::move(step).value();
    if (const std::optional<TreeArchive::Update> &update = next.update) {
        std::vector<AtomicFileWriter::Piece> pieces;
        pieces.reserve(update->pieces.size());
        for (const TreeArchive::Piece &piece : update->pieces)
            pieces.push_back({piece.offset, piece.length, piece.bytes});
        m_writeHandled = false;
        m_writing.setFuture(QtConcurrent::run(
            [path = dataFilePath(), pieces = std::move(pieces)] { return AtomicFileWriter::writeFile(path, pieces); }));
        return {};
    }
    if (!next.whole)
        return {}; // the file holds this tree already
    // The whole tree: encoded from a copy of it on the worker thread too, so
    // that the first save after start-up does not stop the window either.
    m_whole = std::move(next.whole);
    if (!m_whole->reason.isEmpty())
        qCInfo(lcModel).noquote() << QStringLiteral("The data file is written whole: %1").arg(m_whole->reason);
    m_writeHandled = false;
    m_writing.setFuture(QtConcurrent::run([path = dataFilePath(), whole = m_whole.get()]() -> Status {
        if (Status encoded = TreeArchive::encode(*whole); !encoded)
            return Error{tr("The tree could not be archived: %1").arg(encoded.errorMessage())};
        return AtomicFileWriter::writeFile(path, whole->bytes);
    }));
    return {};
}

Status DataStore::finishWriting()
{
    if (m_writeHandled)
        return {};
    m_writing.waitForFinished();
    m_writeHandled = true;
    return dataFileWritten(m_writing.future().result());
}

Status DataStore::dataFileWritten(const Status &written)
{
    // The copy of the tree is let go here, on the main thread, where its pages live.
    const std::shared_ptr<TreeArchive::Whole> whole = std::exchange(m_whole, nullptr);
    if (whole && written)
        (void)m_archive.adopt(*whole);
    if (!written) {
        // What the file holds is not the last archive: the next save writes it whole.
        m_archive.forget();
        m_writtenStamp = {};
        qCWarning(lcModel).noquote() << QStringLiteral("Saving failed: %1").arg(written.errorMessage());
        const QString failure
            = m_failureBeforeWrite.isEmpty() ? plainWordsForSaveError(written.errorMessage()) : m_failureBeforeWrite;
        setState(failure, m_setAsideDataFile);
        return written;
    }
    m_writtenStamp = stampOf(dataFilePath());
    setState(m_failureBeforeWrite, m_setAsideDataFile);
    return written;
}

// --- Recovery ------------------------------------------------------------------

Result<DataStore::Recovery> DataStore::recoverPagesFromPageFiles()
{
    const MemoPtr root = m_tree.root();
    const QString folder = noteDataFolderPath();
    if (!root || folder.isEmpty())
        return Error{tr("There is no notebook to recover pages into")};

    std::vector<qint64> ids;
    const QString suffix = QStringLiteral(".jw3page");
    for (const QString &name : QDir(folder).entryList({u'*' + suffix}, QDir::Files)) {
        bool ok = false;
        const qint64 id = name.chopped(suffix.size()).toLongLong(&ok);
        if (ok && id > 0)
            ids.push_back(id);
    }
    std::sort(ids.begin(), ids.end());

    std::unordered_set<qint64> taken;
    for (const MemoPtr &memo : m_tree.arrayOfMemos(root))
        taken.insert(memo->memoID());
    // Pages that keep their IDs must never meet a new page under the same ID.
    if (!ids.empty())
        MemoIDAllocator::shared().raiseCounter(ids.back());

    // Reading and parsing ten thousand files is most of the work, and each
    // file stands alone: they are read on every core, the pages then built
    // here in ID order.
    struct PageRead
    {
        QString path;
        std::optional<QVariantMap> file;
        std::optional<QString> plainText;
    };
    std::vector<PageRead> reads;
    reads.reserve(ids.size());
    for (qint64 id : ids)
        reads.push_back({notePathForID(id), std::nullopt, std::nullopt});
    QtConcurrent::blockingMap(reads, [](PageRead &read) {
        auto loaded = PageFile::loadPath(read.path);
        if (!loaded || !loaded.value())
            return;
        read.file = std::move(*loaded.value());
        // Only the words are needed: the outline and searches see them.
        if (const QByteArray text = PageFile::memoDataIn(*read.file); !text.isNull()) {
            if (auto plain = Rtfd::plainTextOfFlattened(text))
                read.plainText = std::move(plain.value());
        }
    });

    Recovery recovery;
    recovery.parent = JWMemo::memo();
    recovery.parent->setTitle(tr("Recovered pages"));
    recovery.parent->setMemoDataWithPlainText(tr("Pages rebuilt from their files in %1 on %2.")
                                                  .arg(folder, QDateTime::currentDateTime().toString(Qt::ISODate)));
    for (size_t i = 0; i < ids.size(); ++i) {
        const qint64 id = ids[i];
        if (!reads[i].file) {
            ++recovery.unreadable;
            continue;
        }
        const QVariantMap &file = *reads[i].file;
        const bool keepsID = !taken.contains(id);
        MemoPtr page = keepsID ? JWMemo::bareMemo() : JWMemo::memo();
        if (keepsID) {
            page->setMemoID(id);
            taken.insert(id);
        } else {
            ++recovery.renumbered;
        }
        const QVariant title = file.value(QStringLiteral("title"));
        page->setTitle(title.isValid() ? title.toString() : tr("Page %1").arg(id));
        const auto flag = [&file](const char *key) {
            const QVariant value = file.value(QLatin1String(key));
            return value.typeId() == QMetaType::Bool ? value.toBool() : value.toLongLong() != 0;
        };
        // Only what differs from a new page is set: each of these setters
        // has the outline reloaded, which thousands of pages must not cost.
        if (flag("locked"))
            page->setLocked(true);
        if (flag("open"))
            page->setProtectWithPassword(true);
        page->setShowRuler(flag("showRuler"));
        page->setShowLineNumbers(flag("showLineNumbers"));
        // A page under its file's ID reads the flag from that file when asked.
        const bool plain = PageFile::isPlainTextMemoIn(file).value_or(false);
        if (plain || (!keepsID && page->isPlainTextMemo()))
            page->setIsPlainTextMemo(plain);
        if (const QVariant tags = file.value(QStringLiteral("tags")); tags.isValid())
            page->setTags(tags.toStringList());
        if (reads[i].plainText)
            page->setPlainText(std::move(*reads[i].plainText));
        if (const QByteArray text = PageFile::memoDataIn(file); !text.isNull())
            page->setMemoData(text);
        // Last: every setter above moves the modification date to now.
        if (const QDateTime created = file.value(QStringLiteral("createdAt")).toDateTime(); created.isValid())
            page->setCreatedAt(created);
        if (const QDateTime modified = file.value(QStringLiteral("modifiedAt")).toDateTime(); modified.isValid())
            page->setModifiedAt(modified);
        // A page under its own ID is what its file holds already; only a
        // renumbered one has a file to write.
        if (keepsID)
            page->setIsEdited(false);
        recovery.parent->appendChild(std::move(page));
        ++recovery.pages;
    }
    recovery.parent->changeIsLeaf();
    m_tree.insertNewMemo(recovery.parent, root, -1);
    // The pages of the data file kept aside are back: its note has done its work.
    setState(m_saveFailure, QString());
    if (Status saved = save(); !saved)
        return Error{saved.errorMessage()};
    return recovery;
}

// --- Autosave ----------------------------------------------------------------

void DataStore::setAutoSaveTimer()
{
    m_autoSaveTimer.stop();
    const UserDefaults &defaults = UserDefaults::standardUserDefaults();
    if (!defaults.boolForKey(PreferenceKeys::AutoSave))
        return;
    // Minutes; a period below one minute would save all the time.
    const qint64 minutes = std::clamp<qint64>(defaults.integerForKey(PreferenceKeys::AutoSavePeriod), 1, 24 * 60);
    m_autoSaveTimer.start(std::chrono::minutes(minutes));
}

void DataStore::saveWithTimer()
{
    if (!m_host || (!m_host->isAnyWindowEdited() && m_saveFailure.isEmpty()))
        return;
    if (m_host->isApplicationActive()
        && UserDefaults::standardUserDefaults().boolForKey(PreferenceKeys::AutoSaveAtBG)) {
        m_saveWhenDeactivate = true;
        return;
    }
    (void)saveInBackground();
    m_saveWhenDeactivate = false;
}

void DataStore::applicationDidResignActive()
{
    if (!m_saveWhenDeactivate)
        return;
    (void)saveInBackground();
    m_saveWhenDeactivate = false;
}

void DataStore::applicationWillTerminate()
{
    if (m_tree.root())
        (void)save();
    if (m_host)
        m_host->backupData();
}

void DataStore::observeDefaults()
{
    UserDefaults &defaults = UserDefaults::standardUserDefaults();
    const auto restartTimer = [this](const QVariant &, const QVariant &) {
        setAutoSaveTimer();
    };
    defaults.observe(PreferenceKeys::AutoSave, this, restartTimer);
    defaults.observe(PreferenceKeys::AutoSavePeriod, this, restartTimer);
    defaults.observe(PreferenceKeys::dataFolderPath, this, [this](const QVariant &oldValue, const QVariant &newValue) {
        if (!m_switchingFolder)
            dataFolderPathChanged(oldValue.toString(), newValue.toString());
    });
}

// --- Housekeeping --------------------------------------------------------------

void DataStore::cleanUpRemovedMemoFiles()
{
    const MemoPtr root = m_tree.root();
    if (!root)
        return;
    std::unordered_set<double> ids;
    for (const MemoPtr &memo : m_tree.arrayOfMemos(root))
        ids.insert(double(memo->memoID()));

    const QString noteFolder = noteDataFolderPath();
    const QString trash = trashFolderPath();
    const QString mobileSuffix = QStringLiteral("_mobile.webarchive");
    const QDir folder(noteFolder);
    for (const QFileInfo &entry : folder.entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)) {
        if (entry.absoluteFilePath() == QFileInfo(trash).absoluteFilePath())
            continue; // the folder the files go to
        const QString name = entry.fileName();
        QString idText = name;
        if (name.contains(mobileSuffix)) {
            idText.remove(mobileSuffix);
        } else if (const qsizetype dot = name.lastIndexOf(u'.'); dot > 0) {
            idText.truncate(dot);
        }
        if (!isInterruptedWrite(name) && ids.contains(FileManagerUtility::leadingNumber(idText)))
            continue;
        if (!QFile::rename(entry.absoluteFilePath(), trash + u'/' + name))
            qCInfo(lcModel) << "Could not move" << name << "to" << trash;
    }
    // Cut-off writes of the data store and settings are as large as the
    // files themselves; they go with the rest, never deleted unasked.
    for (const QFileInfo &entry : QDir(dataFolderPath()).entryInfoList(QDir::Files | QDir::Hidden)) {
        if (isInterruptedWrite(entry.fileName())
            && !QFile::rename(entry.absoluteFilePath(), trash + u'/' + entry.fileName()))
            qCInfo(lcModel) << "Could not move" << entry.fileName() << "to" << trash;
    }
    if (m_host && !trash.isEmpty())
        m_host->revealInFileManager(trash);

    for (const MemoPtr &memo : m_tree.memoArrayWithoutRoot()) {
        if (!memo->webURLStr().isEmpty())
            continue;
        PageFile::removeWebArchives(memo->memoID());
    }
    m_tree.resetMemoID();
    m_tree.resolveDupulicatedMemoID();
}

void DataStore::dataFolderPathChanged(const QString &oldPath, const QString &newPath)
{
    UserDefaults &defaults = UserDefaults::standardUserDefaults();
    // The data in memory belong to the old folder: unless that was done
    // already, they are written there first.
    m_switchingFolder = true;
    defaults.setValue(PreferenceKeys::dataFolderPath, oldPath);
    const QString oldFolder = dataFolderPath();
    if (!m_notToSave && m_tree.root())
        (void)save();
    defaults.setValue(PreferenceKeys::dataFolderPath, newPath);
    const QString newFolder = newPath.isEmpty() ? dataFolderPath() : newPath;
    m_switchingFolder = false;
    m_notToSave = false;

    // Another process writing the new folder would save over our data and we
    // over its: then the switch is refused and the preference put back.
    const auto claimNewFolder = [&] {
        Status claimed = m_host ? m_host->claimDataFolder(newFolder) : Status();
        if (!claimed) {
            m_switchingFolder = true;
            defaults.setValue(PreferenceKeys::dataFolderPath, oldPath);
            m_switchingFolder = false;
            report(claimed.errorMessage());
        }
        return claimed.ok();
    };

    if (!QFileInfo::exists(newFolder + QStringLiteral("/JW3Data.jw3datastore"))) {
        // No data there: whatever is in the way is moved aside (an empty
        // folder simply goes), the old folder is copied over, and the tree in
        // memory is saved there from now on.
        if (QFileInfo::exists(newFolder) && !QDir().rmdir(newFolder)) {
            if (auto renamed
                = FileManagerUtility::changeFileNameOfPath(newFolder, QStringLiteral("Jotwell3_OldFolder"));
                !renamed) {
                report(renamed.errorMessage());
                return;
            }
        }
        if (Status copied = FileManagerUtility::copyFolderAndContents(oldFolder, newFolder); !copied) {
            report(tr("The data folder could not be copied to %1: %2").arg(newFolder, copied.errorMessage()));
            return;
        }
        (void)claimNewFolder();
        return;
    }
    if (!claimNewFolder())
        return;

    // A folder with data of its own: show those instead.
    const QVariant quitApp = defaults.objectForKey(PreferenceKeys::QuitApp);
    defaults.setValue(PreferenceKeys::QuitApp, false);
    if (m_host)
        m_host->closeAllWindows();
    loadNoteData();
    if (quitApp.isValid())
        defaults.setValue(PreferenceKeys::QuitApp, quitApp);
    else
        defaults.removeObjectForKey(PreferenceKeys::QuitApp);
}
