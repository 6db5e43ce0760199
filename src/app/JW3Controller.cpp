#include "JW3Controller.h"

#include "exchange/DeviceDataBackup.h"
#include "exchange/QuitBackup.h"
#include "exchange/SampleBook.h"
#include "model/JWMemo.h"
#include "platform/base/NotificationCenter.h"
#include "platform/base/NotificationNames.h"
#include "platform/base/PreferenceKeys.h"
#include "platform/richtext/PasteboardTypes.h"
#include "platform/richtext/Rtfd.h"
#include "platform/settings/FolderPaths.h"
#include "platform/settings/UserDefaults.h"
#include "sync/SyncService.h"
#include "text/LinkClick.h"
#include "util/StringUtility.h"
#include "windows/NoteTreeController.h"
#include "windows/NoteWindow.h"
#include "windows/RestoreBackupDialog.h"
#include "windows/SyncWindow.h"

#include <QDBusConnection>
#include <QDesktopServices>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QMessageBox>
#include <QMimeData>
#include <QProcess>
#include <QPushButton>
#include <QStringDecoder>
#include <QTextDocument>
#include <QTimer>
#include <QUndoStack>

#include <algorithm>

Q_LOGGING_CATEGORY(lcController, "jw.app", QtWarningMsg)

namespace {

// A file handed to the clipping service becomes one page's text; anything
// larger than this is not a clipping but an import.
constexpr qint64 kMaximumClipFileSize = 64 * 1024 * 1024;

// A link opened from outside acts as if clicked in the front window.
class FrontWindowLinkHost final : public LinkClickHost
{
public:
    explicit FrontWindowLinkHost(JW3Controller &controller)
        : m_controller(controller)
    { }

    MemoPtr noteDataWithID(qint64 memoID) override { return m_controller.tree().noteDataWithID(memoID); }
    void openWindowAndShowMemo(const MemoPtr &memo) override { (void)m_controller.openWindowAndShowMemo(memo); }
    void showMemoInThisWindow(const MemoPtr &memo) override { m_controller.showMemoInWindow(memo); }
    bool openUrl(const QUrl &url) override { return QDesktopServices::openUrl(url); }
    // A "message:" location must reach the mail program as written, with its
    // angle brackets, which a QUrl would escape again.
    bool openLocation(const QString &location) override
    {
        return QProcess::startDetached(QStringLiteral("xdg-open"), {location});
    }

private:
    JW3Controller &m_controller;
};

} // namespace

JW3Controller::JW3Controller(WindowFactory windowFactory, QObject *parent)
    : QObject(parent)
    , m_windowFactory(std::move(windowFactory))
    , m_store(this)
    , m_sync(std::make_unique<SyncService>(*this))
{
    m_store.setHost(this);
    m_store.tree().setHost(this);
    // A new notebook, and one whose last page was deleted, start with the sample pages.
    m_store.tree().setSamplePageImporter(importSampleBook);
}

JW3Controller::~JW3Controller()
{
    // Windows tell us when they close; nothing is left to hear it.
    for (const auto &window : m_windows)
        window->disconnect(this);
    // The sync window shows the service, which goes with the controller.
    delete m_syncWindow;
}

void JW3Controller::startUp()
{
    if (m_started)
        return;
    m_started = true;
    // Every step below has its place in this order: the windows reopened by
    // the load must exist before the timers and observers that look at them.
    m_store.loadNoteData();
    registerMyNotifications();
    m_store.setAutoSaveTimer();
    restartServer();
    QTimer::singleShot(500, this, &JW3Controller::refreshFontMenu);
}

void JW3Controller::registerMyNotifications()
{
    m_store.observeDefaults();
    UserDefaults::standardUserDefaults().observe(
        PreferenceKeys::abGroupName, this, [this](const QVariant &, const QVariant &) { restartServer(); });
    followApplicationState();
    followScreenLock();
}

void JW3Controller::followScreenLock()
{
    // Without a session bus there is no screen saver to hear from.
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    for (const QString &name :
        {QStringLiteral("org.freedesktop.ScreenSaver"), QStringLiteral("org.gnome.ScreenSaver")}) {
        const QString path = u'/' + QString(name).replace(u'.', u'/');
        bus.connect(QString(), path, name, QStringLiteral("ActiveChanged"), this, SLOT(screenLockChanged(bool)));
    }
}

void JW3Controller::screenLockChanged(bool locked)
{
    if (locked)
        NoteTreeController::lockProtectedPages(tree());
}

void JW3Controller::followApplicationState()
{
    auto *application = qobject_cast<QGuiApplication *>(QCoreApplication::instance());
    if (!application)
        return;
    connect(application, &QGuiApplication::applicationStateChanged, this, [this](Qt::ApplicationState state) {
        if (state == Qt::ApplicationActive)
            applicationDidBecomeActive();
        else if (state == Qt::ApplicationInactive)
            applicationDidResignActive();
    });
    // A desktop session that ends asks running programs to save first.
    connect(application, &QGuiApplication::commitDataRequest, this, [this] { (void)save(); });
}

Status JW3Controller::save()
{
    m_lastSave = m_store.save();
    return m_lastSave;
}

// --- Windows -------------------------------------------------------------------

std::vector<NoteWindow *> JW3Controller::windowControllers() const
{
    std::vector<NoteWindow *> windows;
    windows.reserve(m_windows.size());
    for (const auto &window : m_windows)
        windows.push_back(window.get());
    return windows;
}

NoteWindow *JW3Controller::openWindowWithMemo(const MemoPtr &root, const MemoPtr &show)
{
    if (!root || !m_windowFactory)
        return nullptr;
    std::unique_ptr<NoteWindow> window = m_windowFactory(*this);
    if (!window)
        return nullptr;
    NoteWindow *opened = window.get();
    window->setRootMemo(root);
    if (show)
        window->selectMemo(show);
    adopt(std::move(window));
    opened->showWindow();
    // A window that was just opened is the one in front, whether or not the
    // window system has told us yet.
    changeKeyWindow(opened);
    return opened;
}

void JW3Controller::adopt(std::unique_ptr<NoteWindow> window)
{
    NoteWindow *raw = window.get();
    connect(raw, &NoteWindow::becameKey, this, [this, raw] { changeKeyWindow(raw); });
    connect(raw, &NoteWindow::willClose, this, [this, raw] { didCloseNoteWindow(raw); });
    m_windows.push_back(std::move(window));
}

void JW3Controller::openWindowWithID(qint64 memoID)
{
    (void)openWindowWithMemo(tree().noteDataWithID(memoID));
}

NoteWindow *JW3Controller::openWindowAndShowMemo(const MemoPtr &memo)
{
    if (!memo)
        return nullptr;
    return openWindowWithMemo(tree().parentOfMemo(memo), memo);
}

void JW3Controller::showMainWindow()
{
    (void)openWindowWithMemo(rootMemo());
}

void JW3Controller::makeAllWindowToIcon()
{
    for (const auto &window : m_windows)
        window->makeIconWindow();
}

void JW3Controller::changeKeyWindow(NoteWindow *window)
{
    m_frontWindow = window;
}

void JW3Controller::didCloseNoteWindow(NoteWindow *window)
{
    const auto found = std::find_if(
        m_windows.begin(), m_windows.end(), [window](const auto &owned) { return owned.get() == window; });
    if (found == m_windows.end())
        return;
    // The window is still inside its close handling: it goes when that is done.
    std::unique_ptr<NoteWindow> closing = std::move(*found);
    m_windows.erase(found);
    closing->disconnect(this);
    closing.release()->deleteLater();
    if (m_frontWindow == window)
        m_frontWindow = m_windows.empty() ? nullptr : m_windows.back().get();
    if (m_windows.empty() && !m_closingAll && UserDefaults::standardUserDefaults().boolForKey(PreferenceKeys::QuitApp))
        Q_EMIT terminateRequested();
}

void JW3Controller::closeAllWindows()
{
    // Closing for a folder switch never quits, whatever "QuitApp" says.
    const bool wasClosingAll = m_closingAll;
    m_closingAll = true;
    const std::vector<NoteWindow *> windows = windowControllers();
    for (NoteWindow *window : windows)
        window->performClose();
    // A window that did not report its closing is let go all the same.
    for (NoteWindow *window : windows)
        didCloseNoteWindow(window);
    m_closingAll = wasClosingAll;
}

// --- Application state -------------------------------------------------------------

void JW3Controller::applicationDidBecomeActive()
{
    if (m_started && m_windows.empty())
        showMainWindow();
}

void JW3Controller::applicationDidResignActive()
{
    m_store.applicationDidResignActive();
    if (UserDefaults::standardUserDefaults().boolForKey(PreferenceKeys::IconAtBackGround)) {
        for (const auto &window : m_windows)
            window->makeIconWindowAtBackground();
    }
}

void JW3Controller::applicationWillTerminate()
{
    if (rootMemo())
        m_store.applicationWillTerminate();
}

void JW3Controller::backupData()
{
    // A backup after a failed save would keep data older than the user thinks.
    if (!UserDefaults::standardUserDefaults().boolForKey(PreferenceKeys::autoBackupData)
        || !m_store.saveFailure().isEmpty())
        return;
    if (const Result<QString> backup = QuitBackup::backUp(dataFolderPath()); !backup)
        qCWarning(lcController).noquote() << backup.errorMessage();
}

bool JW3Controller::isApplicationActive() const
{
    return QGuiApplication::applicationState() == Qt::ApplicationActive;
}

QList<qint64> JW3Controller::openWindowRootIDs() const
{
    QList<qint64> ids;
    for (const auto &window : m_windows) {
        if (const MemoPtr root = window->rootMemo())
            ids.append(root->memoID());
    }
    return ids;
}

bool JW3Controller::isAnyWindowEdited() const
{
    return std::any_of(m_windows.begin(), m_windows.end(), [](const auto &window) { return window->isEdited(); });
}

bool JW3Controller::takeDeviceEdits()
{
    bool any = false;
    for (const auto &window : m_windows)
        any = window->takeDeviceEdits() || any;
    return any;
}

void JW3Controller::reportProblem(const QString &message)
{
    qCWarning(lcController).noquote() << message;
    Q_EMIT problemReported(message);
}

// --- Tree host --------------------------------------------------------------------

QUndoStack *JW3Controller::frontUndoStack()
{
    return m_frontWindow ? m_frontWindow->undoStack() : nullptr;
}

void JW3Controller::showMemoInWindow(const MemoPtr &memo)
{
    if (!memo)
        return;
    const MemoPtr frontRoot = m_frontWindow ? m_frontWindow->rootMemo() : nullptr;
    if (!frontRoot || !tree().isSubItemOfMemo(memo, frontRoot))
        showMainWindow();
    if (m_frontWindow)
        m_frontWindow->selectMemo(memo);
}

// --- Sync server and menus ----------------------------------------------------------------

void JW3Controller::restartServer()
{
    ++m_serverRestarts;
    m_sync->restartServer();
}

void JW3Controller::showSyncWindow()
{
    if (!m_syncWindow) {
        QStringList titles;
        if (const MemoPtr root = rootMemo()) {
            for (const MemoPtr &child : root->children())
                titles.append(child->title());
        }
        titles.removeDuplicates();
        m_syncWindow = new SyncWindow(*m_sync, titles);
        m_syncWindow->setAttribute(Qt::WA_DeleteOnClose);
    }
    m_syncWindow->show();
    m_syncWindow->raise();
    m_syncWindow->activateWindow();
}

void JW3Controller::showRestoreBackupWindow()
{
    if (!m_restoreWindow) {
        m_restoreWindow = new RestoreBackupDialog(dataFolderPath());
        m_restoreWindow->setAttribute(Qt::WA_DeleteOnClose);
    }
    m_restoreWindow->show();
    m_restoreWindow->raise();
    m_restoreWindow->activateWindow();
}

Status JW3Controller::backUpBeforeMerge(const MemoPtr &group)
{
    Result<QString> archive = DeviceDataBackup().backupJotwell3Data(*group);
    if (!archive)
        return Error{archive.errorMessage()};
    return {};
}

void JW3Controller::syncMerged(const MemoPtr &)
{
    for (const auto &window : m_windows) {
        if (QUndoStack *stack = window->undoStack())
            stack->clear();
    }
}

void JW3Controller::askToAllowDevice(
    const QString &device, const QString &pageTitle, std::function<void(bool allowed)> answer)
{
    if (m_deviceQuestion) {
        m_deviceQuestion(device, pageTitle, std::move(answer));
        return;
    }
    auto *question
        = new QMessageBox(QMessageBox::Question, tr("Sync"), tr("Allow this device to sync with %1?").arg(pageTitle),
            QMessageBox::NoButton, m_frontWindow ? m_frontWindow->windowWidget() : nullptr);
    question->setInformativeText(tr("A device at %1 asks to sync. The answer is remembered.").arg(device));
    QPushButton *allow = question->addButton(tr("Allow"), QMessageBox::AcceptRole);
    question->addButton(tr("Don't Allow"), QMessageBox::RejectRole);
    question->setAttribute(Qt::WA_DeleteOnClose);
    connect(question, &QMessageBox::finished, this, [question, allow, answer = std::move(answer)] {
        answer(question->clickedButton() == static_cast<QAbstractButton *>(allow));
    });
    question->open();
}

void JW3Controller::refreshFontMenu()
{
    NotificationCenter::defaultCenter().post(NotificationNames::JW3RefreshFontMenu, this);
}

// --- Links from other programs -----------------------------------------------------------

bool JW3Controller::openLink(const QString &link)
{
    // Desktops hand URLs on with the scheme in lower case.
    QString normalized = link;
    const QString header = QStringLiteral("Jotwell3://");
    if (normalized.startsWith(header, Qt::CaseInsensitive))
        normalized.replace(0, header.size(), header);
    FrontWindowLinkHost host(*this);
    switch (LinkClick::resolve(host, normalized)) {
    case LinkClick::Outcome::ShowedPage:
    case LinkClick::Outcome::OpenedPageWindow:
    case LinkClick::Outcome::OpenedMailLocation:
    case LinkClick::Outcome::OpenedMailFile:
    case LinkClick::Outcome::OpenedUrl:
        return true;
    case LinkClick::Outcome::NoPageID:
    case LinkClick::Outcome::MissingPage:
    case LinkClick::Outcome::MissingMailFile:
    case LinkClick::Outcome::NotALink:
        break;
    }
    return false;
}

// --- Clipping ---------------------------------------------------------------------------

Result<MemoPtr> JW3Controller::makeNewClippingMemo(const QMimeData &data)
{
    m_lastSave = Error{tr("The clip was not saved")};
    const MemoPtr memo = tree().makeNewClippingMemo(data);
    if (!memo)
        return Error{tr("No page could be made from what was clipped.")};
    // The clip is saved at once; the caller must hear when that failed.
    if (!m_lastSave)
        return Error{tr("The clip is in the notebook but could not be saved: %1 It is saved again at the next save.")
                         .arg(DataStore::plainWordsForSaveError(m_lastSave.errorMessage()))};
    return memo;
}

Result<MemoPtr> JW3Controller::clipText(const QString &text)
{
    QMimeData data;
    data.setText(text);
    return makeNewClippingMemo(data);
}

Result<MemoPtr> JW3Controller::clipURL(const QUrl &url)
{
    if (!url.isValid() || url.scheme().isEmpty())
        return Error{tr("%1 is not a URL that can be clipped.").arg(url.toString())};
    QMimeData data;
    data.setUrls({url});
    return makeNewClippingMemo(data);
}

namespace {

/**
 * The text of a file's @p bytes: decoded as their byte-order mark says, or
 * else as their encoding is guessed. Nothing when they hold no text.
 */
std::optional<QString> decodeText(const QByteArray &bytes)
{
    std::optional<QString> text;
    const std::optional<QStringConverter::Encoding> marked = QStringConverter::encodingForData(bytes);
    if (marked && *marked != QStringConverter::Utf8) {
        // UTF-16 and UTF-32 are full of NULs that no 8-bit guess reads, but
        // the mark says exactly how to; one cut in the middle of a character
        // is no text.
        const bool wide32 = *marked == QStringConverter::Utf32LE || *marked == QStringConverter::Utf32BE;
        if (bytes.size() % (wide32 ? 4 : 2) == 0)
            text = QStringDecoder(*marked).decode(bytes);
    } else {
        text = StringUtility::stringWithContentsOfDataByAutoDetectingEncoding(bytes);
    }
    // Text never holds a NUL; a file that does is a picture, a program, ...
    if (!text || text->contains(QChar(u'\0')))
        return std::nullopt;
    return text;
}

/**
 * Reads the file or RTFD package at @p path into @p data as a drag would
 * carry it: RTFD, RTF or text. @p failure words the reason, with %1 for the
 * path and %2 for why.
 */
Status readPageFile(const QString &path, QMimeData &data, const QString &failure)
{
    const QFileInfo info(path);
    if (info.isDir()) {
        // An RTFD package: read it, then hand it over flattened.
        QTextDocument document;
        if (Status read = Rtfd::readPackage(path, document); !read)
            return Error{failure.arg(path, read.errorMessage())};
        data.setData(PasteboardTypes::RTFD, Rtfd::writeFlattened(document));
        return {};
    }
    if (!info.exists())
        return Error{failure.arg(path, JW3Controller::tr("there is no such file"))};
    if (info.size() > kMaximumClipFileSize)
        return Error{
            failure.arg(path, JW3Controller::tr("it is larger than %1 MB").arg(kMaximumClipFileSize / (1024 * 1024)))};
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return Error{failure.arg(path, file.errorString())};
    const QByteArray bytes = file.readAll();
    if (Rtfd::isFlattenedRtfd(bytes)) {
        data.setData(PasteboardTypes::RTFD, bytes);
    } else if (Rtfd::isRtf(bytes)) {
        data.setData(PasteboardTypes::RTF, bytes);
    } else {
        const std::optional<QString> text = decodeText(bytes);
        if (!text)
            return Error{failure.arg(path, JW3Controller::tr("it holds no text"))};
        data.setText(*text);
    }
    return {};
}

} // namespace

Result<MemoPtr> JW3Controller::clipFile(const QString &path)
{
    QMimeData data;
    if (Status read = readPageFile(path, data, tr("%1 cannot be clipped: %2")); !read)
        return Error{read.errorMessage()};
    auto memo = makeNewClippingMemo(data);
    if (!memo)
        return Error{tr("%1 cannot be clipped: %2").arg(path, memo.errorMessage())};
    return memo;
}

Result<QString> JW3Controller::recoverPagesFromPageFiles()
{
    auto recovered = m_store.recoverPagesFromPageFiles();
    if (!recovered)
        return Error{recovered.errorMessage()};
    const DataStore::Recovery &recovery = recovered.value();
    showMemoInWindow(recovery.parent);
    QString summary = tr("%n page(s) were recovered under \"Recovered pages\".", nullptr, int(recovery.pages));
    if (recovery.renumbered > 0)
        summary += u' ' + tr("%n of them had an ID in use and took a new one.", nullptr, int(recovery.renumbered));
    if (recovery.unreadable > 0)
        summary += u' ' + tr("%n page file(s) could not be read and were skipped.", nullptr, int(recovery.unreadable));
    return summary;
}

void JW3Controller::handleMemoRemoval(const MemoPtr &memo)
{
    // Copied first: a closing window leaves the list.
    std::vector<NoteWindow *> closing;
    for (const auto &window : m_windows) {
        if (window->rootMemo() == memo)
            closing.push_back(window.get());
    }
    for (NoteWindow *window : closing)
        window->performClose();
}
