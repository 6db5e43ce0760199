#include "NoteWindowController.h"

#include "FindBar.h"
#include "NoteMainWindow.h"
#include "NoteOutlineView.h"
#include "NoteTextView.h"
#include "NoteTreeController.h"
#include "NoteTreeHost.h"
#include "SearchController.h"
#include "WindowFrames.h"
#include "model/JWMemo.h"
#include "model/DataStore.h"
#include "model/JWWindowAttribute.h"
#include "model/MemoTree.h"
#include "model/MemoTreeHost.h"
#include "platform/base/NotificationCenter.h"
#include "platform/base/NotificationNames.h"
#include "platform/base/PreferenceKeys.h"
#include "platform/settings/FolderPaths.h"
#include "platform/settings/UserDefaults.h"
#include "util/GeometryStrings.h"

#include <QAction>
#include <QDesktopServices>
#include <QDockWidget>
#include <QFrame>
#include <QHBoxLayout>
#include <QPushButton>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QProcess>
#include <QTabWidget>
#include <QScreen>
#include <QStackedWidget>
#include <QStatusBar>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

// The side panel's edge as the window record numbers it: 0 left, 1 bottom, 2 right, 3 top.
Qt::DockWidgetArea areaForEdge(int edge)
{
    switch (edge) {
    case 0:
        return Qt::LeftDockWidgetArea;
    case 1:
        return Qt::BottomDockWidgetArea;
    case 3:
        return Qt::TopDockWidgetArea;
    default:
        return Qt::RightDockWidgetArea;
    }
}

int edgeForArea(Qt::DockWidgetArea area)
{
    switch (area) {
    case Qt::LeftDockWidgetArea:
        return 0;
    case Qt::BottomDockWidgetArea:
        return 1;
    case Qt::TopDockWidgetArea:
        return 3;
    default:
        return 2;
    }
}

QList<QRect> availableScreens()
{
    QList<QRect> screens;
    for (const QScreen *screen : QGuiApplication::screens())
        screens.append(screen->availableGeometry());
    return screens;
}

int primaryScreenHeight()
{
    const QScreen *primary = QGuiApplication::primaryScreen();
    return primary ? primary->geometry().height() : 0;
}

} // namespace

NoteWindowController::NoteWindowController(NoteTreeHost &host, QObject *parent)
    : NoteWindow(parent)
    , m_host(host)
{
    buildWindow();
    m_treeController = std::make_unique<NoteTreeController>(m_host, *this, *m_outline);
    m_searchController = std::make_unique<SearchController>(*m_treeController, *m_textView);
    m_drawerTabs->addTab(m_searchController->pane(), tr("Search"));
    connect(
        m_searchController.get(), &SearchController::searchPaneRequested, this, &NoteWindowController::showSearchPane);
    // The keyword searched for is what the find bar looks for in the page.
    connect(m_searchController.get(), &SearchController::searchKeywordChanged, this,
        [this] { m_findBar->setFindText(m_searchController->searchKeyword()); });
    connect(&m_treeController->undoStack(), &QUndoStack::indexChanged, this, [this] { m_pageEditIsLatest = true; });
    buildMenus();
    buildToolbar();
    registerMyNotifications();
    updateStoreBar();
}

NoteWindowController::~NoteWindowController()
{
    NotificationCenter::defaultCenter().removeObserver(this);
    for (const auto &connection : std::as_const(m_memoConnections))
        QObject::disconnect(connection);
    // The view's last signals, as it lets go of its text, are not edits.
    m_textView->disconnect(this);
    m_window->disconnect(this);
    m_treeController->disconnect(this);
    m_treeController->undoStack().disconnect(this);
    // The page must not keep a view that is about to go.
    if (const MemoPtr shown = m_treeController ? m_treeController->selection() : nullptr)
        shown->resignText(m_textView);
    m_searchController.reset();
    m_treeController.reset();
}

void NoteWindowController::buildWindow()
{
    m_window = std::make_unique<NoteMainWindow>();
    m_window->setObjectName(QStringLiteral("noteWindow"));
    m_window->setMinimumSize(WindowFrames::kMinimumSide, WindowFrames::kMinimumSide);

    m_pages = new QStackedWidget(m_window.get());
    m_textView = new NoteTextView(m_pages);
    m_textView->setObjectName(QStringLiteral("noteTextView"));
    m_textView->setLinkClickHost(this);
    m_textView->installEventFilter(this);
    m_webPlaceholder = new QLabel(m_pages);
    m_webPlaceholder->setObjectName(QStringLiteral("webClipPlaceholder"));
    m_webPlaceholder->setAlignment(Qt::AlignCenter);
    m_webPlaceholder->setWordWrap(true);
    m_webPlaceholder->setTextInteractionFlags(Qt::TextBrowserInteraction);
    m_webPlaceholder->setOpenExternalLinks(true);
    m_pages->addWidget(m_textView);
    m_pages->addWidget(m_webPlaceholder);
    m_notice = new QLabel(m_window.get());
    m_notice->setObjectName(QStringLiteral("unreadableTextNotice"));
    m_notice->setWordWrap(true);
    m_notice->setMargin(6);
    m_notice->setStyleSheet(QStringLiteral("background: #fff3c4; color: #5a4600;"));
    m_notice->setText(tr("The formatting of this page could not be read, so it is shown as plain text. "
                         "The page is kept as it is on disk until you edit it."));
    m_notice->hide();
    auto *central = new QWidget(m_window.get());
    auto *column = new QVBoxLayout(central);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    // The data folder's problems: a failed save, a data file kept aside.
    auto *storeBar = new QFrame(central);
    storeBar->setObjectName(QStringLiteral("storeProblemBar"));
    storeBar->setStyleSheet(QStringLiteral("#storeProblemBar { background: #fde2e1; } QLabel { color: #6b1010; }"));
    auto *barRow = new QHBoxLayout(storeBar);
    barRow->setContentsMargins(8, 4, 8, 4);
    m_storeBarText = new QLabel(storeBar);
    m_storeBarText->setObjectName(QStringLiteral("storeProblemText"));
    m_storeBarText->setWordWrap(true);
    m_storeBarText->setTextInteractionFlags(Qt::TextSelectableByMouse);
    barRow->addWidget(m_storeBarText, 1);
    auto *saveAgain = new QPushButton(tr("Save Again"), storeBar);
    saveAgain->setObjectName(QStringLiteral("saveAgainButton"));
    connect(saveAgain, &QPushButton::clicked, this, [this] {
        if (MemoTreeHost *application = m_host.memoTree().host())
            application->saveNow();
    });
    auto *recover = new QPushButton(tr("Recover Pages From Page Files"), storeBar);
    recover->setObjectName(QStringLiteral("recoverPagesButton"));
    connect(recover, &QPushButton::clicked, this, &NoteWindowController::recoverPagesFromPageFiles);
    auto *dismiss = new QPushButton(tr("Dismiss"), storeBar);
    dismiss->setObjectName(QStringLiteral("dismissStoreNoteButton"));
    connect(dismiss, &QPushButton::clicked, this, [this] {
        m_setAsideNoteDismissed = true;
        updateStoreBar();
    });
    barRow->addWidget(saveAgain);
    barRow->addWidget(recover);
    barRow->addWidget(dismiss);
    m_storeBar = storeBar;
    m_saveAgainButton = saveAgain;
    m_recoverButton = recover;
    m_dismissButton = dismiss;
    storeBar->hide();
    column->addWidget(storeBar);
    column->addWidget(m_notice);
    column->addWidget(m_pages);
    m_findBar = new FindBar(*m_textView, central);
    column->addWidget(m_findBar);
    // The page handle: where the shown page stands, each step a link to that page.
    m_pageHandle = new QLabel(m_window.get());
    m_pageHandle->setObjectName(QStringLiteral("pageHandle"));
    m_pageHandle->setFixedHeight(kPageHandleHeight);
    m_pageHandle->setContentsMargins(8, 0, 8, 0);
    m_pageHandle->setTextFormat(Qt::RichText);
    m_pageHandle->hide();
    connect(m_pageHandle, &QLabel::linkActivated, this, [this](const QString &link) {
        if (const MemoPtr memo = noteDataWithID(link.mid(int(qstrlen("page:"))).toLongLong()))
            showMemoInThisWindow(memo);
    });
    column->addWidget(m_pageHandle);
    m_window->setCentralWidget(central);

    m_drawer = new QDockWidget(tr("Pages"), m_window.get());
    m_drawer->setObjectName(QStringLiteral("drawer"));
    m_drawer->setFeatures(QDockWidget::DockWidgetMovable | QDockWidget::DockWidgetClosable);
    m_drawerTabs = new QTabWidget(m_drawer);
    m_drawerTabs->setObjectName(QStringLiteral("drawerTabView"));
    m_drawerTabs->setDocumentMode(true);
    m_outline = new NoteOutlineView(m_drawerTabs);
    m_outline->setObjectName(QStringLiteral("titleOutline"));
    m_drawerTabs->addTab(m_outline, tr("Outline"));
    m_drawer->setWidget(m_drawerTabs);
    m_window->addDockWidget(Qt::LeftDockWidgetArea, m_drawer);

    m_wordsCounter = new QLabel(m_window.get());
    m_wordsCounter->setObjectName(QStringLiteral("wordsCounter"));
    m_charsCounter = new QLabel(m_window.get());
    m_charsCounter->setObjectName(QStringLiteral("charsCounter"));
    m_window->statusBar()->addPermanentWidget(m_wordsCounter);
    m_window->statusBar()->addPermanentWidget(m_charsCounter);

    connect(m_window.get(), &NoteMainWindow::activated, this, &NoteWindow::becameKey);
    connect(m_window.get(), &NoteMainWindow::closing, this, &NoteWindowController::windowWillClose);
    connect(m_textView, &QTextEdit::textChanged, this, [this] {
        if (!isLoadingText())
            textDidChanged();
    });
    connect(m_textView, &NoteTextView::textSummaryChanged, this, &NoteWindowController::updateTextSummary);
    connect(m_textView, &NoteTextView::editLinkRequested, this, &NoteWindowController::editLink);
    connect(m_textView, &NoteTextView::changeTextBackgroundColorRequested, this,
        &NoteWindowController::chooseTextBackgroundColor);
}

void NoteWindowController::registerMyNotifications()
{
    NotificationCenter &center = NotificationCenter::defaultCenter();
    center.addObserver(this, NotificationNames::JW3SaveData, nullptr, [this](const Notification &) { save(); });
    center.addObserver(
        this, DataStore::stateChangedNotification(), nullptr, [this](const Notification &) { updateStoreBar(); });
    center.addObserver(
        this, NotificationNames::JW3UpdateTextSummary, nullptr, [this](const Notification &) { updateTextSummary(); });
    center.addObserver(this, NotificationNames::JW3MemoTitleHasChanged, nullptr, [this](const Notification &note) {
        if (m_rootMemo && note.object == m_rootMemo.get())
            m_window->setWindowTitle(windowTitle());
        updatePageHandle();
    });
    center.addObserver(
        this, NotificationNames::JW3ReloadOutlineData, nullptr, [this](const Notification &) { updatePageHandle(); });
    connect(m_treeController.get(), &NoteTreeController::selectionChanged, this, [this] {
        // No page shown (one just locked, say): nothing of it stays on screen.
        if (!m_treeController->selection()) {
            m_pages->setCurrentWidget(m_textView);
            m_notice->hide();
            m_pageHandle->clear();
        }
        m_searchController->highlightKeysInText();
        validateActions();
    });
    connect(&m_treeController->undoStack(), &QUndoStack::indexChanged, this, &NoteWindowController::validateActions);
    // A title confirmed with Enter is done with: the keyboard goes on to the page's text.
    connect(m_outline, &NoteOutlineView::titleSubmitted, this, [this] {
        if (m_pages->currentWidget() == m_textView && m_treeController->countSelection() == 1)
            m_textView->setFocus(Qt::OtherFocusReason);
    });
}

// --- NoteWindow -----------------------------------------------------------------------------

void NoteWindowController::setRootMemo(const MemoPtr &root)
{
    if (m_rootMemo || !root)
        return;
    m_rootMemo = root;
    JWWindowAttribute *attribute = root->windowAttribute().get();
    connect(attribute, &JWWindowAttribute::floatingChanged, this, &NoteWindowController::setWindowLevel);
    connect(attribute, &JWWindowAttribute::showPageHandleChanged, this, &NoteWindowController::switchPageHandle);
    // Should showing the page bring the application down, the next start
    // must not reopen the window and fall again: the mark is on disk until
    // the page is shown.
    UserDefaults &defaults = UserDefaults::standardUserDefaults();
    defaults.setValue(PreferenceKeys::OpeningWindowHasProblem, true);
    (void)defaults.synchronize();
    m_treeController->setRootMemo(root);
    m_searchController->clearKeyword();
    const MemoPtr show = setWindowAttribute();
    m_outline->restoreExpandedItems();
    // A page behind the password is asked for once the window is on screen.
    if (show)
        m_treeController->setSelection(show);
    defaults.removeObjectForKey(PreferenceKeys::OpeningWindowHasProblem);
    validateActions();
}

MemoPtr NoteWindowController::selectedMemo() const
{
    return m_treeController->selection();
}

void NoteWindowController::selectMemo(const MemoPtr &memo)
{
    if (memo)
        m_treeController->setSelection(memo);
}

QWidget *NoteWindowController::windowWidget() const
{
    return m_window.get();
}

QWidget *NoteWindowController::window() const
{
    return m_window.get();
}

void NoteWindowController::showWindow()
{
    m_window->show();
    if (m_drawerExtent) {
        m_window->resizeDocks({m_drawer}, {m_drawerExtent->first}, m_drawerExtent->second);
        m_drawerExtent.reset();
    }
    m_window->raise();
    m_window->activateWindow();
    m_textView->setFocus();
    m_treeController->askForWaitingPage();
}

void NoteWindowController::performClose()
{
    m_window->close();
}

bool NoteWindowController::takeDeviceEdits()
{
    const bool was = m_iPhoneMemoIsEdited;
    m_iPhoneMemoIsEdited = false;
    return was;
}

QUndoStack *NoteWindowController::undoStack()
{
    return &m_treeController->undoStack();
}

void NoteWindowController::makeIconWindowAtBackground()
{
    if (UserDefaults::standardUserDefaults().boolForKey(PreferenceKeys::IconAtBackGround))
        makeIconWindow();
}

void NoteWindowController::makeIconWindow()
{
    m_window->showMinimized();
}

void NoteWindowController::windowWillClose()
{
    if (m_closing)
        return;
    m_closing = true;
    save();
    m_outline->saveExpandedItems();
    Q_EMIT willClose();
}

QString NoteWindowController::windowTitle() const
{
    // The whole notebook's window bears the application's name; others their page's title.
    if (!m_rootMemo || m_rootMemo == m_host.memoTree().root())
        return appName();
    return m_rootMemo->title().isEmpty() ? tr("Untitled") : m_rootMemo->title();
}

// --- The window record --------------------------------------------------------------------------

MemoPtr NoteWindowController::setWindowAttribute()
{
    JWWindowAttribute &attribute = *m_rootMemo->windowAttribute();
    const QRectF stored = attribute.windowFrameStr().isEmpty()
        ? attribute.windowFrame()
        : GeometryStrings::rectFromString(attribute.windowFrameStr());
    const QSize fallback(960, 640);
    QRect onScreen = WindowFrames::toScreen(stored, primaryScreenHeight());
    // The stored frame always counts the page handle; a hidden one takes no room.
    if (!attribute.showPageHandle() && onScreen.height() > kPageHandleHeight)
        onScreen.setHeight(onScreen.height() - kPageHandleHeight);
    QRect frame = WindowFrames::keptOnScreen(onScreen, availableScreens(), fallback);
    // A window that was never placed opens at a comfortable size in the
    // middle of the screen, not in the small corner spot the record starts with.
    const QScreen *primary = QGuiApplication::primaryScreen();
    if (attribute.windowFrameStr().isEmpty() && attribute.windowFrame() == JWWindowAttribute::kDefaultWindowFrame
        && primary) {
        const QRect screen = primary->availableGeometry();
        frame.setSize(fallback.boundedTo(screen.size()));
        frame.moveCenter(screen.center());
    }
    const bool neverPlaced = attribute.windowFrameStr().isEmpty();
    m_window->move(frame.topLeft());
    m_window->resize(frame.size());
    m_window->setWindowTitle(windowTitle());

    m_window->removeDockWidget(m_drawer);
    const Qt::DockWidgetArea area = areaForEdge(attribute.drawerEdge());
    m_window->addDockWidget(area, m_drawer);
    const QSizeF drawerSize = attribute.drawerSize();
    const bool across = area == Qt::LeftDockWidgetArea || area == Qt::RightDockWidgetArea;
    int extent = int(across ? drawerSize.width() : drawerSize.height());
    // Titles need more room than the record's first size gives them.
    if (neverPlaced && across)
        extent = std::max(extent, 240);
    if (extent > 0) {
        m_window->resizeDocks({m_drawer}, {extent}, across ? Qt::Horizontal : Qt::Vertical);
        // A hidden window lays its panels out again when shown; the size is given again then.
        m_drawerExtent = {extent, across ? Qt::Horizontal : Qt::Vertical};
    }
    m_drawer->setVisible(attribute.showDrawer());
    m_formatBar->setVisible(attribute.rulerIsVisible());

    setWindowLevel();
    setWindowTransparency();
    switchPageHandle();

    const qint64 wanted = attribute.selectionID();
    MemoPtr show = wanted ? m_host.memoTree().noteDataWithID(wanted) : MemoPtr();
    if (!show || !m_host.memoTree().isSubItemOfMemo(show, m_rootMemo) || show == m_rootMemo)
        show = m_rootMemo->children().empty() ? MemoPtr() : m_rootMemo->children().front();
    return show;
}

void NoteWindowController::saveWindowAttribute()
{
    if (!m_rootMemo)
        return;
    JWWindowAttribute &attribute = *m_rootMemo->windowAttribute();
    QRect shown(m_window->frameGeometry().topLeft(), m_window->size());
    if (!attribute.showPageHandle())
        shown.setHeight(shown.height() + kPageHandleHeight);
    const QRectF frame = WindowFrames::fromScreen(shown, primaryScreenHeight());
    attribute.setWindowFrame(frame);
    attribute.setWindowFrameStr(GeometryStrings::stringFromRect(frame));
    if (const MemoPtr selected = selectedMemo())
        attribute.setSelectionID(selected->memoID());
    attribute.setIconized(m_window->isMinimized());
    attribute.setShowDrawer(!m_drawer->isHidden());
    attribute.setDrawerEdge(edgeForArea(m_window->dockWidgetArea(m_drawer)));
    attribute.setDrawerSize(QSizeF(m_drawer->width(), m_drawer->height()));
    attribute.setRulerIsVisible(!m_formatBar->isHidden());
    Q_EMIT windowAttributeSaved();
}

void NoteWindowController::setWindowLevel()
{
    if (!m_rootMemo)
        return;
    const bool floating = m_rootMemo->windowAttribute()->floating();
    if (m_window->windowFlags().testFlag(Qt::WindowStaysOnTopHint) == floating)
        return;
    const bool visible = m_window->isVisible();
    m_window->setWindowFlag(Qt::WindowStaysOnTopHint, floating);
    // Changing the flags hides a window; it comes back where it was.
    if (visible)
        m_window->show();
    if (QAction *floatAction = action(QStringLiteral("floatingAction")))
        floatAction->setChecked(floating);
}

void NoteWindowController::setWindowTransparency()
{
    const JWWindowAttribute &attribute = *m_rootMemo->windowAttribute();
    if (!attribute.noteWindowChangeAlphaValue()) {
        m_window->setOpacities(1.0, 1.0);
        return;
    }
    m_window->setOpacities(attribute.noteWindowAlphaValue(), attribute.noteWindowAlphaValueAtPoint());
}

// --- Selection ------------------------------------------------------------------------------------

void NoteWindowController::setSelection(const MemoPtr &memo)
{
    if (!memo)
        return;
    m_textView->setSelectedMemo(memo);
    if (!memo->webURLStr().isEmpty()) {
        // There is no web view in the window: the page's address stands in,
        // and the desktop's browser shows the page.
        memo->setModifiedAt(QDateTime::currentDateTimeUtc());
        m_webPlaceholder->setText(tr("<p><b>%1</b></p><p>This page is a web clip of<br><a href=\"%2\">%2</a></p>"
                                     "<p>The link opens it in your browser.</p>")
                                      .arg(memo->title().toHtmlEscaped(), memo->webURLStr().toHtmlEscaped()));
        m_pages->setCurrentWidget(m_webPlaceholder);
    } else {
        m_pages->setCurrentWidget(m_textView);
    }
    ++m_loadingText;
    memo->setText(m_textView);
    --m_loadingText;
    m_notice->setVisible(memo->textIsUnreadable() && m_pages->currentWidget() == m_textView);
    observeSelection(memo);
    applyViewSwitches();
    updateTextSummary();
    updatePageHandle();
}

void NoteWindowController::switchPageHandle()
{
    const bool show = m_rootMemo && m_rootMemo->windowAttribute()->showPageHandle();
    m_pageHandle->setVisible(show);
    if (QAction *handleAction = action(QStringLiteral("pageHandleAction")))
        handleAction->setChecked(show);
    updatePageHandle();
}

void NoteWindowController::updatePageHandle()
{
    const MemoPtr memo = m_treeController ? m_treeController->selection() : MemoPtr();
    if (m_pageHandle->isHidden() || !memo || !m_rootMemo)
        return;
    // From the page up to the window's root, then read downwards.
    QStringList steps;
    MemoTree &tree = m_host.memoTree();
    for (MemoPtr step = tree.parentOfMemo(memo); step && step != m_rootMemo; step = tree.parentOfMemo(step)) {
        steps.prepend(
            QStringLiteral("<a href=\"page:%1\">%2</a>").arg(step->memoID()).arg(step->title().toHtmlEscaped()));
    }
    steps.append(QStringLiteral("<b>%1</b>").arg(memo->title().toHtmlEscaped()));
    m_pageHandle->setText(steps.join(QStringLiteral(" &#8250; ")));
}

void NoteWindowController::resignSelection(const MemoPtr &memo)
{
    if (!memo)
        return;
    ++m_loadingText;
    memo->resignText(m_textView);
    --m_loadingText;
}

void NoteWindowController::saveDataToMemo(const MemoPtr &memo)
{
    // The text stays in the view as it is, so typing and Undo go on across saves.
    if (memo)
        memo->takeTextFromView(m_textView);
}

void NoteWindowController::save()
{
    m_treeController->save();
    saveWindowAttribute();
    m_isEdited = false;
}

void NoteWindowController::observeSelection(const MemoPtr &memo)
{
    for (const auto &connection : std::as_const(m_memoConnections))
        QObject::disconnect(connection);
    m_memoConnections.clear();
    m_observedMemo = memo;
    JWMemo *page = memo.get();
    m_memoConnections << connect(page, &JWMemo::titleChanged, this, [this, page] {
        if (UserDefaults::standardUserDefaults().boolForKey(PreferenceKeys::UseTopLineAsTitle) && !isLoadingText()
            && page->title() != m_textView->topLine()) {
            ++m_loadingText;
            m_textView->changeTitle(page->title());
            --m_loadingText;
        }
    });
    m_memoConnections << connect(page, &JWMemo::showRulerChanged, this, &NoteWindowController::applyViewSwitches);
    m_memoConnections << connect(page, &JWMemo::showLineNumbersChanged, this, &NoteWindowController::applyViewSwitches);
    m_memoConnections << connect(page, &JWMemo::isPlainTextMemoChanged, this, [this, page] {
        m_treeController->setTextEditCanEdit();
        if (page->isPlainTextMemo()) {
            // Made plain: the formatting goes, the words stay.
            const QString words = m_textView->toPlainText();
            m_textView->setString(words);
        }
        applyViewSwitches();
    });
    m_memoConnections << connect(
        page, &JWMemo::lockedChanged, m_treeController.get(), &NoteTreeController::setTextEditCanEdit);
}

void NoteWindowController::applyViewSwitches()
{
    const MemoPtr memo = m_observedMemo;
    if (!memo)
        return;
    m_formatBar->setVisible(memo->showRuler() || m_rootMemo->windowAttribute()->rulerIsVisible());
    showLineNumbers(memo->showLineNumbers());
    // Qt lays text out horizontally only; a vertical page is shown as horizontal text.
    const auto check = [this](const char *name, bool on) {
        if (QAction *switchAction = action(QLatin1StringView(name)))
            switchAction->setChecked(on);
    };
    check("plainTextAction", memo->isPlainTextMemo());
    check("scaleImagesAction", memo->scaleImages());
    check("lineNumbersAction", memo->showLineNumbers());
    check("rulerAction", memo->showRuler());
    check("lockAction", memo->locked());
    check("protectAction", memo->protectWithPassword());
}

void NoteWindowController::showLineNumbers(bool show)
{
    m_textView->setLineNumbersVisible(show);
}

// --- Text ---------------------------------------------------------------------------------------

bool NoteWindowController::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_textView && event->type() == QEvent::ShortcutOverride) {
        // The text view claims Undo and Redo for its own text; left unclaimed,
        // the keys reach the Edit menu, which undoes the page edit.
        const auto *key = static_cast<QKeyEvent *>(event);
        if ((key->matches(QKeySequence::Undo) && undoesPageEdit(false))
            || (key->matches(QKeySequence::Redo) && undoesPageEdit(true))) {
            event->ignore();
            return true;
        }
    }
    if (watched == m_textView && event->type() == QEvent::KeyPress) {
        const auto *key = static_cast<QKeyEvent *>(event);
        m_lastEditWasTyping = !key->modifiers().testFlag(Qt::ControlModifier);
    } else if (watched == m_textView && (event->type() == QEvent::MouseButtonPress || event->type() == QEvent::Drop)) {
        m_lastEditWasTyping = false;
    }
    return NoteWindow::eventFilter(watched, event);
}

void NoteWindowController::textDidChanged()
{
    m_isEdited = true;
    m_pageEditIsLatest = false;
    const MemoPtr memo = selectedMemo();
    if (!memo || m_treeController->countSelection() != 1)
        return;
    if (memo->webURLStr().isEmpty())
        memo->setIsEdited(true);
    setEditedIfIsiPhoneMemo(memo);
    if (!UserDefaults::standardUserDefaults().boolForKey(PreferenceKeys::UseTopLineAsTitle))
        return;
    // Typing further down leaves the title alone; pasting and typing in the first line update it.
    if (m_lastEditWasTyping && !m_textView->editedInTopLine())
        return;
    const QString title = m_textView->topLine();
    if (title != memo->title()) {
        ++m_loadingText;
        memo->setTitle(title);
        --m_loadingText;
    }
}

void NoteWindowController::updateTextSummary()
{
    const MemoPtr memo = selectedMemo();
    if (!memo || m_treeController->countSelection() != 1) {
        m_charsCounter->clear();
        m_wordsCounter->clear();
        return;
    }
    const QVariantMap summary = m_textView->textSummaryDictionary();
    const QString length = summary.value(QStringLiteral("length")).toString();
    const QString selected = summary.value(QStringLiteral("selectedLength")).toString();
    const bool nothingSelected = summary.value(QStringLiteral("selectedLength")).toLongLong() == 0;
    memo->setSummary(summary.value(QStringLiteral("summary")).toString());
    memo->setCharactersCount(nothingSelected
            ? QStringLiteral("(%1)/%2").arg(summary.value(QStringLiteral("location")).toString(), length)
            : QStringLiteral("%1/%2").arg(selected, length));
    if (summary.contains(QStringLiteral("selectedWords")))
        memo->setWordsCount(QStringLiteral("%1/%2").arg(summary.value(QStringLiteral("selectedWords")).toString(),
            summary.value(QStringLiteral("words")).toString()));
    m_charsCounter->setText(tr("Characters %1").arg(memo->charactersCount()));
    m_wordsCounter->setText(tr("Words %1").arg(memo->wordsCount()));
    m_charsCounter->setToolTip(memo->summary());
    m_wordsCounter->setToolTip(memo->summary());
}

QString NoteWindowController::charactersCounterText() const
{
    return m_charsCounter->text();
}

QString NoteWindowController::wordsCounterText() const
{
    return m_wordsCounter->text();
}

void NoteWindowController::titleHasBeenChanged(const MemoPtr &memo)
{
    if (memo == m_rootMemo)
        m_window->setWindowTitle(windowTitle());
    if (memo == selectedMemo() && UserDefaults::standardUserDefaults().boolForKey(PreferenceKeys::UseTopLineAsTitle)) {
        ++m_loadingText;
        m_textView->changeTitle(memo->title());
        --m_loadingText;
    }
}

// --- The tree controller's window side ---------------------------------------------------------------

MemoPtr NoteWindowController::iPhoneRootMemo() const
{
    const QString group = UserDefaults::standardUserDefaults().stringForKey(PreferenceKeys::abGroupName);
    MemoTree &tree = m_host.memoTree();
    return group.isEmpty() ? MemoPtr() : tree.memoWithTitleIndexFrom(group, tree.root(), 0);
}

void NoteWindowController::setEditedIfIsiPhoneMemo(const MemoPtr &memo)
{
    const MemoPtr group = iPhoneRootMemo();
    if (group && memo && m_host.memoTree().isSubItemOfMemo(memo, group))
        m_iPhoneMemoIsEdited = true;
}

void NoteWindowController::addNewTabWithMemo(const MemoPtr &memo)
{
    // There are no tabs yet: the page opens in a window of its own.
    if (memo)
        (void)m_host.openWindowAndShowMemo(memo);
}

void NoteWindowController::goToTitleView()
{
    m_drawer->show();
    m_outline->setFocus();
    const QModelIndex current = m_outline->currentIndex();
    if (current.isValid() && m_treeController->countSelection() == 1)
        m_outline->edit(current);
}

void NoteWindowController::updateStoreBar()
{
    const QString failure = m_host.saveFailure();
    const QString aside = m_setAsideNoteDismissed ? QString() : m_host.setAsideDataFile();
    QStringList lines;
    if (!failure.isEmpty())
        lines
            << tr("Your changes could not be saved: %1 They are kept, and saved again at the next save.").arg(failure);
    if (!aside.isEmpty())
        lines << tr("The data file could not be read and was kept as %1. The pages' texts are still in their page "
                    "files: Recover Pages From Page Files brings them back.")
                     .arg(aside);
    m_storeBarText->setText(lines.join(u'\n'));
    m_saveAgainButton->setVisible(!failure.isEmpty());
    m_recoverButton->setVisible(!aside.isEmpty());
    m_dismissButton->setVisible(!aside.isEmpty());
    m_storeBar->setVisible(!lines.isEmpty());
}

void NoteWindowController::recoverPagesFromPageFiles()
{
    auto recovered = m_host.recoverPagesFromPageFiles();
    showStatus(recovered ? recovered.value() : recovered.errorMessage());
}

void NoteWindowController::showStatus(const QString &message)
{
    m_window->statusBar()->showMessage(message, 8000);
}

// --- Links ------------------------------------------------------------------------------------------

MemoPtr NoteWindowController::noteDataWithID(qint64 memoID)
{
    return m_host.memoTree().noteDataWithID(memoID);
}

void NoteWindowController::openWindowAndShowMemo(const MemoPtr &memo)
{
    (void)m_host.openWindowAndShowMemo(memo);
}

void NoteWindowController::showMemoInThisWindow(const MemoPtr &memo)
{
    if (m_rootMemo && memo != m_rootMemo && m_host.memoTree().isSubItemOfMemo(memo, m_rootMemo))
        m_treeController->setSelection(memo);
    else
        (void)m_host.openWindowAndShowMemo(memo);
}

bool NoteWindowController::openUrl(const QUrl &url)
{
    return QDesktopServices::openUrl(url);
}

bool NoteWindowController::openLocation(const QString &location)
{
    // A "message:" location must reach the mail program as written, with its
    // angle brackets, which a QUrl would escape again.
    return QProcess::startDetached(QStringLiteral("xdg-open"), {location});
}

// --- Recent and favourite pages ----------------------------------------------------------------------

void NoteWindowController::fillMemoMenu(QMenu &menu, const QString &heading, const QList<MemoPtr> &memos)
{
    menu.clear();
    menu.addSection(heading);
    for (qsizetype i = 0; i < memos.size() && i < kMaximumListedMemos; ++i) {
        const MemoPtr memo = memos.at(i);
        QAction *item = menu.addAction(memo->title().isEmpty() ? tr("Untitled") : memo->title());
        item->setData(int(1000 + i));
        std::weak_ptr<JWMemo> page = memo;
        connect(item, &QAction::triggered, this, [this, page] {
            if (const MemoPtr chosen = page.lock())
                showMemoInThisWindow(chosen);
        });
    }
}

void NoteWindowController::updateRecentItems(QMenu &menu)
{
    fillMemoMenu(menu, tr("Recent Pages"), m_host.memoTree().recentMemos(m_rootMemo));
    menu.addSeparator();
    connect(menu.addAction(tr("List All in the Search Pane")), &QAction::triggered, m_searchController.get(),
        &SearchController::showRecentItems);
}

void NoteWindowController::updateFavoriteItems(QMenu &menu)
{
    fillMemoMenu(menu, tr("Favourite Pages"), m_host.memoTree().favoriteMemos(m_rootMemo));
    menu.addSeparator();
    connect(menu.addAction(tr("List All in the Search Pane")), &QAction::triggered, m_searchController.get(),
        &SearchController::showFavoriteItems);
}

// --- Search -------------------------------------------------------------------------------------

void NoteWindowController::showSearchPane()
{
    m_drawer->show();
    m_drawerTabs->setCurrentWidget(m_searchController->pane());
    m_searchController->searchField().setFocus(Qt::ShortcutFocusReason);
    m_searchController->searchField().selectAll();
}
