#include "ApplicationAdaptor.h"

#include "CommandLineExport.h"
#include "JW3Controller.h"
#include "model/MemoTree.h"
#include "platform/base/NotificationCenter.h"
#include "platform/base/NotificationNames.h"
#include "windows/NoteWindow.h"

#include <QDeadlineTimer>
#include <QLoggingCategory>
#include <QTimer>
#include <QUrl>

Q_LOGGING_CATEGORY(lcAdaptor, "jw.app.bus")

namespace {

// Time the answer to Submit() is given to travel back to its caller.
constexpr qint64 kAnswerMarginMilliseconds = 1000;

const QString kOpenKey = QStringLiteral("open");
const QString kLinksKey = QStringLiteral("links");
const QString kClipTextKey = QStringLiteral("clipText");
const QString kClipURLKey = QStringLiteral("clipURL");
const QString kClipFileKey = QStringLiteral("clipFile");
const QString kExportFormatKey = QStringLiteral("exportFormat");
const QString kExportPageKey = QStringLiteral("exportPage");
const QString kExportAllKey = QStringLiteral("exportAll");
const QString kExportPathKey = QStringLiteral("exportPath");
const QString kImportPathsKey = QStringLiteral("importPaths");
const QString kImportParentKey = QStringLiteral("importParent");
const QString kLegacyPreferencesKey = QStringLiteral("legacyPreferences");
const QString kLegacyTextFolderKey = QStringLiteral("legacyTextFolder");

} // namespace

ApplicationAdaptor::ApplicationAdaptor(JW3Controller *controller)
    : QDBusAbstractAdaptor(controller)
    , m_controller(controller)
{ }

QString ApplicationAdaptor::perform(JW3Controller &controller, const ApplicationRequest &request)
{
    QStringList problems;
    if (!request.clipText.isNull()) {
        if (auto clipped = controller.clipText(request.clipText); !clipped)
            problems << clipped.errorMessage();
    }
    if (!request.clipURL.isEmpty()) {
        if (auto clipped = controller.clipURL(QUrl(request.clipURL)); !clipped)
            problems << clipped.errorMessage();
    }
    if (!request.clipFile.isEmpty()) {
        if (auto clipped = controller.clipFile(request.clipFile); !clipped)
            problems << clipped.errorMessage();
    }
    if (!request.filesToOpen.isEmpty())
        problems << controller.openFiles(request.filesToOpen);
    // A page link that leads nowhere does nothing visible: the controller logs it.
    for (const QString &link : request.linksToOpen)
        (void)controller.openLink(link);
    if (!request.importPaths.isEmpty()) {
        MemoPtr parent;
        if (request.importParentID != 0 && !(parent = controller.tree().noteDataWithID(request.importParentID)))
            problems << tr("There is no page with the ID %1 to import into.").arg(request.importParentID);
        else
            problems << controller.importFiles(request.importPaths, parent, -1).problems;
    }
    if (!request.legacyPreferencesPath.isEmpty())
        problems << controller.importEarlierVersion(request.legacyPreferencesPath, request.legacyTextFolder);
    if (!request.exportFormat.isEmpty()) {
        // What the windows have not stored in their pages yet goes into the export too.
        NotificationCenter::defaultCenter().post(NotificationNames::JW3SaveData, &controller);
        if (const QString exported = CommandLineExport::perform(controller.tree(), request); !exported.isEmpty())
            problems << exported;
    }
    return problems.join(u'\n');
}

QString ApplicationAdaptor::Activate()
{
    if (NoteWindow *front = m_controller->frontWindowController())
        front->showWindow();
    else
        m_controller->showMainWindow();
    return {};
}

QString ApplicationAdaptor::ClipText(const QString &text)
{
    ApplicationRequest request;
    request.clipText = text.isNull() ? QStringLiteral("") : text;
    return perform(*m_controller, request);
}

QString ApplicationAdaptor::ClipURL(const QString &url)
{
    ApplicationRequest request;
    request.clipURL = url;
    if (url.isEmpty())
        return tr("An empty URL cannot be clipped.");
    return perform(*m_controller, request);
}

QString ApplicationAdaptor::ClipFile(const QString &path)
{
    ApplicationRequest request;
    request.clipFile = path;
    if (path.isEmpty())
        return tr("No file was given to clip.");
    return perform(*m_controller, request);
}

QString ApplicationAdaptor::Open(const QStringList &paths)
{
    ApplicationRequest request;
    request.filesToOpen = paths;
    return perform(*m_controller, request);
}

QString ApplicationAdaptor::OpenLink(const QString &link)
{
    ApplicationRequest request;
    request.linksToOpen = {link};
    return perform(*m_controller, request);
}

QVariantMap ApplicationAdaptor::requestToMap(const ApplicationRequest &request)
{
    QVariantMap map;
    if (!request.filesToOpen.isEmpty())
        map.insert(kOpenKey, request.filesToOpen);
    if (!request.linksToOpen.isEmpty())
        map.insert(kLinksKey, request.linksToOpen);
    // An empty text is still a text to clip; only a null one is left out.
    if (!request.clipText.isNull())
        map.insert(kClipTextKey, request.clipText);
    if (!request.clipURL.isEmpty())
        map.insert(kClipURLKey, request.clipURL);
    if (!request.clipFile.isEmpty())
        map.insert(kClipFileKey, request.clipFile);
    if (!request.exportFormat.isEmpty()) {
        map.insert(kExportFormatKey, request.exportFormat);
        map.insert(kExportPageKey, request.exportPageID);
        map.insert(kExportAllKey, request.exportAll);
        map.insert(kExportPathKey, request.exportPath);
    }
    if (!request.importPaths.isEmpty()) {
        map.insert(kImportPathsKey, request.importPaths);
        map.insert(kImportParentKey, request.importParentID);
    }
    if (!request.legacyPreferencesPath.isEmpty()) {
        map.insert(kLegacyPreferencesKey, request.legacyPreferencesPath);
        map.insert(kLegacyTextFolderKey, request.legacyTextFolder);
    }
    return map;
}

ApplicationRequest ApplicationAdaptor::requestFromMap(const QVariantMap &map)
{
    ApplicationRequest request;
    request.filesToOpen = map.value(kOpenKey).toStringList();
    request.linksToOpen = map.value(kLinksKey).toStringList();
    if (map.contains(kClipTextKey)) {
        const QString text = map.value(kClipTextKey).toString();
        request.clipText = text.isNull() ? QStringLiteral("") : text;
    }
    request.clipURL = map.value(kClipURLKey).toString();
    request.clipFile = map.value(kClipFileKey).toString();
    request.exportFormat = map.value(kExportFormatKey).toString();
    request.exportPageID = map.value(kExportPageKey).toLongLong();
    request.exportAll = map.value(kExportAllKey).toBool();
    request.exportPath = map.value(kExportPathKey).toString();
    request.importPaths = map.value(kImportPathsKey).toStringList();
    request.importParentID = map.value(kImportParentKey).toLongLong();
    request.legacyPreferencesPath = map.value(kLegacyPreferencesKey).toString();
    request.legacyTextFolder = map.value(kLegacyTextFolderKey).toString();
    return request;
}

uint ApplicationAdaptor::Submit(const QVariantMap &request, qlonglong answerBy)
{
    // The caller reports failure once it stops waiting; carrying out a request
    // that came later (the application was busy) would make that a lie.
    if (answerBy > 0) {
        QDeadlineTimer deadline;
        deadline.setDeadline(answerBy);
        if (deadline.remainingTime() < kAnswerMarginMilliseconds) {
            qCWarning(lcAdaptor) << "A request came too late to be answered in time; it was not carried out.";
            return 0;
        }
    }
    if (++m_lastTicket == 0)
        ++m_lastTicket;
    const uint ticket = m_lastTicket;
    QTimer::singleShot(0, this, [this, ticket, taken = requestFromMap(request)] {
        const QString problems = perform(*m_controller, taken);
        // An export or import alone is a script's errand: the windows stay where they are.
        if (!taken.isErrandOnly())
            (void)Activate();
        // The caller prints the problems; the user at the screen sees them here.
        if (!problems.isEmpty())
            m_controller->reportProblem(problems);
        Q_EMIT Finished(ticket, problems);
    });
    return ticket;
}
