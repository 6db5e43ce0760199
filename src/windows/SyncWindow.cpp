#include "SyncWindow.h"

#include "platform/base/PreferenceKeys.h"
#include "platform/settings/UserDefaults.h"
#include "sync/ServiceType.h"
#include "sync/SyncService.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

QLabel *wrappingLabel(QWidget *parent)
{
    auto *label = new QLabel(parent);
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    // Wide enough that a wrapped paragraph is not laid out for a narrow column.
    label->setMinimumWidth(320);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

} // namespace

SyncWindow::SyncWindow(SyncService &service, const QStringList &pageTitles, QWidget *parent)
    : QDialog(parent)
    , m_service(service)
{
    setObjectName(QStringLiteral("syncWindow"));
    setWindowTitle(tr("Sync with Phone"));

    m_groupName = new QComboBox(this);
    m_groupName->setObjectName(QStringLiteral("groupNameBox"));
    m_groupName->setEditable(true);
    m_groupName->addItems(pageTitles);
    m_groupName->setCurrentText(UserDefaults::standardUserDefaults().stringForKey(PreferenceKeys::abGroupName));
    m_groupName->setMinimumContentsLength(24);
    m_apply = new QPushButton(tr("Use This Page"), this);
    m_apply->setObjectName(QStringLiteral("applyGroupButton"));
    connect(m_apply, &QPushButton::clicked, this, &SyncWindow::applyGroupName);
    connect(m_groupName, &QComboBox::currentTextChanged, this, &SyncWindow::refresh);
    auto *group = new QHBoxLayout;
    group->addWidget(m_groupName, 1);
    group->addWidget(m_apply);
    m_groupProblem = wrappingLabel(this);
    m_groupProblem->setObjectName(QStringLiteral("groupProblemLabel"));

    m_serviceLabel = wrappingLabel(this);
    m_address = wrappingLabel(this);
    m_address->setObjectName(QStringLiteral("addressLabel"));
    m_discovery = wrappingLabel(this);
    m_discovery->setObjectName(QStringLiteral("discoveryLabel"));
    m_device = wrappingLabel(this);
    m_device->setObjectName(QStringLiteral("deviceLabel"));
    m_progress = new QProgressBar(this);
    m_progress->setRange(0, 1000);
    m_progress->setTextVisible(false);
    m_lastSync = wrappingLabel(this);
    m_lastError = wrappingLabel(this);
    m_lastError->setObjectName(QStringLiteral("lastErrorLabel"));
    m_lastError->setStyleSheet(QStringLiteral("color: #c0392b"));

    m_askBeforeNewDevice = new QCheckBox(tr("Ask before a new device syncs"), this);
    m_askBeforeNewDevice->setChecked(
        UserDefaults::standardUserDefaults().boolForKey(PreferenceKeys::SyncAskBeforeNewDevice));
    connect(m_askBeforeNewDevice, &QCheckBox::toggled, this,
        [](bool on) { UserDefaults::standardUserDefaults().setValue(PreferenceKeys::SyncAskBeforeNewDevice, on); });

    auto *form = m_form = new QFormLayout;
    form->addRow(tr("Synchronised page:"), group);
    form->addRow(QString(), m_groupProblem);
    form->addRow(tr("Service:"), m_serviceLabel);
    form->addRow(tr("Address:"), m_address);
    form->addRow(QString(), m_discovery);
    form->addRow(tr("Device:"), m_device);
    form->addRow(QString(), m_progress);
    form->addRow(tr("Last sync:"), m_lastSync);
    form->addRow(QString(), m_lastError);

    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::close);

    auto *layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(m_askBeforeNewDevice);
    layout->addWidget(buttons);

    connect(&m_service, &SyncService::statusChanged, this, &SyncWindow::refresh);
    refresh();
}

void SyncWindow::applyGroupName()
{
    const QString name = m_groupName->currentText().trimmed();
    UserDefaults::standardUserDefaults().setValue(PreferenceKeys::abGroupName, name);
    refresh();
}

void SyncWindow::refresh()
{
    const SyncService::Status status = m_service.status();
    const QLocale locale;

    // A name the network cannot announce is refused here, with the reason.
    const QString typed = m_groupName->currentText().trimmed();
    const Result<QString> type = ServiceType::forGroup(typed);
    m_apply->setEnabled(typed != status.groupName && (typed.isEmpty() || type.ok()));
    if (!typed.isEmpty() && !type)
        m_groupProblem->setText(type.errorMessage());
    else if (status.groupName.isEmpty())
        m_groupProblem->setText(tr("Choose the page whose sub-pages the phone keeps."));
    else
        m_groupProblem->clear();
    m_form->setRowVisible(m_groupProblem, !m_groupProblem->text().isEmpty());

    if (!status.listening)
        m_serviceLabel->setText(tr("Not running"));
    else if (status.published)
        m_serviceLabel->setText(tr("Announced on the network as %1").arg(status.serviceType));
    else if (status.serviceType.isEmpty())
        m_serviceLabel->setText(tr("Listening, not announced"));
    else
        m_serviceLabel->setText(tr("Listening, not announced (%1)").arg(status.serviceType));

    QStringList addresses;
    for (const QString &address : status.addresses)
        addresses.append(QStringLiteral("%1:%2").arg(address).arg(status.port));
    m_address->setText(
        status.listening ? (addresses.isEmpty() ? tr("port %1").arg(status.port) : addresses.join(u", ")) : QString());
    m_discovery->setText(status.discoveryProblem.isEmpty()
            ? QString()
            : tr("The phone cannot find this computer by itself: %1 Enter the address and port above in the "
                 "companion by hand.")
                  .arg(status.discoveryProblem));
    m_form->setRowVisible(m_discovery, !m_discovery->text().isEmpty());

    m_device->setText(status.peer.isEmpty() ? tr("No device connected") : tr("Connected: %1").arg(status.peer));
    m_form->setRowVisible(m_progress, status.progress >= 0);
    m_progress->setValue(int(qBound(0.0F, status.progress, 1.0F) * 1000));
    m_lastSync->setText(
        status.lastSync.isValid() ? locale.toString(status.lastSync.toLocalTime(), QLocale::LongFormat) : tr("Never"));
    m_lastError->setText(status.lastError);
    m_form->setRowVisible(m_lastError, !status.lastError.isEmpty());
}
