// The Import commands of the note window's File menu.
#include "NoteMainWindow.h"
#include "NoteTreeHost.h"
#include "NoteWindowController.h"

#include "platform/base/StandardFolders.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QMainWindow>
#include <QMessageBox>

void NoteWindowController::openFile(bool folder)
{
    if (m_importFolder.isEmpty()) {
        const QString documents = StandardFolders::documentsFolder();
        m_importFolder = QFileInfo(documents).isDir() ? documents : QDir::homePath();
    }
    QStringList paths;
    if (folder) {
        const QString chosen = QFileDialog::getExistingDirectory(m_window.get(), tr("Import Folder"), m_importFolder);
        if (!chosen.isEmpty())
            paths.append(chosen);
    } else {
        QStringList patterns;
        for (const QString &type : m_host.importableFileTypes())
            patterns.append(QStringLiteral("*.") + type);
        paths = QFileDialog::getOpenFileNames(m_window.get(), tr("Import"), m_importFolder,
            tr("Importable files (%1)").arg(patterns.join(u' ')) + QStringLiteral(";;") + tr("All files (*)"));
    }
    if (paths.isEmpty())
        return;
    m_importFolder = QFileInfo(paths.constFirst()).absolutePath();
    if (const QStringList problems = m_host.openFiles(paths); !problems.isEmpty())
        QMessageBox::warning(m_window.get(), tr("Import"), problems.join(u'\n'));
}

void NoteWindowController::importEarlierVersion()
{
    const QString preferences = QFileDialog::getOpenFileName(m_window.get(),
        tr("The Earlier Version's Preferences File"), QDir::homePath(), tr("Preferences (*.plist);;All files (*)"));
    if (preferences.isEmpty())
        return;
    // The texts lie in a folder of their own; without it the pages come without text.
    const QString texts = QFileDialog::getExistingDirectory(
        m_window.get(), tr("The Earlier Version's Folder of Texts"), QFileInfo(preferences).absolutePath());
    if (const QStringList problems = m_host.importEarlierVersion(preferences, texts); !problems.isEmpty())
        QMessageBox::warning(m_window.get(), tr("Import"), problems.join(u'\n'));
}

void NoteWindowController::importFirstVersion()
{
    if (const QStringList problems = m_host.importJotwellData(); !problems.isEmpty())
        QMessageBox::information(m_window.get(), tr("Import"), problems.join(u'\n'));
}
