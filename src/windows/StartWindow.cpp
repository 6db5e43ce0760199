#include "StartWindow.h"

#include "platform/FolderPaths.h"

#include <QAction>
#include <QApplication>
#include <QKeySequence>
#include <QLabel>
#include <QMenuBar>
#include <QVBoxLayout>

StartWindow::StartWindow(QWidget *parent)
    : QMainWindow(parent)
{
    setWindowTitle(appName());

    auto *fileMenu = menuBar()->addMenu(tr("&File"));
    auto *quit = fileMenu->addAction(tr("&Quit"));
    quit->setShortcut(QKeySequence::Quit);
    quit->setMenuRole(QAction::QuitRole);
    connect(quit, &QAction::triggered, qApp, &QApplication::quit, Qt::QueuedConnection);

    auto *central = new QWidget(this);
    auto *layout = new QVBoxLayout(central);
    auto *title = new QLabel(appName(), central);
    QFont titleFont = title->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.8);
    titleFont.setBold(true);
    title->setFont(titleFont);
    title->setAlignment(Qt::AlignCenter);

    m_folderLabel = new QLabel(tr("Your pages are kept in %1").arg(dataFolderPath()), central);
    m_folderLabel->setAlignment(Qt::AlignCenter);
    m_folderLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_folderLabel->setWordWrap(true);

    layout->addStretch();
    layout->addWidget(title);
    layout->addWidget(m_folderLabel);
    layout->addStretch();
    setCentralWidget(central);
    resize(640, 420);
}
