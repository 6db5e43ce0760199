#include "SingleInstance.h"

#include "ApplicationAdaptor.h"
#include "JW3Controller.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QDeadlineTimer>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>

#include <optional>

namespace {

// A running application that does not take a request within this time is
// hung; the second start must not hang with it. Once taken, the request is
// waited for as long as the application runs: clipping a large file takes
// longer than this, and a success must never be reported as a failure.
constexpr int kAnswerTimeoutMilliseconds = 10000;

const char *const kQuitBeforeDone
    = QT_TRANSLATE_NOOP("SingleInstance", "The running application quit before it had carried out the request.");

QString tr(const char *text)
{
    return QCoreApplication::translate("SingleInstance", text);
}

/**
 * Waits for the Finished signal of one request handed to the running
 * application, or for that application to leave the bus.
 */
class HandOverWait final : public QObject
{
    Q_OBJECT
public:
    explicit HandOverWait(const QString &serviceName)
        : m_watcher(serviceName, QDBusConnection::sessionBus(), QDBusServiceWatcher::WatchForUnregistration)
    {
        connect(&m_watcher, &QDBusServiceWatcher::serviceUnregistered, this,
            [this] { finish(QCoreApplication::translate("SingleInstance", kQuitBeforeDone)); });
        m_listening = QDBusConnection::sessionBus().connect(serviceName, ApplicationAdaptor::objectPath(),
            ApplicationAdaptor::interfaceName(), QStringLiteral("Finished"), this,
            SLOT(requestFinished(uint, QString)));
    }

    /** Whether the signal is listened for; without it, nothing can be waited for. */
    [[nodiscard]] bool isListening() const { return m_listening; }

    /**
     * Waits until the request that was answered @p ticket is done; what went
     * wrong, empty when all of it went well. Nothing when the wait was cut
     * short (this process was told to quit). A signal that came while the
     * request was being sent is queued, not lost: it is read in here.
     */
    std::optional<QString> waitFor(uint ticket)
    {
        m_ticket = ticket;
        m_loop.exec();
        if (!m_finished)
            return std::nullopt;
        return m_problems;
    }

private Q_SLOTS:
    void requestFinished(uint ticket, const QString &problems)
    {
        if (ticket == m_ticket)
            finish(problems);
    }

private:
    void finish(const QString &problems)
    {
        m_finished = true;
        m_problems = problems;
        m_loop.quit();
    }

    QDBusServiceWatcher m_watcher;
    QEventLoop m_loop;
    uint m_ticket = 0;
    QString m_problems;
    bool m_listening = false;
    bool m_finished = false;
};

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

    // Of the two ways to wait for work that takes long, this one: the running
    // application answers at once with a ticket and reports the outcome with a
    // signal, which is listened for before the request is sent.
    HandOverWait wait(serviceName);
    const auto failed = [message](const QString &problems) {
        if (message)
            *message = problems;
        return HandOver::Failed;
    };
    if (!wait.isListening())
        return failed(tr("The running application cannot be listened to: %1").arg(bus.lastError().message()));

    const QDeadlineTimer answerBy(kAnswerTimeoutMilliseconds);
    QDBusMessage call = QDBusMessage::createMethodCall(
        serviceName, ApplicationAdaptor::objectPath(), ApplicationAdaptor::interfaceName(), QStringLiteral("Submit"));
    call.setArguments({ApplicationAdaptor::requestToMap(request), qlonglong(answerBy.deadline())});
    const QDBusMessage reply = bus.call(call, QDBus::Block, kAnswerTimeoutMilliseconds);
    if (reply.type() == QDBusMessage::ErrorMessage)
        return failed(tr("The running application did not answer: %1").arg(reply.errorMessage()));
    const uint ticket = reply.arguments().isEmpty() ? 0 : reply.arguments().constFirst().toUInt();
    if (ticket == 0)
        return failed(tr("The running application was too busy to take the request in time."));

    const std::optional<QString> problems = wait.waitFor(ticket);
    if (!problems)
        return failed(tr("The wait for the running application was cut short; it may still carry out the request."));
    if (!problems->isEmpty())
        return failed(*problems);
    return HandOver::Done;
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

#include "SingleInstance.moc"
