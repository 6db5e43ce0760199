#include "RestoreBackupDialog.h"

#include "platform/base/FreeFileName.h"
#include "platform/base/PreferenceKeys.h"
#include "platform/settings/UserDefaults.h"

#include <QCloseEvent>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <QtConcurrent/QtConcurrentRun>

#include <utility>

namespace {

enum Column
{
    DateColumn,
    SizeColumn,
    PagesColumn
};

// What a worker answers: QFuture wants a type it can make empty, which a
// Result is not.
template<typename T> struct Outcome
{
    QString error;
    T value{};
};

template<typename T> Outcome<T> outcomeOf(Result<T> result)
{
    if (!result)
        return {result.errorMessage(), T{}};
    return {QString(), std::move(result).value()};
}

} // namespace

RestoreBackupDialog::RestoreBackupDialog(QString dataFolder, QWidget *parent)
    : QDialog(parent)
    , m_dataFolder(std::move(dataFolder))
{
    setObjectName(QStringLiteral("restoreBackupDialog"));
    setWindowTitle(tr("Restore From Backup"));

    m_intro = new QLabel(tr("The backups of %1, made at quit. A backup is restored into a new folder; "
                            "the data folder in use stays as it is.")
                             .arg(QDir::toNativeSeparators(m_dataFolder)),
        this);
    m_intro->setWordWrap(true);

    m_list = new QTreeWidget(this);
    m_list->setObjectName(QStringLiteral("backupList"));
    m_list->setRootIsDecorated(false);
    m_list->setUniformRowHeights(true);
    m_list->setAllColumnsShowFocus(true);
    m_list->setHeaderLabels({tr("Made"), tr("Size"), tr("Pages")});
    m_list->header()->setStretchLastSection(false);
    m_list->header()->setSectionResizeMode(DateColumn, QHeaderView::Stretch);
    m_list->header()->setSectionResizeMode(SizeColumn, QHeaderView::ResizeToContents);
    m_list->header()->setSectionResizeMode(PagesColumn, QHeaderView::ResizeToContents);
    m_list->setMinimumSize(460, 260);
    connect(m_list, &QTreeWidget::itemSelectionChanged, this,
        [this] { m_restore->setEnabled(!m_busy && m_list->currentItem()); });
    connect(m_list, &QTreeWidget::itemDoubleClicked, this, [this] { restoreSelected(); });

    m_status = new QLabel(this);
    m_status->setObjectName(QStringLiteral("statusLabel"));
    m_status->setWordWrap(true);
    m_progress = new QProgressBar(this);
    m_progress->setRange(0, 0); // busy, without a measure of how far
    m_progress->setTextVisible(false);
    m_progress->setMaximumWidth(160);
    auto *status = new QHBoxLayout;
    status->addWidget(m_status, 1);
    status->addWidget(m_progress);

    auto *buttons = new QDialogButtonBox(this);
    m_chooseArchive = buttons->addButton(tr("Choose Archive..."), QDialogButtonBox::ActionRole);
    m_chooseArchive->setObjectName(QStringLiteral("chooseArchiveButton"));
    m_restore = buttons->addButton(tr("Restore..."), QDialogButtonBox::AcceptRole);
    m_restore->setObjectName(QStringLiteral("restoreButton"));
    m_close = buttons->addButton(QDialogButtonBox::Close);
    // Restore… is not an accept: the dialog stays open until it is closed or a switch is chosen.
    connect(m_restore, &QPushButton::clicked, this, &RestoreBackupDialog::restoreSelected);
    connect(m_chooseArchive, &QPushButton::clicked, this, &RestoreBackupDialog::chooseArchive);
    connect(buttons, &QDialogButtonBox::rejected, this, &RestoreBackupDialog::reject);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_intro);
    layout->addWidget(m_list, 1);
    layout->addLayout(status);
    layout->addWidget(buttons);

    listBackups();
}

RestoreBackupDialog::~RestoreBackupDialog() = default;

void RestoreBackupDialog::setQuestions(FolderQuestion folder, SwitchQuestion switchNow)
{
    m_folderQuestion = std::move(folder);
    m_switchQuestion = std::move(switchNow);
}

QString RestoreBackupDialog::suggestedFolder(const BackupRestore::Backup &backup) const
{
    const QFileInfo folder(m_dataFolder);
    const QString base = folder.absolutePath() + u'/' + folder.fileName() + tr(" restored ")
        + backup.time.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH-mm-ss"));
    return FreeFileName::firstFree(base, [&base](int n) -> QString { return base + u' ' + QString::number(n); });
}

void RestoreBackupDialog::reject()
{
    if (!m_busy)
        QDialog::reject();
}

void RestoreBackupDialog::closeEvent(QCloseEvent *event)
{
    // A restore half done would be left without anyone to hear how it ended.
    if (m_busy)
        event->ignore();
    else
        QDialog::closeEvent(event);
}

void RestoreBackupDialog::listBackups()
{
    setBusy(tr("Looking for backups..."));
    QtConcurrent::run([folder = m_dataFolder] {
        return BackupRestore::list(folder);
    }).then(this, [this](const QList<BackupRestore::Backup> &backups) { showBackups(backups); });
}

void RestoreBackupDialog::showBackups(const QList<BackupRestore::Backup> &backups)
{
    m_backups.clear();
    m_list->clear();
    for (const BackupRestore::Backup &backup : backups)
        addRow(backup, int(m_backups.size()));
    if (m_list->topLevelItemCount() > 0)
        m_list->setCurrentItem(m_list->topLevelItem(0));
    setIdle();
    if (m_backups.isEmpty())
        m_status->setText(tr("There are no backups yet: one is made every time the application quits."));
}

void RestoreBackupDialog::addRow(const BackupRestore::Backup &backup, int at)
{
    const QLocale locale;
    const QDateTime local = backup.time.toLocalTime();
    auto *item = new QTreeWidgetItem;
    item->setText(DateColumn,
        locale.toString(local.date(), QLocale::ShortFormat) + u' '
            + locale.toString(local.time(), QLocale::ShortFormat));
    if (backup.isArchive())
        item->setText(DateColumn, item->text(DateColumn) + u' ' + tr("(archive)"));
    item->setToolTip(DateColumn, QDir::toNativeSeparators(backup.path));
    item->setText(SizeColumn, locale.formattedDataSize(backup.bytes));
    item->setText(PagesColumn, locale.toString(backup.pageFiles));
    item->setTextAlignment(SizeColumn, Qt::AlignRight | Qt::AlignVCenter);
    item->setTextAlignment(PagesColumn, Qt::AlignRight | Qt::AlignVCenter);
    m_backups.insert(at, backup);
    m_list->insertTopLevelItem(at, item);
}

void RestoreBackupDialog::chooseArchive()
{
    const QString path = QFileDialog::getOpenFileName(
        this, tr("Choose a Backup Archive"), QFileInfo(m_dataFolder).absolutePath(), tr("Backup archives (*.tar.gz)"));
    if (path.isEmpty())
        return;
    setBusy(tr("Reading the archive..."));
    QtConcurrent::run([path] {
        return outcomeOf(BackupRestore::describe(path));
    }).then(this, [this](const Outcome<BackupRestore::Backup> &described) {
        setIdle();
        if (!described.error.isEmpty()) {
            reportFailure(tr("This archive cannot be restored: %1").arg(described.error));
            return;
        }
        addRow(described.value, 0);
        m_list->setCurrentItem(m_list->topLevelItem(0));
    });
}

void RestoreBackupDialog::restoreSelected()
{
    const int row = m_list->indexOfTopLevelItem(m_list->currentItem());
    if (m_busy || row < 0 || row >= m_backups.size())
        return;
    const BackupRestore::Backup backup = m_backups.at(row);
    const QString suggestion = suggestedFolder(backup);
    const QString target = m_folderQuestion ? m_folderQuestion(suggestion) : askForFolder(suggestion);
    if (target.isEmpty())
        return;

    setBusy(tr("Checking the backup..."));
    QtConcurrent::run([backup] {
        return outcomeOf(BackupRestore::readThrough(backup));
    }).then(this, [this, backup, target](const Outcome<QByteArray> &read) {
        checked(backup, target, read.error, read.value);
    });
}

QString RestoreBackupDialog::askForFolder(const QString &suggestion)
{
    // A name typed for a folder that does not exist yet, or an empty folder:
    // a save dialog takes both, and restore() refuses anything else.
    QFileDialog dialog(this, tr("Restore Into a New Folder"), suggestion);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    dialog.setOption(QFileDialog::DontConfirmOverwrite);
    dialog.setLabelText(QFileDialog::FileName, tr("New folder:"));
    dialog.setLabelText(QFileDialog::Accept, tr("Restore"));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return {};
    return dialog.selectedFiles().front();
}

void RestoreBackupDialog::checked(
    const BackupRestore::Backup &backup, const QString &target, const QString &error, const QByteArray &dataStore)
{
    QString problem = error;
    if (problem.isEmpty()) {
        // Decoding makes pages, which only the GUI thread may make.
        if (const Result<qsizetype> pages = BackupRestore::checkDataStore(dataStore); !pages)
            problem = pages.errorMessage();
    }
    if (!problem.isEmpty()) {
        setIdle();
        reportFailure(tr("This backup cannot be restored: %1").arg(problem));
        return;
    }
    setBusy(tr("Restoring into %1...").arg(QDir::toNativeSeparators(target)));
    QtConcurrent::run([backup, target, current = m_dataFolder] {
        return outcomeOf(BackupRestore::restore(backup, target, current));
    }).then(this, [this](const Outcome<QString> &done) { restored(done.error, done.value); });
}

void RestoreBackupDialog::restored(const QString &error, const QString &folder)
{
    setIdle();
    if (!error.isEmpty()) {
        reportFailure(tr("The backup was not restored: %1").arg(error));
        return;
    }
    m_status->setText(tr("Restored into %1.").arg(QDir::toNativeSeparators(folder)));
    const bool switchNow = m_switchQuestion
        ? m_switchQuestion(folder)
        : QMessageBox::question(this, windowTitle(),
              tr("The backup was restored into %1.\n\nSwitch to the restored data folder now?")
                  .arg(QDir::toNativeSeparators(folder)))
            == QMessageBox::Yes;
    if (!switchNow)
        return;
    accept();
    // The data store follows the preference: it saves the data in use into
    // their folder, then loads the restored one in their place.
    UserDefaults::standardUserDefaults().setValue(PreferenceKeys::dataFolderPath, folder);
}

void RestoreBackupDialog::setBusy(const QString &what)
{
    m_busy = true;
    m_status->setText(what);
    m_progress->show();
    m_list->setEnabled(false);
    m_restore->setEnabled(false);
    m_chooseArchive->setEnabled(false);
    m_close->setEnabled(false);
}

void RestoreBackupDialog::setIdle()
{
    m_busy = false;
    m_status->clear();
    m_progress->hide();
    m_list->setEnabled(true);
    m_restore->setEnabled(m_list->currentItem() != nullptr);
    m_chooseArchive->setEnabled(true);
    m_close->setEnabled(true);
    Q_EMIT finishedWork();
}

void RestoreBackupDialog::reportFailure(const QString &message)
{
    m_status->setText(message);
    QMessageBox::warning(this, windowTitle(), message);
}
