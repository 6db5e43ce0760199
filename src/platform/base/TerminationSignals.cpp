#include "TerminationSignals.h"

#include "PlatformLog.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <array>
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr std::array kSignals{SIGTERM, SIGINT, SIGHUP};

// The handler may only do async-signal-safe work: it writes the signal number
// to a socket that the event loop watches.
int g_signalSocket[2] = {-1, -1};

void onSignal(int number)
{
    const char byte = char(number);
    [[maybe_unused]] const ssize_t written = ::write(g_signalSocket[0], &byte, 1);
}

void setHandlers(void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int number : kSignals)
        sigaction(number, &action, nullptr);
}

} // namespace

TerminationSignals::TerminationSignals(QObject *parent)
    : QObject(parent)
    , m_notifier(new QSocketNotifier(g_signalSocket[1], QSocketNotifier::Read, this))
{
    connect(m_notifier, &QSocketNotifier::activated, this, &TerminationSignals::handleSignal);
}

void TerminationSignals::quitApplicationOnTermination()
{
    auto *app = QCoreApplication::instance();
    if (!app || g_signalSocket[0] != -1)
        return;
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, g_signalSocket) != 0) {
        qCWarning(lcPlatform) << "Cannot watch for termination signals";
        return;
    }
    new TerminationSignals(app);
    setHandlers(onSignal);
}

void TerminationSignals::handleSignal()
{
    char byte = 0;
    if (::read(g_signalSocket[1], &byte, 1) != 1)
        return;
    qCInfo(lcPlatform) << "Quitting on signal" << int(byte);
    setHandlers(SIG_DFL);
    m_notifier->setEnabled(false);
    QCoreApplication::quit();
}
