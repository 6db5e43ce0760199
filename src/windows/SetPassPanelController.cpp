#include "SetPassPanelController.h"

#include "platform/base/Localization.h"
#include "util/PagePassword.h"
#include "util/PasswordKeychain.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QTimer>
#include <QVBoxLayout>

namespace {

QString panelText(const char *key)
{
    return localizedString(QString::fromLatin1(key), "PasswordPanels");
}

QLineEdit *passwordField(QWidget *parent)
{
    auto *field = new QLineEdit(parent);
    field->setEchoMode(QLineEdit::Password);
    return field;
}

} // namespace

SetPassPanelController::SetPassPanelController(QWidget *parent)
    : QDialog(parent)
{
    setWindowTitle(panelText("Set Password"));
    m_oldPassTF = passwordField(this);
    m_newPassTF = passwordField(this);
    m_newPassTF2 = passwordField(this);
    m_passMessageTF = new QLabel(this);
    m_keychainCB = new QCheckBox(panelText("Keep it in the keyring"), this);
    m_keychainCB->hide();
    m_form = new QFormLayout;
    m_form->addRow(panelText("Old password:"), m_oldPassTF);
    m_form->addRow(panelText("New password:"), m_newPassTF);
    m_form->addRow(panelText("Again:"), m_newPassTF2);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(m_form);
    layout->addWidget(m_keychainCB);
    layout->addWidget(m_passMessageTF);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, [this] { passSheetOK(Accepted); });
    connect(buttons, &QDialogButtonBox::rejected, this, [this] { passSheetOK(Cancelled); });
}

void SetPassPanelController::setServiceName(const QString &service)
{
    m_serviceName = service;
    m_keychainCB->setVisible(canSaveToKeychain());
}

void SetPassPanelController::runAsSheetForWindow(QWidget *window)
{
    m_passMessageTF->clear();
    m_oldPassTF->clear();
    m_newPassTF->clear();
    m_newPassTF2->clear();
    if (window && window != parentWidget())
        setParent(window, windowFlags());
    setWindowModality(Qt::WindowModal);
    if (!m_passwordSet)
        setPassword(passwordFromDefault());
    // With no password yet there is no old one to give.
    m_form->setRowVisible(m_oldPassTF, !m_password.isEmpty());
    open();
    // A password kept in the keyring that still opens the pages saves typing it.
    if (canSaveToKeychain()) {
        const QString kept = PasswordKeychain::passwordFromKeychain(m_serviceName, PasswordKeychain::userName());
        if (!kept.isEmpty() && passwordMatchesHash(kept, m_password))
            m_oldPassTF->setText(kept);
    }
}

void SetPassPanelController::passSheetOK(int tag)
{
    if (!m_passwordSet)
        setPassword(passwordFromDefault());
    if (tag == Accepted) {
        if (!passwordMatchesHash(m_oldPassTF->text(), m_password)) {
            m_passMessageTF->setText(panelText("Old password is wrong"));
            return;
        }
        if (m_newPassTF->text() != m_newPassTF2->text()) {
            m_passMessageTF->setText(panelText("New password is wrong"));
            return;
        }
    }
    hide();
    setResult(tag);
    passSheetDidEnd(tag);
}

void SetPassPanelController::passSheetDidEnd(int code)
{
    if (code == Accepted) {
        const QString newPassword = m_newPassTF->text();
        if (m_target)
            m_target(PPCrypt(newPassword));
        else
            savePasswordToDefault(newPassword);
        if (m_keychainCB->isChecked() && canSaveToKeychain())
            PasswordKeychain::changeKeychainPassword(m_serviceName, PasswordKeychain::userName(), newPassword);
    } else if (m_target) {
        m_target(std::nullopt);
    }
    m_oldPassTF->clear();
    m_newPassTF->clear();
    m_newPassTF2->clear();
    if (m_finishedAction)
        m_finishedAction(code == Accepted);
    if (m_needToRelease)
        deleteLater();
}

QString SetPassPanelController::message() const
{
    return m_passMessageTF->text();
}
