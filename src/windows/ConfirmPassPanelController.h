#pragma once

#include <QDialog>

#include <functional>

class QLabel;
class QLineEdit;

/**
 * The sheet that asks for the page password before a protected page opens.
 *
 * A wrong password says "Password is wrong" and the sheet stays; the right
 * one (or Cancel) closes it and, on the next turn of the event loop, runs
 * the confirmed (or cancelled) action.
 */
class ConfirmPassPanelController final : public QDialog
{
    Q_OBJECT
public:
    /** The codes of the sheet's buttons. */
    enum Code
    {
        Cancelled = 0,
        Confirmed = 1
    };

    explicit ConfirmPassPanelController(QWidget *parent = nullptr);

    /** The stored hash to check against; read from the preferences on first use when not set. */
    void setPassword(const QString &hash)
    {
        m_password = hash;
        m_passwordSet = true;
    }
    void setConfirmedAction(std::function<void()> action) { m_confirmedAction = std::move(action); }
    void setCanceledAction(std::function<void()> action) { m_canceledAction = std::move(action); }
    /** Whether the sheet deletes itself once it has ended (the default). */
    void setNeedToRelease(bool release) { m_needToRelease = release; }

    /** Shows the sheet over @p window (window-modal), empty, asking for the password. */
    void runAsSheetForWindow(QWidget *window);
    /** Shows the panel as a window of its own. */
    void runAsWindow();

    /** What a button with @p tag does (1 is OK). */
    void passSheetOK(int tag);

    [[nodiscard]] QString message() const;

private:
    void reset();
    void endConfirmation(int code);

    QLineEdit *m_passwordTF = nullptr;
    QLabel *m_passMessageTF = nullptr;
    QString m_password;
    bool m_passwordSet = false;
    std::function<void()> m_confirmedAction;
    std::function<void()> m_canceledAction;
    bool m_needToRelease = true;
};
