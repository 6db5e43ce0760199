#pragma once

#include <QDialog>

class QCheckBox;
class QComboBox;
class QFormLayout;
class QLabel;
class QProgressBar;
class QPushButton;
class SyncService;

/**
 * The sync window: which page is synchronised with the phone, and what the
 * sync server is doing: whether devices can find it, the addresses and the
 * port to give a device by hand when they cannot, the connected device, the
 * progress of a transfer, the last sync and the last error.
 *
 * Choosing a page stores its title under "abGroupName", which makes the
 * application start a new server for it.
 */
class SyncWindow final : public QDialog
{
    Q_OBJECT
public:
    /** A window over @p service; @p pageTitles are offered for the synchronised page. */
    SyncWindow(SyncService &service, const QStringList &pageTitles, QWidget *parent = nullptr);

    /** Fills the fields from the service's status. */
    void refresh();

private:
    void applyGroupName();

    SyncService &m_service;
    // Rows without anything to say are hidden with their spacing.
    QFormLayout *m_form = nullptr;
    QComboBox *m_groupName = nullptr;
    QPushButton *m_apply = nullptr;
    QLabel *m_groupProblem = nullptr;
    QLabel *m_serviceLabel = nullptr;
    QLabel *m_address = nullptr;
    QLabel *m_discovery = nullptr;
    QLabel *m_device = nullptr;
    QProgressBar *m_progress = nullptr;
    QLabel *m_lastSync = nullptr;
    QLabel *m_lastError = nullptr;
    QCheckBox *m_askBeforeNewDevice = nullptr;
};
