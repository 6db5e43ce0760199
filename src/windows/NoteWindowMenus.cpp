// The note window's menus and toolbar: every command a page, the outline
// and the text offer, with the usual shortcuts, enabled as the outline's
// state allows.

#include "exchange/JW3iPodWriter.h"
#include "NoteWindowController.h"

#include "LinkPanelController.h"
#include "MenuTags.h"
#include "NoteMainWindow.h"
#include "NoteOutlineView.h"
#include "NoteTextView.h"
#include "NoteTreeController.h"
#include "NoteTreeHost.h"
#include "FindBar.h"
#include "SearchController.h"
#include "SetPassPanelController.h"
#include "TitleColorPalette.h"
#include "model/JWMemo.h"
#include "model/JWWindowAttribute.h"
#include "model/MemoTree.h"
#include "model/MemoTreeHost.h"
#include "platform/richtext/PointSizes.h"
#include "text/TextHighlight.h"
#include "text/TextStyling.h"
#include "util/PagePassword.h"

#include <QApplication>
#include <QColorDialog>
#include <QDockWidget>
#include <QFontDialog>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPixmap>
#include <QPointer>
#include <QTextCursor>
#include <QToolBar>
#include <QToolButton>

namespace {

TextRange selectionOf(const QTextEdit &view)
{
    const QTextCursor cursor = view.textCursor();
    return {cursor.selectionStart(), cursor.selectionEnd() - cursor.selectionStart()};
}

QIcon swatch(const QColor &color)
{
    QPixmap pixmap(14, 14);
    pixmap.fill(color.alpha() == 0 ? QColor(Qt::white) : color);
    return QIcon(pixmap);
}

// Bold, italic or underline on the selection, or for what is typed next.
void toggleCharacterStyle(QTextEdit &view, int property)
{
    QTextCursor cursor = view.textCursor();
    const QTextCharFormat current = cursor.charFormat();
    QVariant value;
    if (property == QTextFormat::FontWeight)
        value = current.fontWeight() >= QFont::Bold ? int(QFont::Normal) : int(QFont::Bold);
    else
        value = !current.boolProperty(property);
    if (cursor.hasSelection()) {
        TextStyling::setAttribute(*view.document(), property, value, selectionOf(view));
    } else {
        QTextCharFormat typing;
        typing.setProperty(property, value);
        view.mergeCurrentCharFormat(typing);
    }
}

} // namespace

QAction *NoteWindowController::action(const QString &name) const
{
    return m_window->findChild<QAction *>(name);
}

void NoteWindowController::buildMenus()
{
    QMenuBar *bar = m_window->menuBar();
    NoteTreeController *tree = m_treeController.get();
    const auto add = [this](QMenu *menu, const char *name, const QString &text, const QKeySequence &keys, auto slot,
                         MenuTag tag = MenuTag::None) {
        QAction *item = menu->addAction(text);
        item->setObjectName(QLatin1StringView(name));
        item->setShortcut(keys);
        item->setData(static_cast<int>(tag));
        connect(item, &QAction::triggered, this, slot);
        return item;
    };
    const auto checkable = [](QAction *item) {
        item->setCheckable(true);
        return item;
    };

    QMenu *file = bar->addMenu(tr("&File"));
    add(file, "newPageAction", tr("New Page"), QKeySequence::New, [tree] { tree->add(); });
    add(file, "newChildPageAction", tr("New Child Page"), QKeySequence(tr("Ctrl+Shift+N")),
        [tree] { tree->addChild(); });
    file->addSeparator();
    add(
        file, "openInNewWindowAction", tr("Open in New Window"), QKeySequence(tr("Ctrl+Shift+O")),
        [tree] { tree->openNewWindowWithParent(); }, MenuTag::SinglePage);
    add(
        file, "openAsWindowRootAction", tr("Open Sub-pages in New Window"), {},
        [tree] { tree->openNewWindowWithSelection(); }, MenuTag::OpenWithChildren);
    file->addSeparator();
    add(file, "saveAction", tr("Save"), QKeySequence::Save, [this] {
        if (MemoTreeHost *application = m_host.memoTree().host())
            application->saveNow();
        else
            save();
    });
    add(file, "recoverPagesAction", tr("Recover Pages From Page Files"), {}, [this] { recoverPagesFromPageFiles(); });
    add(file, "restoreBackupAction", tr("Restore From Backup..."), {}, [this] { m_host.showRestoreBackupWindow(); });
    file->addSeparator();
    add(file, "importAction", tr("Import..."), QKeySequence(tr("Ctrl+Shift+I")), [this] { openFile(false); });
    add(file, "importFolderAction", tr("Import Folder..."), {}, [this] { openFile(true); });
    add(file, "importEarlierVersionAction", tr("Import Data of an Earlier Version..."), {},
        [this] { importEarlierVersion(); });
    add(file, "importFirstVersionAction", tr("Import Data of the First Version"), {}, [this] { importFirstVersion(); });
    add(file, "exportAction", tr("Export..."), QKeySequence(tr("Ctrl+Shift+E")), [this] { exportSelectedPages(); });
    add(
        file, "exportToIPodAction", tr("Copy to Music Player"), {}, [this] { exportToIPod(false); },
        MenuTag::IPodExport);
    add(
        file, "exportAllToIPodAction", tr("Copy Window's Pages to Music Player"), {}, [this] { exportToIPod(true); },
        MenuTag::IPodExportAll);
    add(file, "chooseIPodAction", tr("Choose Music Player Folder..."), {}, [this] { chooseIPodFolder(); });
    file->addSeparator();
    add(file, "syncWindowAction", tr("Sync with Phone..."), {}, [this] { m_host.showSyncWindow(); });
    file->addSeparator();
    add(file, "closeAction", tr("Close Window"), QKeySequence::Close, [this] { performClose(); });
    QAction *quit = add(file, "quitAction", tr("Quit"), QKeySequence::Quit, [] { QCoreApplication::quit(); });
    quit->setMenuRole(QAction::QuitRole);

    QMenu *edit = bar->addMenu(tr("&Edit"));
    add(edit, "undoAction", tr("Undo"), QKeySequence::Undo, [this] { undo(); });
    add(edit, "redoAction", tr("Redo"), QKeySequence::Redo, [this] { redo(); });
    edit->addSeparator();
    add(edit, "deletePageAction", tr("Delete Page"), QKeySequence(tr("Ctrl+Shift+Backspace")),
        [tree] { tree->remove(); });
    edit->addSeparator();
    add(
        edit, "editLinkAction", tr("Link..."), QKeySequence(tr("Ctrl+K")), [this] { editLink(); }, MenuTag::SinglePage);
    add(
        edit, "removeLinkAction", tr("Remove Link"), {}, [this] { m_textView->removeLink(); }, MenuTag::SinglePage);
    add(
        edit, "dateStampAction", tr("Insert Date and Time"), QKeySequence(tr("Ctrl+Shift+D")),
        [this] { m_textView->insertTimeStamp(); }, MenuTag::SinglePage);
    edit->addSeparator();
    add(edit, "findAction", tr("Find..."), QKeySequence::Find, [this] { m_findBar->open(false); });
    add(edit, "replaceAction", tr("Find and Replace..."), QKeySequence(tr("Ctrl+H")),
        [this] { m_findBar->open(true); });
    add(edit, "searchPagesAction", tr("Search Pages"), QKeySequence(tr("Ctrl+Shift+F")), [this] { showSearchPane(); });
    QAction *findNext = add(edit, "findNextAction", tr("Find Next"), QKeySequence(tr("Ctrl+G")),
        [this] { m_searchController->findNext(); });
    findNext->setShortcuts({QKeySequence(tr("Ctrl+G")), QKeySequence(Qt::Key_F3)});
    QAction *findPrevious = add(edit, "findPreviousAction", tr("Find Previous"), QKeySequence(tr("Ctrl+Shift+G")),
        [this] { m_searchController->findPrevious(); });
    findPrevious->setShortcuts({QKeySequence(tr("Ctrl+Shift+G")), QKeySequence(Qt::SHIFT | Qt::Key_F3)});

    QMenu *page = bar->addMenu(tr("&Page"));
    add(
        page, "backAction", tr("Back"), QKeySequence(tr("Alt+Left")), [tree] { tree->moveBack(); }, MenuTag::Back);
    add(
        page, "forwardAction", tr("Forward"), QKeySequence(tr("Alt+Right")), [tree] { tree->moveNext(); },
        MenuTag::Forward);
    page->addSeparator();
    add(page, "moveUpAction", tr("Move Page Up"), QKeySequence(tr("Alt+Shift+Up")), [tree] { tree->outlineMoveUp(); });
    add(page, "moveDownAction", tr("Move Page Down"), QKeySequence(tr("Alt+Shift+Down")),
        [tree] { tree->outlineMoveDown(); });
    add(page, "moveLeftAction", tr("Move Page Out"), QKeySequence(tr("Alt+Shift+Left")),
        [tree] { tree->outlineMoveLeft(); });
    add(page, "moveRightAction", tr("Move Page In"), QKeySequence(tr("Alt+Shift+Right")),
        [tree] { tree->outlineMoveRight(); });
    page->addSeparator();
    add(
        page, "renamePageAction", tr("Rename Page"), QKeySequence(Qt::Key_F2), [this] { goToTitleView(); },
        MenuTag::SinglePage);
    page->addSeparator();
    checkable(add(
        page, "lockAction", tr("Lock Page"), {},
        [this] {
            if (const MemoPtr memo = selectedMemo())
                memo->setLocked(!memo->locked());
        },
        MenuTag::SinglePage));
    checkable(add(
        page, "protectAction", tr("Protect with Password"), {}, [this] { toggleProtection(); }, MenuTag::SinglePage));
    add(page, "setPasswordAction", tr("Set Page Password..."), {}, [this] { setPagePassword(); });
    add(page, "lockProtectedPagesAction", tr("Lock Protected Pages"), {},
        [this] { NoteTreeController::lockProtectedPages(m_host.memoTree()); });
    QMenu *titleColor = page->addMenu(tr("Title Colour"));
    titleColor->setObjectName(QStringLiteral("titleColorMenu"));
    for (const TitleColorPalette::Entry &entry : TitleColorPalette::entries()) {
        QAction *item = titleColor->addAction(swatch(entry.color), entry.name);
        const int tag = entry.tag;
        connect(item, &QAction::triggered, this, [tree, tag] { tree->changeTitleColorByTag(tag); });
    }
    titleColor->addSeparator();
    connect(titleColor->addAction(tr("Other...")), &QAction::triggered, this,
        [tree] { tree->changeTitleColorByTag(NoteTreeController::kCustomTitleColorTag); });
    page->addSeparator();
    checkable(add(page, "floatingAction", tr("Float Above Other Windows"), {}, [this] {
        JWWindowAttribute *attribute = m_rootMemo ? m_rootMemo->windowAttribute().get() : nullptr;
        if (attribute)
            attribute->setFloating(!attribute->floating());
    }));

    QMenu *format = bar->addMenu(tr("F&ormat"));
    add(
        format, "fontAction", tr("Font..."), QKeySequence(tr("Ctrl+T")), [this] { chooseFont(); }, MenuTag::SinglePage);
    add(
        format, "boldAction", tr("Bold"), QKeySequence::Bold,
        [this] { toggleCharacterStyle(*m_textView, QTextFormat::FontWeight); }, MenuTag::SinglePage);
    add(
        format, "italicAction", tr("Italic"), QKeySequence::Italic,
        [this] { toggleCharacterStyle(*m_textView, QTextFormat::FontItalic); }, MenuTag::SinglePage);
    add(
        format, "underlineAction", tr("Underline"), QKeySequence::Underline,
        [this] { toggleCharacterStyle(*m_textView, QTextFormat::FontUnderline); }, MenuTag::SinglePage);
    add(
        format, "textColorAction", tr("Text Colour..."), QKeySequence(tr("Ctrl+Shift+C")),
        [this] { chooseTextColor(); }, MenuTag::SinglePage);
    add(
        format, "highlightAction", tr("Highlight..."), QKeySequence(tr("Ctrl+Shift+H")),
        [this] { chooseTextBackgroundColor(); }, MenuTag::SinglePage);
    format->addSeparator();
    const auto pageSwitch = [this](const char *key) {
        return [this, key] {
            if (const MemoPtr memo = selectedMemo())
                memo->setValue(QLatin1StringView(key), !memo->value(QLatin1StringView(key)).toBool());
            applyViewSwitches();
        };
    };
    checkable(add(format, "plainTextAction", tr("Plain Text"), {}, pageSwitch("isPlainTextMemo"), MenuTag::SinglePage));
    checkable(add(
        format, "scaleImagesAction", tr("Fit Pictures to Width"), {}, pageSwitch("scaleImages"), MenuTag::SinglePage));
    checkable(
        add(format, "lineNumbersAction", tr("Line Numbers"), {}, pageSwitch("showLineNumbers"), MenuTag::SinglePage));
    checkable(add(format, "rulerAction", tr("Format Bar"), {}, pageSwitch("showRuler"), MenuTag::SinglePage));

    QMenu *view = bar->addMenu(tr("&View"));
    QAction *outlineToggle = m_drawer->toggleViewAction();
    outlineToggle->setObjectName(QStringLiteral("showOutlineAction"));
    outlineToggle->setText(tr("Page Outline"));
    outlineToggle->setShortcut(QKeySequence(tr("Ctrl+Shift+L")));
    view->addAction(outlineToggle);
    checkable(add(view, "pageHandleAction", tr("Page Path"), {}, [this] {
        if (JWWindowAttribute *attribute = m_rootMemo ? m_rootMemo->windowAttribute().get() : nullptr)
            attribute->setShowPageHandle(!attribute->showPageHandle());
    }));
    add(view, "expandAllAction", tr("Expand All"), {}, [this] { m_outline->expandEveryItem(); });
    add(view, "collapseAllAction", tr("Collapse All"), {}, [this] { m_outline->collapseEveryItem(); });

    // The format bar stands for the ruler: the styles at hand.
    m_formatBar = new QToolBar(tr("Format"), m_window.get());
    m_formatBar->setObjectName(QStringLiteral("formatBar"));
    for (const char *name :
        {"boldAction", "italicAction", "underlineAction", "textColorAction", "highlightAction", "fontAction"})
        m_formatBar->addAction(action(QLatin1StringView(name)));
    m_window->addToolBar(Qt::TopToolBarArea, m_formatBar);
    m_formatBar->hide();

    connect(m_textView, &QTextEdit::copyAvailable, this, &NoteWindowController::validateActions);

    m_outline->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_outline, &QWidget::customContextMenuRequested, this, [this](const QPoint &position) {
        // The press has already made the row under the pointer the selection.
        const std::unique_ptr<QMenu> menu = outlineMenu();
        menu->exec(m_outline->viewport()->mapToGlobal(position));
    });
}

std::unique_ptr<QMenu> NoteWindowController::outlineMenu()
{
    validateActions();
    auto menu = std::make_unique<QMenu>(m_outline);
    menu->setObjectName(QStringLiteral("outlineMenu"));
    const auto place = [&](std::initializer_list<const char *> names) {
        for (const char *name : names) {
            if (QAction *item = action(QLatin1StringView(name)))
                menu->addAction(item);
        }
    };
    place({"newPageAction", "newChildPageAction"});
    menu->addSeparator();
    place({"renamePageAction", "deletePageAction"});
    menu->addSeparator();
    if (auto *titleColor = m_window->findChild<QMenu *>(QStringLiteral("titleColorMenu")))
        menu->addMenu(titleColor);
    place({"lockAction", "protectAction"});
    menu->addSeparator();
    place({"openInNewWindowAction"});
    return menu;
}

void NoteWindowController::buildToolbar()
{
    QToolBar *toolbar = m_window->addToolBar(tr("Pages"));
    toolbar->setObjectName(QStringLiteral("mainToolbar"));
    toolbar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    toolbar->setMovable(false);
    const auto place = [&](const char *name, QStyle::StandardPixmap icon) {
        QAction *item = action(QLatin1StringView(name));
        item->setIcon(m_window->style()->standardIcon(icon));
        toolbar->addAction(item);
    };
    place("backAction", QStyle::SP_ArrowBack);
    place("forwardAction", QStyle::SP_ArrowForward);
    toolbar->addSeparator();
    place("newPageAction", QStyle::SP_FileIcon);
    place("newChildPageAction", QStyle::SP_FileDialogNewFolder);
    place("deletePageAction", QStyle::SP_TrashIcon);
    toolbar->addSeparator();

    const auto popup = [&](const QString &text, const char *name, void (NoteWindowController::*fill)(QMenu &)) {
        auto *button = new QToolButton(toolbar);
        button->setObjectName(QLatin1StringView(name));
        button->setText(text);
        button->setPopupMode(QToolButton::InstantPopup);
        auto *menu = new QMenu(button);
        connect(menu, &QMenu::aboutToShow, this, [this, menu, fill] { (this->*fill)(*menu); });
        button->setMenu(menu);
        toolbar->addWidget(button);
        return button;
    };
    m_recentButton = popup(tr("Recent"), "recentButton", &NoteWindowController::updateRecentItems);
    m_favoriteButton = popup(tr("Favourites"), "favoriteButton", &NoteWindowController::updateFavoriteItems);

    // The toolbar's search field drives the same search as the side panel's,
    // which opens on its results while the keyboard stays here.
    auto *spacer = new QWidget(toolbar);
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    toolbar->addWidget(spacer);
    auto *field = new QLineEdit(toolbar);
    field->setObjectName(QStringLiteral("toolbarSearchField"));
    field->setPlaceholderText(tr("Search"));
    field->setClearButtonEnabled(true);
    field->setMaximumWidth(240);
    toolbar->addWidget(field);
    connect(field, &QLineEdit::textEdited, this, [this](const QString &keyword) {
        m_drawer->show();
        m_drawerTabs->setCurrentWidget(m_searchController->pane());
        m_searchController->setSearchKeyword(keyword);
    });
    connect(m_searchController.get(), &SearchController::searchKeywordChanged, field, [this, field] {
        if (field->text() != m_searchController->searchKeyword())
            field->setText(m_searchController->searchKeyword());
    });
}

void NoteWindowController::validateActions()
{
    for (QAction *item : m_window->findChildren<QAction *>()) {
        const auto tag = static_cast<MenuTag>(item->data().toInt());
        if (tag == MenuTag::IPodExport || tag == MenuTag::IPodExportAll)
            item->setEnabled(JW3iPodWriter().isiPodReady());
        else if (tag != MenuTag::None)
            item->setEnabled(m_treeController->validateMenuItem(tag));
    }
    if (QAction *undoItem = action(QStringLiteral("undoAction")))
        undoItem->setText(
            undoesPageEdit(false) ? tr("Undo %1").arg(m_treeController->undoStack().undoText()) : tr("Undo"));
    applyViewSwitches();
}

// Undo takes back the latest edit: a page edit (adding, deleting, moving
// pages) made after the last change to the text is undone wherever the
// keyboard is, so that a deletion can be taken back at once even with the
// caret in the text. Otherwise the keyboard's place decides: the text in the
// text view, the page edits anywhere else. Redo follows the same rule.
bool NoteWindowController::undoesPageEdit(bool redo) const
{
    const QUndoStack &pageEdits = m_treeController->undoStack();
    if (!(redo ? pageEdits.canRedo() : pageEdits.canUndo()))
        return false;
    return m_pageEditIsLatest || !m_textView->hasFocus();
}

void NoteWindowController::undo()
{
    if (undoesPageEdit(false))
        m_treeController->undoStack().undo();
    else if (m_textView->hasFocus())
        m_textView->undo();
}

void NoteWindowController::redo()
{
    if (undoesPageEdit(true))
        m_treeController->undoStack().redo();
    else if (m_textView->hasFocus())
        m_textView->redo();
}

void NoteWindowController::editLink()
{
    if (m_linkPanelController || m_treeController->countSelection() != 1)
        return;
    // Any page of the notebook can be linked to, not only those of this window.
    m_linkPanelController = new LinkPanelController(m_textView, m_host.memoTree().root());
    m_linkPanelController->setAttribute(Qt::WA_DeleteOnClose);
    m_linkPanelController->showWindow();
}

void NoteWindowController::chooseTextColor()
{
    const QColor chosen = QColorDialog::getColor(m_textView->textColor(), m_window.get(), tr("Text Colour"));
    if (chosen.isValid())
        TextStyling::changeTextColor(*m_textView->document(), chosen, selectionOf(*m_textView));
}

void NoteWindowController::chooseTextBackgroundColor()
{
    const QColor chosen = QColorDialog::getColor(Qt::yellow, m_window.get(), tr("Highlight"));
    if (chosen.isValid())
        TextHighlight::setBackgroundColor(*m_textView->document(), chosen, selectionOf(*m_textView));
}

void NoteWindowController::chooseFont()
{
    // The dialog speaks in sizes as pages store them, as the size menu does.
    QFont current = m_textView->currentFont();
    current.setPointSizeF(PointSizes::storedFromQt(current.pointSizeF()));
    bool chosen = false;
    QFont font = QFontDialog::getFont(&chosen, current, m_window.get(), tr("Font"));
    if (!chosen)
        return;
    font.setPointSizeF(PointSizes::qtFromStored(font.pointSizeF()));
    QTextCharFormat format;
    format.setFont(font, QTextCharFormat::FontPropertiesSpecifiedOnly);
    if (m_textView->textCursor().hasSelection())
        m_textView->textCursor().mergeCharFormat(format);
    m_textView->mergeCurrentCharFormat(format);
}

void NoteWindowController::toggleProtection()
{
    const MemoPtr memo = selectedMemo();
    if (!memo)
        return;
    // The page stays open until it locks again by itself or the application
    // restarts. Unlocked first: protected while locked, it would leave the screen.
    const auto protect = [](JWMemo &page) {
        page.setUnlockedPassword(true);
        page.setProtectWithPassword(true);
    };
    if (memo->protectWithPassword()) {
        memo->setProtectWithPassword(false);
    } else if (!passwordFromDefault().isEmpty()) {
        protect(*memo);
    } else {
        // Protected by the empty password is not protected at all: one is chosen first.
        auto *sheet = new SetPassPanelController(m_window.get());
        sheet->setServiceName(QCoreApplication::applicationName());
        std::weak_ptr<JWMemo> page = memo;
        QPointer<NoteWindowController> self(this);
        sheet->setFinishedAction([self, page, protect](bool accepted) {
            const MemoPtr chosen = page.lock();
            if (accepted && chosen && !passwordFromDefault().isEmpty())
                protect(*chosen);
            if (self)
                self->applyViewSwitches();
        });
        sheet->runAsSheetForWindow(m_window.get());
    }
    applyViewSwitches();
}

void NoteWindowController::setPagePassword()
{
    auto *sheet = new SetPassPanelController(m_window.get());
    sheet->setServiceName(QCoreApplication::applicationName());
    sheet->runAsSheetForWindow(m_window.get());
}
