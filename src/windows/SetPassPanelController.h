#pragma once

#include <QDialog>

#include <functional>
#include <optional>

class QCheckBox;
class QFormLayout;
class QLabel;
class QLineEdit;

/**
 * The sheet that sets or changes the page password: the old password (only
 * when one is set), the new one twice, and whether to keep it in the keyring
 * too.
 *
 * "Old password is wrong" and "New password is wrong" keep the sheet open.
 * On OK the new password's hash goes to the target when there is one,
 * otherwise into the preferences; an empty new password removes the
 * protection password.
 */
class SetPassPanelController final : public QDialog
{
    Q_OBJECT
public:
    enum Code
    {
        Cancelled = 0,
        Accepted = 1
    };

    explicit SetPassPanelController(QWidget *parent = nullptr);

    /** The stored hash the old password must match; read from the preferences on first use when not set. */
    void setPassword(const QString &hash)
    {
        m_password = hash;
        m_passwordSet = true;
    }
    /** The keyring service to keep the password under; empty: no keyring choice. */
    void setServiceName(const QString &service);
    [[nodiscard]] bool canSaveToKeychain() const { return !m_serviceName.isEmpty(); }
    /**
     * Takes the answer instead of the preferences: the new password's hash
     * on OK, nothing on Cancel.
     */
    void setTarget(std::function<void(std::optional<QString> hash)> target) { m_target = std::move(target); }
    /** Runs once the sheet has ended, after the password was stored: true for OK, false for Cancel. */
    void setFinishedAction(std::function<void(bool accepted)> action) { m_finishedAction = std::move(action); }
    /** Whether the sheet deletes itself once it has ended (the default). */
    void setNeedToRelease(bool release) { m_needToRelease = release; }

    /**
     * Shows the sheet over @p window: without a password set, it asks for the
     * new one only; else the old one is filled in from the keyring when it matches.
     */
    void runAsSheetForWindow(QWidget *window);
    /** What a button with @p tag does (1 is OK). */
    void passSheetOK(int tag);

    [[nodiscard]] QString message() const;

private:
    void passSheetDidEnd(int code);

    QFormLayout *m_form = nullptr;
    QLineEdit *m_oldPassTF = nullptr;
    QLineEdit *m_newPassTF = nullptr;
    QLineEdit *m_newPassTF2 = nullptr;
    QLabel *m_passMessageTF = nullptr;
    QCheckBox *m_keychainCB = nullptr;
    QString m_password;
    bool m_passwordSet = false;
    QString m_serviceName;
    std::function<void(std::optional<QString>)> m_target;
    std::function<void(bool)> m_finishedAction;
    bool m_needToRelease = true;
};
