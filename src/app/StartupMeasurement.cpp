#include "StartupMeasurement.h"

#include <QCoreApplication>
#include <QEvent>
#include <QFile>
#include <QTimer>
#include <QWidget>

#include <ctime>
#include <unistd.h>

StartupMeasurement::StartupMeasurement(QObject *parent)
    : QObject(parent)
{ }

std::optional<double> StartupMeasurement::millisecondsSinceProcessStart()
{
    // Field 22 of /proc/self/stat is the start time in clock ticks since
    // boot; the command name (field 2) may hold spaces, so fields are
    // counted after its closing parenthesis.
    QFile stat(QStringLiteral("/proc/self/stat"));
    if (!stat.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray line = stat.readAll();
    const qsizetype close = line.lastIndexOf(')');
    if (close < 0)
        return std::nullopt;
    const QList<QByteArray> fields = line.mid(close + 2).split(' ');
    constexpr int kStartTimeAfterName = 22 - 3; // fields 3, 4, ... follow the name
    if (fields.size() <= kStartTimeAfterName)
        return std::nullopt;
    bool ok = false;
    const double startTicks = fields.at(kStartTimeAfterName).toDouble(&ok);
    const long ticksPerSecond = sysconf(_SC_CLK_TCK);
    timespec now{};
    if (!ok || ticksPerSecond <= 0 || clock_gettime(CLOCK_BOOTTIME, &now) != 0)
        return std::nullopt;
    const double nowMilliseconds = double(now.tv_sec) * 1000.0 + double(now.tv_nsec) / 1e6;
    return nowMilliseconds - startTicks * 1000.0 / double(ticksPerSecond);
}

void StartupMeasurement::start()
{
    QCoreApplication::instance()->installEventFilter(this);
}

bool StartupMeasurement::eventFilter(QObject *watched, QEvent *event)
{
    if (!m_seen && event->type() == QEvent::Paint && watched->isWidgetType()
        && static_cast<QWidget *>(watched)->isVisible()) {
        m_seen = true;
        QCoreApplication::instance()->removeEventFilter(this);
        // Measured once this paint and the rest of its frame are done.
        QTimer::singleShot(
            0, this, [this] { Q_EMIT firstWindowPainted(millisecondsSinceProcessStart().value_or(-1)); });
    }
    return QObject::eventFilter(watched, event);
}
