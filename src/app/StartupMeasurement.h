#pragma once

#include <QObject>

#include <optional>

/**
 * Measures how long the application takes to show its first window: from the
 * moment the process started (as the kernel recorded it, so loading the
 * program and its libraries counts) until the first window has painted.
 */
class StartupMeasurement final : public QObject
{
    Q_OBJECT
public:
    explicit StartupMeasurement(QObject *parent = nullptr);

    /** Milliseconds since this process started, or nothing when the system does not tell. */
    [[nodiscard]] static std::optional<double> millisecondsSinceProcessStart();

    /** Watches every window; emits firstWindowPainted() once, after the first paint is done. */
    void start();

Q_SIGNALS:
    /** The first window has painted, @p milliseconds after the process started. */
    void firstWindowPainted(double milliseconds);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    bool m_seen = false;
};
