#include "SingleInstance.h"

#include "ApplicationAdaptor.h"
#include "JW3Controller.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDir>
#include <QFileInfo>

namespace {

// A running application that does not answer within this time is hung; the
// second start must not hang with it.
constexpr int kCallTimeoutMilliseconds = 10000;

QString callFailure(const QDBusMessage &reply)
{
    if (reply.type() == QDBusMessage::ErrorMessage)
        return QCoreApplication::translate("SingleInstance", "The running application did not answer: %1")
            .arg(reply.errorMessage());
    if (reply.arguments().isEmpty())
        return {};
    return reply.arguments().constFirst().toString();
}

} // namespace

QString SingleInstance::serviceNameForFolder(const QString &dataFolder)
{
    const QString canonical = QFileInfo(dataFolder).canonicalFilePath();
    const QString path = canonical.isEmpty() ? QDir::cleanPath(QFileInfo(dataFolder).absoluteFilePath()) : canonical;
    // Bus names allow only letters, digits and underscores, and no element
    // may start with a digit: the path goes in as part of a hash.
    const QByteArray hash = QCryptographicHash::hash(path.toUtf8(), QCryptographicHash::Sha256).toHex().left(20);
    return ApplicationAdaptor::interfaceName() + QStringLiteral(".folder_") + QString::fromLatin1(hash);
}

SingleInstance::HandOver SingleInstance::handOver(
    const QString &serviceName, const ApplicationRequest &request, QString *message)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || !bus.interface() || !bus.interface()->isServiceRegistered(serviceName).value())
        return HandOver::NoneRunning;

    QStringList problems;
    const auto call = [&](const QString &method, const QVariantList &arguments) {
        QDBusMessage message = QDBusMessage::createMethodCall(
            serviceName, ApplicationAdaptor::objectPath(), ApplicationAdaptor::interfaceName(), method);
        message.setArguments(arguments);
        const QString failure = callFailure(bus.call(message, QDBus::Block, kCallTimeoutMilliseconds));
        if (!failure.isEmpty())
            problems << failure;
    };
    if (!request.clipText.isNull())
        call(QStringLiteral("ClipText"), {request.clipText});
    if (!request.clipURL.isEmpty())
        call(QStringLiteral("ClipURL"), {request.clipURL});
    if (!request.clipFile.isEmpty())
        call(QStringLiteral("ClipFile"), {request.clipFile});
    if (!request.filesToOpen.isEmpty())
        call(QStringLiteral("Open"), {request.filesToOpen});
    for (const QString &link : request.linksToOpen)
        call(QStringLiteral("OpenLink"), {link});
    // Whatever was asked, the user expects to see the application now.
    call(QStringLiteral("Activate"), {});

    if (problems.isEmpty())
        return HandOver::Done;
    if (message)
        *message = problems.join(u'\n');
    return HandOver::Failed;
}

Status SingleInstance::registerController(JW3Controller &controller, const QString &serviceName)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return Error{QCoreApplication::translate("SingleInstance", "There is no session bus.")};
    new ApplicationAdaptor(&controller);
    if (!bus.registerObject(ApplicationAdaptor::objectPath(), &controller))
        return Error{bus.lastError().message()};
    if (!bus.registerService(serviceName)) {
        bus.unregisterObject(ApplicationAdaptor::objectPath());
        return Error{bus.lastError().message()};
    }
    return {};
}
