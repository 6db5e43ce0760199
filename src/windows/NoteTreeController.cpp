#include "NoteTreeController.h"

#include "ConfirmPassPanelController.h"
#include "NoteOutlineModel.h"
#include "NoteOutlineView.h"
#include "NoteTextView.h"
#include "NoteTreeHost.h"
#include "NoteTreeWindow.h"
#include "NoteWindow.h"
#include "TitleColorPalette.h"
#include "TreeEditCommand.h"
#include "model/JWMemo.h"
#include "model/MemoTree.h"
#include "platform/base/NotificationCenter.h"
#include "platform/base/NotificationNames.h"
#include "platform/base/PreferenceKeys.h"
#include "platform/settings/UserDefaults.h"
#include "util/PagePassword.h"
#include "util/PasswordKeychain.h"

#include <QColorDialog>
#include <QGuiApplication>
#include <QItemSelectionModel>
#include <QMessageBox>
#include <QScreen>
#include <QTimer>

#include <algorithm>
#include <utility>

namespace {

// One reload at a time in the whole process: a reload that makes another
// window reload finds this set and leaves it to the reload under way.
bool g_reloadingOutline = false;

qsizetype indexOfChild(const JWMemo &parent, const JWMemo *child)
{
    const auto &children = parent.children();
    const auto found
        = std::find_if(children.begin(), children.end(), [child](const MemoPtr &each) { return each.get() == child; });
    return found == children.end() ? -1 : qsizetype(found - children.begin());
}

} // namespace

NoteTreeController::NoteTreeController(
    NoteTreeHost &host, NoteTreeWindow &window, NoteOutlineView &outline, QObject *parent)
    : QObject(parent)
    , m_host(host)
    , m_window(window)
    , m_outline(outline)
    , m_model(std::make_unique<NoteOutlineModel>(*this))
{
    m_outline.setController(this);
    registerMyNotifications();
}

NoteTreeController::~NoteTreeController()
{
    NotificationCenter::defaultCenter().removeObserver(this);
    invalidateTimer();
    observeOutlineSelection(false);
    // The view outlives its controller inside the window; it must not ask a dead model.
    m_outline.setModel(nullptr);
}

MemoTree &NoteTreeController::tree() const
{
    return m_host.memoTree();
}

void NoteTreeController::registerMyNotifications()
{
    NotificationCenter &center = NotificationCenter::defaultCenter();
    center.addObserver(this, NotificationNames::JW3MemoTitleHasChanged, nullptr,
        [this](const Notification &note) { m_model->refreshMemo(qobject_cast<const JWMemo *>(note.object)); });
    center.addObserver(
        this, NotificationNames::JW3ReloadOutlineData, nullptr, [this](const Notification &) { reloadData(); });
    observeOutlineSelection(true);
}

void NoteTreeController::observeOutlineSelection(bool observe)
{
    QObject::disconnect(m_outlineSelectionConnection);
    m_outlineSelectionConnection = {};
    if (observe && m_outline.selectionModel()) {
        m_outlineSelectionConnection = connect(m_outline.selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &NoteTreeController::selectRowOfOutline);
    }
}

// --- Root and selection ----------------------------------------------------------------

void NoteTreeController::setRootMemo(const MemoPtr &root)
{
    m_rootMemo = root;
    if (m_selectedMemos.isEmpty() && root) {
        if (root->children().empty())
            root->appendChild(JWMemo::memo());
        // Nobody asked for a page yet: the first one that opens without a
        // password is shown, and a window on locked pages shows none.
        const auto children = root->children();
        const auto first = std::find_if(
            children.begin(), children.end(), [this](const MemoPtr &child) { return !pageHoldingBack(child); });
        if (first != children.end())
            setSelection(*first);
    }
    reloadData();
}

MemoPtr NoteTreeController::selection() const
{
    return m_selectedMemos.isEmpty() ? MemoPtr() : m_selectedMemos.front();
}

void NoteTreeController::setSelection(const MemoPtr &requested)
{
    // Held here: callers pass entries of lists that this changes.
    const MemoPtr memo = requested;
    if (!memo)
        return;
    if (m_selectedMemos.size() == 1 && m_selectedMemos.front() == memo)
        return;
    // The root has no row of its own: it is what the rows are the children of.
    if (!m_rootMemo || memo == m_rootMemo || !tree().isSubItemOfMemo(memo, m_rootMemo))
        return;
    m_hasMultiSelection = false;

    // A Back or Forward step held back stays a history step once the password is given.
    const bool historyMove = m_isHistoryMove;
    m_isHistoryMove = false;
    if (!mayShowMemo(memo, [this, historyMove](const MemoPtr &page) {
            m_isHistoryMove = historyMove;
            setSelection(page);
        })) {
        restoreOutlineSelection();
        return;
    }
    m_isHistoryMove = historyMove;
    m_waitingPage.reset();
    m_waitingShow = {};

    if (m_selectedMemos.size() == 1) {
        const MemoPtr previous = m_selectedMemos.front();
        m_window.resignSelection(previous);
        previous->save();
    }
    m_selectedMemos = {memo};
    m_window.setMemoToTab(memo);
    reloadData();
    m_model->setTitlesEditable(true);
    if (!m_isHistoryMove)
        recordHistory(memo);
    m_isHistoryMove = false;
    m_window.setSelection(memo);
    setTextEditCanEdit();
    Q_EMIT selectionChanged();
}

void NoteTreeController::restoreOutlineSelection()
{
    // Each earlier page is selected alone in turn, so the last of them stays
    // highlighted; the outline's own notice of the change follows as usual.
    QItemSelectionModel *rows = m_outline.selectionModel();
    if (!rows)
        return;
    if (m_selectedMemos.isEmpty())
        rows->clearSelection();
    for (const MemoPtr &memo : std::as_const(m_selectedMemos)) {
        const QModelIndex index = m_model->indexForMemo(memo.get());
        if (index.isValid())
            rows->select(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    }
}

void NoteTreeController::recordHistory(const MemoPtr &memo)
{
    const auto count = quint32(m_moveHistory.size());
    if (count > 0 && m_historyIndex < count - 1)
        m_moveHistory.erase(m_moveHistory.begin() + qsizetype(m_historyIndex) + 1, m_moveHistory.end());
    m_moveHistory.append(memo);
    m_historyIndex = quint32(m_moveHistory.size()) - 1;
}

void NoteTreeController::setMultipleSelection()
{
    if (m_selectedMemos.size() == 1) {
        const MemoPtr previous = m_selectedMemos.front();
        m_window.resignSelection(previous);
        previous->save();
    }
    m_hasMultiSelection = true;
    if (NoteTextView *text = m_window.textView()) {
        text->setString(QString());
        text->setReadOnly(true);
    }
    m_selectedMemos = m_outline.selectedMemosInRowOrder();
    m_model->setTitlesEditable(false);
    Q_EMIT selectionChanged();
}

void NoteTreeController::selectMemos(const QList<MemoPtr> &memos)
{
    observeOutlineSelection(false);
    m_outline.selectMemoRows(memos);
    observeOutlineSelection(true);
    setMultipleSelection();
}

void NoteTreeController::selectRowOfOutline()
{
    if (isOptionKeyDown()) {
        if (const MemoPtr clicked = m_model->memoForIndex(m_outline.currentIndex()))
            m_window.addNewTabWithMemo(clicked);
        return;
    }
    const QList<MemoPtr> rows = m_outline.selectedMemosInRowOrder();
    if (rows.isEmpty())
        return;
    if (rows.size() > 1) {
        setMultipleSelection();
        return;
    }
    if (NoteTextView *text = m_window.textView())
        text->setReadOnly(false);
    const MemoPtr &row = rows.front();
    if (m_selectedMemos.size() != 1 || m_selectedMemos.front() != row)
        setSelection(row);
    else
        setTextEditCanEdit();
}

bool NoteTreeController::selectionContainsLockedMemo() const
{
    return std::any_of(
        m_selectedMemos.begin(), m_selectedMemos.end(), [](const MemoPtr &memo) { return memo->locked(); });
}

void NoteTreeController::setTextEditCanEdit()
{
    NoteTextView *text = m_window.textView();
    if (!text)
        return;
    if (m_selectedMemos.size() != 1) {
        text->setReadOnly(true);
        return;
    }
    const MemoPtr &memo = m_selectedMemos.front();
    text->setReadOnly(memo->locked());
    text->setRichText(!memo->isPlainTextMemo());
}

bool NoteTreeController::isOptionKeyDown() const
{
    return QGuiApplication::keyboardModifiers().testFlag(Qt::AltModifier);
}

// --- Undo ----------------------------------------------------------------------------------

void NoteTreeController::replaying(const std::function<void()> &edit)
{
    const bool was = m_replaying;
    m_replaying = true;
    edit();
    m_replaying = was;
}

void NoteTreeController::pushUndo(const QString &text, std::function<void()> undo, std::function<void()> redo)
{
    if (m_replaying)
        return;
    QPointer<NoteTreeController> self(this);
    auto guarded = [self](std::function<void()> action) {
        return [self, action = std::move(action)] {
            if (self)
                self->replaying(action);
        };
    };
    m_undoStack.push(new TreeEditCommand(text, guarded(std::move(undo)), guarded(std::move(redo))));
}

// --- Adding and deleting ------------------------------------------------------------------

MemoPtr NoteTreeController::parentWithinRoot(const MemoPtr &memo) const
{
    if (!memo || !m_rootMemo)
        return m_rootMemo;
    const MemoPtr parent = tree().parentOfMemo(memo, m_rootMemo);
    return parent ? parent : m_rootMemo;
}

NoteTreeController::InsertPoint NoteTreeController::insertPoint() const
{
    const MemoPtr selected = selection();
    const MemoPtr parent = parentWithinRoot(selected);
    const qsizetype at = parent && selected ? indexOfChild(*parent, selected.get()) : -1;
    return {parent, at + 1};
}

void NoteTreeController::showNewMemo(const MemoPtr &memo)
{
    if (isOptionKeyDown())
        m_window.addNewTabWithMemo(memo);
    else
        setSelection(memo);
}

void NoteTreeController::add()
{
    const MemoPtr parent = parentWithinRoot(selection());
    if (!parent)
        return;
    m_window.setEditedIfIsiPhoneMemo(parent);
    const MemoPtr memo = JWMemo::memo();
    const qsizetype after = indexOfChild(*parent, selection().get()) + 1;
    const qsizetype at
        = after > 0 && after < qsizetype(parent->children().size()) ? after : qsizetype(parent->children().size());
    parent->insertChild(at, memo);
    NotificationCenter::defaultCenter().post(NotificationNames::JW3ReloadOutlineData, this);
    showNewMemo(memo);
    pushUndo(
        tr("New Page"), [this, memo] { removeMemo(memo); }, [this, memo, parent, at] { insertItem(memo, parent, at); });
    m_window.goToTitleView();
}

void NoteTreeController::addChild()
{
    const MemoPtr parent = selection();
    if (!parent)
        return;
    const MemoPtr memo = JWMemo::memo();
    parent->insertChild(0, memo);
    m_window.setEditedIfIsiPhoneMemo(parent);
    parent->changeIsLeaf();
    NotificationCenter::defaultCenter().post(NotificationNames::JW3ReloadOutlineData, this);
    showNewMemo(memo);
    pushUndo(
        tr("New Child Page"), [this, memo] { removeMemo(memo); },
        [this, memo, parent] { insertItem(memo, parent, 0); });
    m_window.goToTitleView();
}

void NoteTreeController::insertItem(const MemoPtr &memo, const MemoPtr &parent, qsizetype index)
{
    if (!memo || !parent)
        return;
    const auto count = qsizetype(parent->children().size());
    parent->insertChild(index >= 0 && index < count ? index : count, memo);
    m_window.setEditedIfIsiPhoneMemo(parent);
    setSelection(memo);
    parent->changeIsLeaf();
    NotificationCenter::defaultCenter().post(NotificationNames::JW3ReloadOutlineData, this);
}

void NoteTreeController::alertLockedPage()
{
    auto *alert = new QMessageBox(QMessageBox::Warning, tr("Page is locked"), tr("You may not remove locked page"),
        QMessageBox::Ok, m_window.window());
    alert->setObjectName(QStringLiteral("pageIsLockedAlert"));
    alert->setWindowModality(Qt::WindowModal);
    alert->setAttribute(Qt::WA_DeleteOnClose);
    alert->open();
}

void NoteTreeController::remove()
{
    if (selectionContainsLockedMemo()) {
        alertLockedPage();
        return;
    }
    if (!UserDefaults::standardUserDefaults().boolForKey(PreferenceKeys::DeleteCheck)) {
        removeSelection();
        return;
    }
    auto *question = new QMessageBox(QMessageBox::Question, tr("Delete Memo"), tr("Can not undo deleting."),
        QMessageBox::Ok | QMessageBox::Cancel, m_window.window());
    question->setObjectName(QStringLiteral("deleteMemoAlert"));
    question->setDefaultButton(QMessageBox::Ok);
    question->setWindowModality(Qt::WindowModal);
    question->setAttribute(Qt::WA_DeleteOnClose);
    connect(question, &QMessageBox::finished, this, [this](int result) {
        if (result == QMessageBox::Ok)
            removeSelection();
    });
    question->open();
}

void NoteTreeController::removeSelection()
{
    m_window.save();
    m_memosToRemove = m_selectedMemos;
    if (!m_replaying)
        m_undoStack.beginMacro(m_memosToRemove.size() > 1 ? tr("Delete Pages") : tr("Delete Page"));
    while (!m_memosToRemove.isEmpty())
        removeMemo(m_memosToRemove.front(), m_memosToRemove.size() == 1);
    tree().addSamplePageIfNeeded();
    if (!m_replaying)
        m_undoStack.endMacro();
    NotificationCenter::defaultCenter().post(NotificationNames::JW3ReloadOutlineData, this);
}

void NoteTreeController::removeMemo(const MemoPtr &requested)
{
    const MemoPtr memo = requested;
    if (!m_replaying)
        m_undoStack.beginMacro(tr("Delete Page"));
    m_memosToRemove = {memo};
    removeMemo(memo, true);
    tree().addSamplePageIfNeeded();
    if (!m_replaying)
        m_undoStack.endMacro();
    NotificationCenter::defaultCenter().post(NotificationNames::JW3ReloadOutlineData, this);
}

void NoteTreeController::forgetInHistory(const MemoPtr &memo)
{
    const qsizetype before = std::min(qsizetype(m_historyIndex) + 1, m_moveHistory.size());
    const auto earlier = std::count(m_moveHistory.begin(), m_moveHistory.begin() + before, memo);
    m_moveHistory.removeAll(memo);
    m_historyIndex -= quint32(earlier);
    const auto count = quint32(m_moveHistory.size());
    if (m_historyIndex >= count)
        m_historyIndex = count - 1;
}

void NoteTreeController::removeMemo(const MemoPtr &requested, bool selectOtherMemo)
{
    // Held here: the page is usually an entry of a list this empties.
    const MemoPtr memo = requested;
    if (!memo)
        return;
    // Inner pages go first, each undoable on its own, so that undoing
    // (which runs backwards) puts the page back before its children.
    while (!memo->children().empty())
        removeMemo(memo->children().front(), false);

    const MemoPtr parent = tree().parentOfMemo(memo);
    if (!parent) {
        m_memosToRemove.removeAll(memo);
        memo->removeNoteFile();
        return;
    }
    m_window.setEditedIfIsiPhoneMemo(parent);
    const qsizetype index = indexOfChild(*parent, memo.get());
    pushUndo(
        tr("Delete Page"), [this, memo, parent, index] { insertItem(memo, parent, index); },
        [this, memo] { removeMemo(memo); });

    forgetInHistory(memo);

    // The text must be in memory before the page file goes, for the undo.
    (void)memo->memoData();
    memo->setIsEdited(true);
    parent->removeChild(memo.get());
    m_memosToRemove.removeAll(memo);

    if (selectOtherMemo || m_memosToRemove.isEmpty()) {
        MemoPtr next;
        if (m_historyIndex != 0 && !m_moveHistory.isEmpty()) {
            next = m_moveHistory.at(qsizetype(m_historyIndex));
        } else if (parent == m_rootMemo) {
            tree().addSamplePageIfNeeded();
            if (!m_rootMemo->children().empty())
                next = m_rootMemo->children().front();
        } else if (parent->children().empty()) {
            next = parent;
        } else {
            const qsizetype at = index <= 0 ? 0 : index - 1;
            if (at < qsizetype(parent->children().size()))
                next = parent->children()[size_t(at)];
        }
        if (next)
            setSelection(next);
    }

    m_host.handleMemoRemoval(memo);
    parent->changeIsLeaf();
    memo->removeNoteFile();
}

// --- Moving --------------------------------------------------------------------------------

void NoteTreeController::outlineMoveUp()
{
    moveAmongSiblings(true);
}

void NoteTreeController::outlineMoveDown()
{
    moveAmongSiblings(false);
}

void NoteTreeController::outlineMoveLeft()
{
    moveOneLevel(true);
}

void NoteTreeController::outlineMoveRight()
{
    moveOneLevel(false);
}

void NoteTreeController::moveAmongSiblings(bool up)
{
    const MemoPtr memo = selection();
    if (m_selectedMemos.size() > 1 || !memo)
        return;
    if (!m_replaying)
        tree().prepareUndoForParent(parentWithinRoot(memo), &m_undoStack);
    if (up)
        tree().moveUp(memo);
    else
        tree().moveDown(memo);
}

void NoteTreeController::moveOneLevel(bool out)
{
    const MemoPtr memo = selection();
    if (m_selectedMemos.size() > 1 || !memo)
        return;
    // A page of this window never moves out past the window's root.
    const MemoPtr parent = tree().parentOfMemo(memo);
    if (!parent || (out && parent == m_rootMemo))
        return;
    const qsizetype index = indexOfChild(*parent, memo.get());
    if (out)
        tree().moveLeft(memo);
    else
        tree().moveRight(memo);
    const MemoPtr now = tree().parentOfMemo(memo);
    if (now == parent)
        return;
    const qsizetype nowIndex = now ? indexOfChild(*now, memo.get()) : -1;
    pushUndo(
        out ? tr("Move Left") : tr("Move Right"), [this, memo, parent, index] { moveMemo(memo, parent, index); },
        [this, memo, now, nowIndex] { moveMemo(memo, now, nowIndex); });
}

void NoteTreeController::moveMemo(const MemoPtr &memo, const MemoPtr &target, qsizetype index)
{
    if (!memo || !target)
        return;
    tree().moveMemo(memo, target, index, false);
    setSelection(memo);
}

// --- History ---------------------------------------------------------------------------------

bool NoteTreeController::canMoveBack() const
{
    return m_historyIndex != 0;
}

bool NoteTreeController::canMoveNext() const
{
    return m_historyIndex < quint32(m_moveHistory.size()) - 1;
}

void NoteTreeController::moveBack()
{
    // Checked against the history as well: all ones reads as "can go back"
    // while the history is still empty.
    if (!canMoveBack() || m_historyIndex >= quint32(m_moveHistory.size()))
        return;
    m_isHistoryMove = true;
    --m_historyIndex;
    setSelection(m_moveHistory.at(qsizetype(m_historyIndex)));
}

void NoteTreeController::moveNext()
{
    if (!canMoveNext())
        return;
    m_isHistoryMove = true;
    ++m_historyIndex;
    setSelection(m_moveHistory.at(qsizetype(m_historyIndex)));
}

// --- Other commands --------------------------------------------------------------------------

void NoteTreeController::setTitleColorOfSelection(const QColor &color)
{
    for (const MemoPtr &memo : std::as_const(m_selectedMemos))
        memo->setTitleColor(color);
}

void NoteTreeController::changeTitleColorByTag(int tag)
{
    if (tag != kCustomTitleColorTag) {
        const QColor color = TitleColorPalette::titleColorForTag(tag);
        if (color.isValid())
            setTitleColorOfSelection(color);
        return;
    }
    m_outline.setFocus();
    auto *dialog = new QColorDialog(m_window.window());
    dialog->setObjectName(QStringLiteral("titleColorDialog"));
    dialog->setOption(QColorDialog::ShowAlphaChannel);
    if (const MemoPtr memo = selection())
        dialog->setCurrentColor(memo->titleColor());
    dialog->setWindowModality(Qt::WindowModal);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QColorDialog::colorSelected, this, &NoteTreeController::setTitleColorOfSelection);
    dialog->open();
}

void NoteTreeController::openNewWindowWithSelection()
{
    const QList<MemoPtr> memos = m_selectedMemos;
    for (const MemoPtr &memo : memos) {
        if (!memo->children().empty())
            m_host.openWindowWithMemo(memo, {});
        else
            m_host.openWindowAndShowMemo(memo);
    }
}

void NoteTreeController::openNewWindowWithParent()
{
    constexpr int kCascadeStep = 22;
    int step = 1;
    const QList<MemoPtr> memos = m_selectedMemos;
    for (const MemoPtr &memo : memos) {
        NoteWindow *window = m_host.openWindowAndShowMemo(memo);
        QWidget *widget = window ? window->windowWidget() : nullptr;
        if (!widget)
            continue;
        const QRect frame = widget->frameGeometry();
        const QPoint moved = frame.topLeft() + QPoint(kCascadeStep * step, kCascadeStep * step);
        const QScreen *screen = widget->screen() ? widget->screen() : QGuiApplication::primaryScreen();
        const QRect visible = screen ? screen->availableGeometry() : QRect();
        // Each window steps further down and right while it stays on screen;
        // one that would leave it stays where it opened and the steps start over.
        const bool fits = visible.isValid() && moved.y() + frame.height() <= visible.bottom() + 1
            && visible.right() + 1 > moved.x() + frame.width() / 2;
        if (fits) {
            widget->move(moved);
            ++step;
        } else {
            step = 0;
        }
    }
}

void NoteTreeController::save()
{
    if (m_selectedMemos.size() != 1)
        return;
    const MemoPtr memo = m_selectedMemos.front();
    m_window.saveDataToMemo(memo);
    memo->save();
}

void NoteTreeController::reloadData()
{
    if (g_reloadingOutline)
        return;
    g_reloadingOutline = true;
    observeOutlineSelection(false);
    m_model->reload();
    const bool concealed = concealHeldBackSelection();
    for (const MemoPtr &memo : std::as_const(m_selectedMemos))
        m_outline.exposeItem(memo);
    const int shown = m_outline.selectMemoRows(m_selectedMemos);
    bool observeAgain = true;
    if (shown == 0 && (concealed || !m_selectedMemos.isEmpty())) {
        if (m_model->rowCount() > 0) {
            if (const MemoPtr first = firstShowableRow()) {
                setSelection(first);
                m_outline.selectMemoRows(m_selectedMemos);
            }
        } else {
            // Nothing left to show: the window goes, and stays deaf to the
            // outline while it closes.
            observeAgain = false;
            if (QWidget *window = m_window.window())
                window->close();
        }
    }
    if (observeAgain)
        observeOutlineSelection(true);
    NotificationCenter::defaultCenter().post(NotificationNames::SearchControllerExecuteSearch, this);
    g_reloadingOutline = false;
}

void NoteTreeController::titleEdited(const QString &title)
{
    if (m_selectedMemos.size() != 1)
        return;
    const MemoPtr memo = m_selectedMemos.front();
    memo->setTitle(title);
    m_window.titleHasBeenChanged(memo);
}

// --- Page password -----------------------------------------------------------------------------

MemoPtr NoteTreeController::pageHoldingBack(const MemoPtr &memo) const
{
    for (MemoPtr step = memo; step; step = tree().parentOfMemo(step)) {
        if (step->protectWithPassword() && !step->unlockedPassword())
            return step;
    }
    return {};
}

bool NoteTreeController::mayShowMemo(const MemoPtr &memo, std::function<void(const MemoPtr &)> show)
{
    if (!memo)
        return false;
    if (!pageHoldingBack(memo))
        return true;
    const QString kept
        = PasswordKeychain::passwordFromKeychain(QCoreApplication::applicationName(), PasswordKeychain::userName());
    if (!kept.isEmpty() && passwordMatchesHash(kept, passwordFromDefault())) {
        unlockPathTo(memo);
        return true;
    }
    // A sheet needs a window on screen to hang from; a hidden window asks
    // when it comes up.
    const QWidget *window = m_window.window();
    if (window && window->isVisible()) {
        m_waitingPage.reset();
        m_waitingShow = {};
        askPassword(memo, std::move(show));
    } else {
        m_waitingPage = memo;
        m_waitingShow = std::move(show);
    }
    return false;
}

void NoteTreeController::askForWaitingPage()
{
    const MemoPtr memo = std::exchange(m_waitingPage, nullptr);
    const std::function<void(const MemoPtr &)> show = std::exchange(m_waitingShow, {});
    if (!memo || !show || !tree().isSubItemOfMemo(memo, tree().root()))
        return;
    if (mayShowMemo(memo, show))
        show(memo);
}

void NoteTreeController::unlockPathTo(const MemoPtr &memo)
{
    for (MemoPtr step = memo; step; step = tree().parentOfMemo(step)) {
        if (step->protectWithPassword() && !step->unlockedPassword())
            step->setUnlockedPassword(true);
    }
}

void NoteTreeController::lockProtectedPages(MemoTree &memoTree)
{
    if (!memoTree.root())
        return;
    const QList<MemoPtr> pages = memoTree.arrayOfMemos(memoTree.root(), false);
    for (const MemoPtr &page : pages) {
        if (page->protectWithPassword() && page->unlockedPassword())
            page->lockPassword();
    }
}

MemoPtr NoteTreeController::firstShowableRow() const
{
    for (int row = 0; row < m_model->rowCount(); ++row) {
        const MemoPtr memo = m_model->memoForIndex(m_model->index(row, 0));
        if (memo && !pageHoldingBack(memo))
            return memo;
    }
    return {};
}

bool NoteTreeController::concealHeldBackSelection()
{
    if (m_selectedMemos.size() != 1 || !pageHoldingBack(m_selectedMemos.front()))
        return false;
    // The edits stay with the page; only the screen forgets them.
    const MemoPtr page = m_selectedMemos.front();
    m_window.resignSelection(page);
    page->save();
    m_selectedMemos.clear();
    if (NoteTextView *text = m_window.textView()) {
        text->setString(QString());
        text->setReadOnly(true);
    }
    Q_EMIT selectionChanged();
    return true;
}

void NoteTreeController::askPassword(const MemoPtr &memo, std::function<void(const MemoPtr &)> show)
{
    if (!m_passPanelController) {
        m_passPanelController = new ConfirmPassPanelController(m_window.window());
        m_passPanelController->setNeedToRelease(false);
    }
    // The sheet runs its action on a later turn of the event loop, when the
    // page or this controller may be gone.
    std::weak_ptr<JWMemo> page = memo;
    QPointer<NoteTreeController> self(this);
    m_passPanelController->setConfirmedAction([self, page, show = std::move(show)] {
        const MemoPtr memo = page.lock();
        if (!self || !memo)
            return;
        self->unlockPathTo(memo);
        show(memo);
    });
    // Cancelling leaves everything as it is.
    m_passPanelController->setCanceledAction({});
    m_passPanelController->runAsSheetForWindow(m_window.window());
}

ConfirmPassPanelController *NoteTreeController::passPanelController() const
{
    return m_passPanelController;
}
