#include "StartWindow.h"

#include "platform/FolderPaths.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QKeySequence>
#include <QLabel>
#include <QMenuBar>
#include <QPlainTextEdit>
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

    m_countLabel = new QLabel(central);
    m_countLabel->setAlignment(Qt::AlignCenter);

    m_pageTitle = new QLabel(central);
    QFont pageTitleFont = m_pageTitle->font();
    pageTitleFont.setBold(true);
    m_pageTitle->setFont(pageTitleFont);
    m_pageText = new QPlainTextEdit(central);
    m_pageText->setReadOnly(true);
    m_pageTitle->hide();
    m_pageText->hide();

    layout->addStretch();
    layout->addWidget(title);
    layout->addWidget(m_folderLabel);
    layout->addWidget(m_countLabel);
    layout->addWidget(m_pageTitle);
    layout->addWidget(m_pageText, 1);
    layout->addStretch();
    setCentralWidget(central);
    resize(640, 420);
}

void StartWindow::setPageCount(qsizetype count)
{
    m_countLabel->setText(tr("%n page(s)", nullptr, int(count)));
}

void StartWindow::showPage(const QString &title, const QString &text)
{
    m_pageTitle->setText(title);
    m_pageText->setPlainText(text);
    m_pageTitle->show();
    m_pageText->show();
}

void StartWindow::changeEvent(QEvent *event)
{
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow())
        Q_EMIT activated();
}

void StartWindow::closeEvent(QCloseEvent *event)
{
    QMainWindow::closeEvent(event);
    if (event->isAccepted())
        Q_EMIT closing();
}
