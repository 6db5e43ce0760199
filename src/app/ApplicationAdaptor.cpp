#include "ApplicationAdaptor.h"

#include "JW3Controller.h"
#include "windows/NoteWindow.h"

#include <QUrl>

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
    // Until files have importers of their own, a file that is opened becomes
    // a page the way a clipped file does.
    for (const QString &path : request.filesToOpen) {
        if (auto opened = controller.clipFile(path); !opened)
            problems << opened.errorMessage();
    }
    // A page link that leads nowhere does nothing visible: the controller logs it.
    for (const QString &link : request.linksToOpen)
        (void)controller.openLink(link);
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
