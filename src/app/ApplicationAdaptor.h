#pragma once

#include "ApplicationRequest.h"

#include <QDBusAbstractAdaptor>

class JW3Controller;

/**
 * The application's D-Bus interface, on the session bus: what other programs
 * (and a second start of this one) may ask of the running application.
 *
 * Every method answers an empty string when it did what was asked, and
 * otherwise a message saying why not, in words for the user.
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

private:
    JW3Controller *m_controller;
};
