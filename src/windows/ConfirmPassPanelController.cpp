#include "ConfirmPassPanelController.h"

#include "platform/base/Localization.h"
#include "util/PagePassword.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

namespace {

QString panelText(const char *key)
{
    return localizedString(QString::fromLatin1(key), "PasswordPanels");
}

} // namespace

ConfirmPassPanelController::ConfirmPassPanelController(QWidget *parent)
    : QDialog(parent)
{
    setWindowTitle(panelText("Password"));
    m_passMessageTF = new QLabel(this);
    m_passwordTF = new QLineEdit(this);
    m_passwordTF->setEchoMode(QLineEdit::Password);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_passMessageTF);
    layout->addWidget(m_passwordTF);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, [this] { passSheetOK(Confirmed); });
    connect(buttons, &QDialogButtonBox::rejected, this, [this] { passSheetOK(Cancelled); });
}

void ConfirmPassPanelController::reset()
{
    m_passwordTF->clear();
    m_passMessageTF->setText(panelText("Enter your password"));
    m_passwordTF->setFocus();
}

void ConfirmPassPanelController::runAsSheetForWindow(QWidget *window)
{
    reset();
    if (window && window != parentWidget())
        setParent(window, windowFlags());
    setWindowModality(Qt::WindowModal);
    open();
}

void ConfirmPassPanelController::runAsWindow()
{
    reset();
    setWindowModality(Qt::NonModal);
    show();
}

void ConfirmPassPanelController::passSheetOK(int tag)
{
    if (!m_passwordSet)
        setPassword(passwordFromDefault());
    if (tag == Confirmed && !passwordMatchesHash(m_passwordTF->text(), m_password)) {
        m_passMessageTF->setText(panelText("Password is wrong"));
        m_passwordTF->selectAll();
        return;
    }
    hide();
    setResult(tag);
    endConfirmation(tag);
}

void ConfirmPassPanelController::endConfirmation(int code)
{
    // The action runs once the sheet is gone, as its own step.
    std::function<void()> action = code == Confirmed ? m_confirmedAction : m_canceledAction;
    if (action)
        QTimer::singleShot(0, this, std::move(action));
    m_passwordTF->clear();
    if (m_needToRelease) {
        // After the action: deleteLater waits for the event loop too.
        QTimer::singleShot(0, this, &QObject::deleteLater);
    }
}

QString ConfirmPassPanelController::message() const
{
    return m_passMessageTF->text();
}
