#pragma once

#include <QObject>

class QSocketNotifier;

/**
 * Turns SIGTERM, SIGINT and SIGHUP into an orderly quit of the event loop, so
 * that a logout, a service manager or Ctrl+C in a terminal saves everything
 * the way the Quit command does. A second signal while quitting takes the
 * default action, so a hung application can still be stopped.
 */
class TerminationSignals final : public QObject
{
    Q_OBJECT
public:
    /** Installs the handlers; the application quits on the next signal. Once per process. */
    static void quitApplicationOnTermination();

private:
    explicit TerminationSignals(QObject *parent);
    void handleSignal();

    QSocketNotifier *m_notifier = nullptr;
};
