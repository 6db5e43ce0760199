#pragma once

#include "exchange/BackupRestore.h"

#include <QDialog>

#include <functional>

class QLabel;
class QProgressBar;
class QPushButton;
class QTreeWidget;

/**
 * File > Restore From Backup…: the backups made at quit of the data folder,
 * newest first, with their dates in the user's locale, sizes and page
 * counts. Restore… asks for a new folder, checks the chosen backup, copies
 * it there and offers to switch to it (the "dataFolderPath" preference, which
 * the data store follows: it saves the data in use into their folder, then
 * loads the restored one). Choose Archive… adds a ".tar.gz" backup from
 * anywhere to the list.
 *
 * Listing, checking and copying run on a worker thread, the dialog showing
 * that it is busy; only the decoding of the data store, which must not leave
 * the GUI thread, runs there. The dialog cannot be closed while it works.
 */
class RestoreBackupDialog final : public QDialog
{
    Q_OBJECT
public:
    /** Answers the folder to restore into, suggesting @p suggestion; empty to cancel. */
    using FolderQuestion = std::function<QString(const QString &suggestion)>;
    /** Answers whether to switch to the folder @p restored now. */
    using SwitchQuestion = std::function<bool(const QString &restored)>;

    /** The backups of @p dataFolder, the folder in use; listing starts at once. */
    explicit RestoreBackupDialog(QString dataFolder, QWidget *parent = nullptr);
    ~RestoreBackupDialog() override;

    /** Asks these instead of the file dialog and the message box; for tests and scripts. */
    void setQuestions(FolderQuestion folder, SwitchQuestion switchNow);

    /** True while a listing, check or restore runs. */
    [[nodiscard]] bool isBusy() const { return m_busy; }
    /** The backups listed, in the order shown. */
    [[nodiscard]] const QList<BackupRestore::Backup> &backups() const { return m_backups; }

    /** The folder offered for restoring @p backup: "<parent of the data folder>/<its name> restored <date>". */
    [[nodiscard]] QString suggestedFolder(const BackupRestore::Backup &backup) const;

    void reject() override;

Q_SIGNALS:
    /** A listing, check or restore ended (isBusy() is false again). */
    void finishedWork();

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    void listBackups();
    void showBackups(const QList<BackupRestore::Backup> &backups);
    void addRow(const BackupRestore::Backup &backup, int at);
    void chooseArchive();
    void restoreSelected();
    QString askForFolder(const QString &suggestion);
    void checked(
        const BackupRestore::Backup &backup, const QString &target, const QString &error, const QByteArray &dataStore);
    void restored(const QString &error, const QString &folder);
    void setBusy(const QString &what);
    void setIdle();
    void reportFailure(const QString &message);

    QString m_dataFolder;
    QList<BackupRestore::Backup> m_backups;
    FolderQuestion m_folderQuestion;
    SwitchQuestion m_switchQuestion;
    bool m_busy = false;
    QLabel *m_intro = nullptr;
    QTreeWidget *m_list = nullptr;
    QLabel *m_status = nullptr;
    QProgressBar *m_progress = nullptr;
    QPushButton *m_restore = nullptr;
    QPushButton *m_chooseArchive = nullptr;
    QPushButton *m_close = nullptr;
};
