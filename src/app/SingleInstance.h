#pragma once

#include "ApplicationRequest.h"
#include "platform/base/Result.h"

#include <QString>

class JW3Controller;

/**
 * One running application per data folder, found on the session bus.
 *
 * The running application owns a bus name made from its data folder's path.
 * A second start that finds the name taken hands its request over and exits;
 * one that uses another data folder runs beside it. Without a session bus
 * every start runs on its own, and the data folder's lock keeps two of them
 * from writing the same folder.
 */
class SingleInstance
{
public:
    /** The bus name of the application that uses @p dataFolder. */
    [[nodiscard]] static QString serviceNameForFolder(const QString &dataFolder);

    /** How a hand-over went. */
    enum class HandOver
    {
        NoneRunning, ///< no application holds the name (or there is no bus): run this one
        Done,        ///< the running application took the request
        Failed,      ///< one runs, but did not take the request in time, or failed at part of it
    };

    /**
     * Hands @p request to the application that owns @p serviceName, bringing
     * it to the front, and waits until that application has carried it out,
     * however long that takes while it runs. @p message receives what went
     * wrong when Failed. Shows nothing: the caller reports.
     */
    static HandOver handOver(const QString &serviceName, const ApplicationRequest &request, QString *message);

    /**
     * Offers @p controller on the session bus under @p serviceName. Fails
     * when there is no bus or another process took the name first.
     */
    static Status registerController(JW3Controller &controller, const QString &serviceName);
};
