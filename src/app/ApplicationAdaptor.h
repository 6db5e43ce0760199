#pragma once

#include "ApplicationRequest.h"

#include <QDBusAbstractAdaptor>
#include <QVariantMap>

class JW3Controller;

/**
 * The application's D-Bus interface, on the session bus: what other programs
 * (and a second start of this one) may ask of the running application.
 *
 * The single-action methods answer an empty string when they did what was
 * asked, and otherwise a message saying why not, in words for the user.
 * Submit() takes a whole request, answers at once and reports the outcome
 * with Finished(): a large file takes longer to clip than a caller should
 * wait for an answer from an application that may be hung.
 */
class ApplicationAdaptor final : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.jotwell3.Jotwell3")
public:
    /** The interface's name, as other programs call it. */
    static QString interfaceName() { return QStringLiteral("org.jotwell3.Jotwell3"); }
    /** The object path the controller is registered under. */
    static QString objectPath() { return QStringLiteral("/org/jotwell3/Jotwell3"); }

    explicit ApplicationAdaptor(JW3Controller *controller);

    /** Carries out @p request in @p controller; the messages of what failed, one per line. */
    static QString perform(JW3Controller &controller, const ApplicationRequest &request);

    /** @p request as Submit() takes it on the bus. */
    [[nodiscard]] static QVariantMap requestToMap(const ApplicationRequest &request);
    /** The request @p map stands for; what it does not name stays empty. */
    [[nodiscard]] static ApplicationRequest requestFromMap(const QVariantMap &map);

public Q_SLOTS:
    /** Brings the application to the front, opening the main window if none is open. */
    QString Activate();
    /** Makes a clipping page of @p text. */
    QString ClipText(const QString &text);
    /** Makes a web clip of @p url. */
    QString ClipURL(const QString &url);
    /** Makes a clipping page of the file at @p path (text, RTF or RTFD). */
    QString ClipFile(const QString &path);
    /** Opens the files at @p paths (absolute). */
    QString Open(const QStringList &paths);
    /** Opens @p link (a page link, or any URL) as a click in the front window would. */
    QString OpenLink(const QString &link);
    /**
     * Takes @p request (see requestToMap()) and answers its ticket at once;
     * carries it out right after, brings the application to the front and
     * emits Finished() with the ticket. @p answerBy is when the caller stops
     * waiting for the answer, in milliseconds of the system's monotonic
     * clock (0: never): a request that arrives too late for its answer to
     * reach the caller is not carried out, and answers ticket 0.
     */
    uint Submit(const QVariantMap &request, qlonglong answerBy);

Q_SIGNALS:
    /** The request Submit() answered @p ticket for is done; @p problems is empty when all of it was. */
    void Finished(uint ticket, const QString &problems);

private:
    JW3Controller *m_controller;
    uint m_lastTicket = 0;
};
