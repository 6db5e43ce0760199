#include "NoteOutlineView.h"

#include "NoteOutlineModel.h"
#include "NoteTreeController.h"
#include "TitleCellDelegate.h"

#include "model/JWMemo.h"
#include "platform/base/PreferenceKeys.h"
#include "platform/settings/UserDefaults.h"

#include <QDrag>
#include <QDragEnterEvent>
#include <QDragLeaveEvent>
#include <QDragMoveEvent>
#include <QDropEvent>
#include <QAbstractItemDelegate>
#include <QItemSelectionModel>
#include <QKeyEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QSet>
#include <QTimer>

#include <algorithm>
#include <utility>
#include <vector>

namespace {

// Expansion changes come in bursts (expanding everything, a restore); one
// write of the preference after the burst is enough.
constexpr int kExpansionSaveDelayMilliseconds = 1000;

// Calls @p visit with every row of @p model, parents before their children,
// in the order the rows are drawn. One pass, no recursion: outlines hold
// tens of thousands of pages and can be deep.
template<typename Visit> void forEachRow(const QAbstractItemModel &model, const QModelIndex &start, Visit visit)
{
    std::vector<QModelIndex> pending;
    auto pushChildren = [&](const QModelIndex &parent) {
        for (int row = model.rowCount(parent) - 1; row >= 0; --row)
            pending.push_back(model.index(row, 0, parent));
    };
    pushChildren(start);
    while (!pending.empty()) {
        const QModelIndex index = pending.back();
        pending.pop_back();
        visit(index);
        pushChildren(index);
    }
}

// The rows from the top down to @p index: sorting by it sorts in drawing
// order, whether or not the rows are in view.
QList<int> rowPath(QModelIndex index)
{
    QList<int> path;
    for (; index.isValid(); index = index.parent())
        path.prepend(index.row());
    return path;
}

// The rows of @p indexes as few ranges as possible: neighbours under one
// parent make one range. The selection model and the view work range by
// range, and a selection of every row is otherwise ten thousand of them.
QItemSelection rangesOf(QModelIndexList indexes)
{
    std::sort(indexes.begin(), indexes.end(), [](const QModelIndex &left, const QModelIndex &right) {
        const QModelIndex leftParent = left.parent();
        const QModelIndex rightParent = right.parent();
        if (leftParent != rightParent)
            return leftParent < rightParent;
        return left.row() < right.row();
    });
    QItemSelection selection;
    qsizetype first = 0;
    for (qsizetype i = 1; i <= indexes.size(); ++i) {
        if (i < indexes.size() && indexes[i].parent() == indexes[i - 1].parent()
            && indexes[i].row() == indexes[i - 1].row() + 1)
            continue;
        selection.append(QItemSelectionRange(indexes[first], indexes[i - 1]));
        first = i;
    }
    return selection;
}

QSet<qint64> storedIDs(const QVariantList &stored)
{
    QSet<qint64> ids;
    for (const QVariant &value : stored) {
        bool ok = false;
        const qint64 id = value.toLongLong(&ok);
        if (ok)
            ids.insert(id);
    }
    return ids;
}

// What the drag's source hears: a page made from another program's text,
// link or file is a copy, and a source told "moved" may delete its original.
Qt::DropAction actionForSource(const QDropEvent &event, Qt::DropAction action)
{
    const QMimeData *data = event.mimeData();
    if (action == Qt::MoveAction && !event.source() && data && !data->hasFormat(NoteTreeController::dragRowTypeName())
        && (event.possibleActions() & Qt::CopyAction))
        return Qt::CopyAction;
    return action;
}

} // namespace

NoteOutlineView::NoteOutlineView(QWidget *parent)
    : QTreeView(parent)
    , m_expansionSaveTimer(new QTimer(this))
{
    setHeaderHidden(true);
    setSelectionMode(ExtendedSelection);
    setSelectionBehavior(SelectRows);
    setDragEnabled(true);
    setAcceptDrops(true);
    setDragDropMode(DragDrop);
    // The view draws its own indicator where the controller's drop would land.
    setDropIndicatorShown(false);
    // Row heights are asked of one row, not of every one of 10,000.
    setUniformRowHeights(true);
    // A double click opens a window on the row; titles are renamed with the
    // edit key or the Rename command. A click on the selected row renames
    // nothing: clicking a row to get back to it is far more common than
    // renaming, and a rename armed by accident swallows the next keys.
    setEditTriggers(EditKeyPressed);
    setExpandsOnDoubleClick(false);
    setItemDelegate(new TitleCellDelegate(this));

    m_expansionSaveTimer->setSingleShot(true);
    m_expansionSaveTimer->setInterval(kExpansionSaveDelayMilliseconds);
    connect(m_expansionSaveTimer, &QTimer::timeout, this, &NoteOutlineView::saveExpandedItems);
    connect(this, &QTreeView::expanded, this, &NoteOutlineView::scheduleExpansionSave);
    connect(this, &QTreeView::collapsed, this, &NoteOutlineView::scheduleExpansionSave);

    // Rows follow the title size: it sets their height.
    const auto followTitleSize = [this](const QVariant &, const QVariant &) {
        scheduleDelayedItemsLayout();
        viewport()->update();
    };
    UserDefaults::standardUserDefaults().observe(PreferenceKeys::TitleSize, this, followTitleSize);
}

NoteOutlineView::~NoteOutlineView()
{
    if (m_expansionSaveTimer->isActive())
        saveExpandedItems();
}

NoteTreeController *NoteOutlineView::controller() const
{
    return m_controller;
}

void NoteOutlineView::setController(NoteTreeController *controller)
{
    if (!controller || controller == m_controller)
        return;
    if (m_controller)
        disconnect(this, nullptr, m_controller, nullptr);
    m_controller = controller;
    setModel(&controller->model());

    connect(this, &NoteOutlineView::rowDoubleClicked, controller, &NoteTreeController::openNewWindowWithSelection);
    connect(this, &NoteOutlineView::deleteRequested, controller, &NoteTreeController::remove);
    connect(this, &QTreeView::collapsed, controller, [this](const QModelIndex &index) {
        const NoteOutlineModel *outline = outlineModel();
        if (!m_controller || !outline)
            return;
        if (const MemoPtr memo = outline->memoForIndex(index))
            m_controller->outlineWillCollapse(memo);
    });
}

void NoteOutlineView::setModel(QAbstractItemModel *model)
{
    if (model == this->model())
        return;
    // The rows' pages are only known through the model about to go.
    if (m_expansionSaveTimer->isActive())
        saveExpandedItems();
    clearDropSpot();
    for (const QMetaObject::Connection &connection : std::as_const(m_modelConnections))
        disconnect(connection);
    m_modelConnections.clear();

    QTreeView::setModel(model);

    m_expansionRestored = false;
    if (NoteOutlineModel *outline = outlineModel()) {
        m_modelConnections = {
            connect(outline, &QAbstractItemModel::layoutChanged, this, &NoteOutlineView::restoreOnFirstRows),
            connect(outline, &QAbstractItemModel::modelReset, this, &NoteOutlineView::restoreOnFirstRows),
            connect(outline, &QAbstractItemModel::rowsInserted, this, &NoteOutlineView::restoreOnFirstRows),
        };
        restoreOnFirstRows();
    }
}

NoteOutlineModel *NoteOutlineView::outlineModel() const
{
    return qobject_cast<NoteOutlineModel *>(model());
}

// --- Expanding and collapsing ------------------------------------------------------

void NoteOutlineView::exposeItem(const MemoPtr &memo)
{
    const NoteOutlineModel *outline = outlineModel();
    if (!memo || !outline)
        return;
    // A page inside collapsed rows still has its index; its parents are the rows to open.
    QModelIndexList ancestors;
    for (QModelIndex parent = outline->indexForMemo(memo.get()).parent(); parent.isValid(); parent = parent.parent())
        ancestors.prepend(parent);
    for (const QModelIndex &ancestor : std::as_const(ancestors))
        expand(ancestor);
}

bool NoteOutlineView::isSelectionExpandable() const
{
    const QList<MemoPtr> memos = selectedMemosInRowOrder();
    return std::any_of(memos.begin(), memos.end(), [](const MemoPtr &memo) { return !memo->isLeaf(); });
}

void NoteOutlineView::expandEveryItem()
{
    expandAll();
    // expandAll() reports no row on its own.
    scheduleExpansionSave();
}

void NoteOutlineView::collapseEveryItem()
{
    const NoteOutlineModel *outline = outlineModel();
    if (!outline)
        return;
    QModelIndexList tops;
    for (int row = 0; row < outline->rowCount(); ++row)
        tops.append(outline->index(row, 0));
    collapseRows(tops);
}

void NoteOutlineView::expandChildren()
{
    const NoteOutlineModel *outline = outlineModel();
    if (!outline)
        return;
    for (const MemoPtr &memo : selectedMemosInRowOrder()) {
        const QModelIndex index = outline->indexForMemo(memo.get());
        if (index.isValid())
            expandRecursively(index);
    }
    scheduleExpansionSave();
}

void NoteOutlineView::collapseChildren()
{
    const NoteOutlineModel *outline = outlineModel();
    if (!outline)
        return;
    QModelIndexList roots;
    for (const MemoPtr &memo : selectedMemosInRowOrder())
        roots.append(outline->indexForMemo(memo.get()));
    collapseRows(roots);
}

void NoteOutlineView::collapseRows(const QModelIndexList &roots)
{
    const NoteOutlineModel *outline = outlineModel();
    if (!outline)
        return;
    // Persistent: each collapse tells the controller, which may move the
    // selection and reload the model before the next one.
    QList<QPersistentModelIndex> expandedRows;
    for (const QModelIndex &root : roots) {
        if (!root.isValid())
            continue;
        if (isExpanded(root))
            expandedRows.append(root);
        forEachRow(*outline, root, [&](const QModelIndex &index) {
            if (isExpanded(index))
                expandedRows.append(index);
        });
    }
    // Outermost first: a selected page deep inside passes its selection to
    // the outermost collapsing row at once, whose ancestors stay open; the
    // rows inside it then collapse without moving the selection again.
    // (With the layout pending, each collapse only forgets its row: one
    // layout afterwards instead of one per row.)
    scheduleDelayedItemsLayout();
    for (const QPersistentModelIndex &row : std::as_const(expandedRows)) {
        if (row.isValid())
            collapse(row);
    }
    scheduleExpansionSave();
}

// --- Selection ----------------------------------------------------------------------

QList<MemoPtr> NoteOutlineView::selectedMemosInRowOrder() const
{
    const NoteOutlineModel *outline = outlineModel();
    const QItemSelectionModel *rows = selectionModel();
    if (!outline || !rows)
        return {};
    // selectedIndexes(), not selectedRows(): the latter tests every row
    // against every range, which takes seconds for thousands of rows.
    std::vector<std::pair<QList<int>, MemoPtr>> ordered;
    QSet<const JWMemo *> seen;
    for (const QModelIndex &index : rows->selectedIndexes()) {
        if (index.column() != 0)
            continue;
        MemoPtr memo = outline->memoForIndex(index);
        if (memo && !seen.contains(memo.get())) {
            seen.insert(memo.get());
            ordered.emplace_back(rowPath(index), std::move(memo));
        }
    }
    std::sort(
        ordered.begin(), ordered.end(), [](const auto &left, const auto &right) { return left.first < right.first; });
    QList<MemoPtr> memos;
    memos.reserve(qsizetype(ordered.size()));
    for (auto &entry : ordered)
        memos.append(std::move(entry.second));
    return memos;
}

int NoteOutlineView::selectMemoRows(const QList<MemoPtr> &memos)
{
    const NoteOutlineModel *outline = outlineModel();
    QItemSelectionModel *rows = selectionModel();
    if (!outline || !rows)
        return 0;
    QModelIndexList indexes;
    QSet<const JWMemo *> seen;
    for (const MemoPtr &memo : memos) {
        if (!memo || seen.contains(memo.get()))
            continue;
        const QModelIndex index = outline->indexForMemo(memo.get());
        if (!index.isValid())
            continue;
        seen.insert(memo.get());
        indexes.append(index);
    }
    if (indexes.isEmpty())
        return 0;
    const QItemSelection selection = rangesOf(indexes);
    // The current row first and the selection in one step: whoever follows
    // the selection hears of it once, with the current row already in place.
    rows->setCurrentIndex(indexes.front(), QItemSelectionModel::NoUpdate);
    rows->select(selection, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    // Scrolling to every row of a large selection costs a search of the
    // rows each; the last and then the first leave the current row in view,
    // with as much of the rest as fits.
    if (indexes.size() > 1)
        scrollTo(indexes.back());
    scrollTo(indexes.front());
    return int(indexes.size());
}

// --- Keeping the expanded rows ----------------------------------------------------------

void NoteOutlineView::restoreOnFirstRows()
{
    const NoteOutlineModel *outline = outlineModel();
    if (m_expansionRestored || !outline || outline->rowCount() == 0)
        return;
    m_expansionRestored = true;
    restoreExpandedItems();
}

void NoteOutlineView::restoreExpandedItems()
{
    const NoteOutlineModel *outline = outlineModel();
    if (!outline)
        return;
    const QVariantList stored = UserDefaults::standardUserDefaults().arrayForKey(PreferenceKeys::ExpandedOutlineItems);
    const QSet<qint64> ids = storedIDs(stored);
    if (ids.isEmpty())
        return;
    // One walk over the rows rather than a search of the tree per ID; and
    // with the layout pending, each expand only records its row.
    scheduleDelayedItemsLayout();
    forEachRow(*outline, {}, [&](const QModelIndex &index) {
        const MemoPtr memo = outline->memoForIndex(index);
        if (memo && ids.contains(memo->memoID()) && outline->hasChildren(index))
            expand(index);
    });
}

void NoteOutlineView::saveExpandedItems()
{
    m_expansionSaveTimer->stop();
    const NoteOutlineModel *outline = outlineModel();
    if (!outline)
        return;
    QSet<qint64> shown;
    QSet<qint64> expandedIDs;
    QList<qint64> expandedInOrder;
    forEachRow(*outline, {}, [&](const QModelIndex &index) {
        const MemoPtr memo = outline->memoForIndex(index);
        if (!memo)
            return;
        shown.insert(memo->memoID());
        // expandAll() marks childless rows expanded too; they are not worth a line in the preferences.
        if (isExpanded(index) && outline->hasChildren(index) && !expandedIDs.contains(memo->memoID())) {
            expandedIDs.insert(memo->memoID());
            expandedInOrder.append(memo->memoID());
        }
    });

    // Other windows share the list: only the pages this outline shows are its to change.
    UserDefaults &defaults = UserDefaults::standardUserDefaults();
    const QVariantList stored = defaults.arrayForKey(PreferenceKeys::ExpandedOutlineItems);
    QVariantList kept;
    QSet<qint64> listed;
    for (const QVariant &value : stored) {
        bool ok = false;
        const qint64 id = value.toLongLong(&ok);
        if (!ok || listed.contains(id) || (shown.contains(id) && !expandedIDs.contains(id)))
            continue;
        listed.insert(id);
        kept.append(id);
    }
    for (const qint64 id : std::as_const(expandedInOrder)) {
        if (!listed.contains(id))
            kept.append(id);
    }
    if (kept != stored)
        defaults.setValue(PreferenceKeys::ExpandedOutlineItems, kept);
}

void NoteOutlineView::scheduleExpansionSave()
{
    m_expansionSaveTimer->start();
}

// --- Dragging -------------------------------------------------------------------------

void NoteOutlineView::startDrag(Qt::DropActions)
{
    if (!m_controller)
        return;
    const QList<MemoPtr> memos = selectedMemosInRowOrder();
    if (memos.isEmpty())
        return;
    QMimeData *data = m_controller->writeItems(memos);
    if (!data)
        return;
    auto *drag = new QDrag(this);
    drag->setMimeData(data);
    const NoteOutlineModel *outline = outlineModel();
    const QRect row = outline ? visualRect(outline->indexForMemo(memos.front().get())) : QRect();
    const QRect picture = row.intersected(viewport()->rect());
    if (!picture.isEmpty()) {
        drag->setPixmap(viewport()->grab(picture));
        const QPoint cursor = viewport()->mapFromGlobal(QCursor::pos());
        drag->setHotSpot(QPoint(std::clamp(cursor.x() - picture.left(), 0, picture.width() - 1),
            std::clamp(cursor.y() - picture.top(), 0, picture.height() - 1)));
    }
    // The controller has moved the pages by the time a move returns here:
    // the base class's removal of the dragged rows must not follow.
    drag->exec(Qt::CopyAction | Qt::MoveAction, Qt::MoveAction);
}

NoteOutlineView::DropSpot NoteOutlineView::dropSpotAt(const QPoint &position) const
{
    DropSpot spot;
    const NoteOutlineModel *outline = outlineModel();
    if (!outline)
        return spot;
    spot.valid = true;
    const QRect area = viewport()->rect();
    const QModelIndex index = indexAt(position);
    if (!index.isValid()) {
        // Below the last row: the root, marked around the whole outline.
        spot.indicator = area.adjusted(1, 1, -2, -2);
        return spot;
    }
    const QRect row = visualRect(index);
    const int margin = std::max(2, row.height() / 4);
    const auto lineAt = [&](int left, int y) {
        return QRect(left, y - 1, std::max(1, area.right() - left), 2);
    };
    if (position.y() - row.top() < margin) {
        spot.item = outline->memoForIndex(index.parent());
        spot.childIndex = index.row();
        spot.indicator = lineAt(row.left(), row.top());
    } else if (row.bottom() - position.y() < margin) {
        if (isExpanded(index) && outline->rowCount(index) > 0) {
            // Below an open row the next row is its first child: the line
            // there means "first inside", not "after everything inside".
            spot.item = outline->memoForIndex(index);
            spot.childIndex = 0;
            spot.indicator = lineAt(row.left() + indentation(), row.bottom() + 1);
        } else {
            spot.item = outline->memoForIndex(index.parent());
            spot.childIndex = index.row() + 1;
            spot.indicator = lineAt(row.left(), row.bottom() + 1);
        }
    } else {
        spot.item = outline->memoForIndex(index);
        spot.childIndex = -1;
        spot.indicator = QRect(row.left(), row.top(), std::max(1, area.right() - row.left()), row.height() - 1);
    }
    return spot;
}

void NoteOutlineView::clearDropSpot()
{
    if (!m_dropSpot.valid)
        return;
    m_dropSpot = {};
    viewport()->update();
}

void NoteOutlineView::dragEnterEvent(QDragEnterEvent *event)
{
    const QMimeData *data = event->mimeData();
    const NoteOutlineModel *outline = outlineModel();
    if (!m_controller || !outline || !data) {
        event->ignore();
        return;
    }
    const QStringList types = outline->mimeTypes();
    const bool known = data->hasUrls() || data->hasText()
        || std::any_of(types.begin(), types.end(), [data](const QString &type) { return data->hasFormat(type); });
    if (!known) {
        event->ignore();
        return;
    }
    setState(DraggingState);
    event->accept();
}

void NoteOutlineView::dragMoveEvent(QDragMoveEvent *event)
{
    const QMimeData *data = event->mimeData();
    const QPoint position = event->position().toPoint();
    DropSpot spot = m_controller && data ? dropSpotAt(position) : DropSpot();
    const Qt::DropAction action = spot.valid
        ? m_controller->validateDrop(*data, event->possibleActions(), spot.item, spot.childIndex)
        : Qt::IgnoreAction;
    if (action != Qt::IgnoreAction) {
        event->setDropAction(actionForSource(*event, action));
        event->accept();
    } else {
        spot = {};
        event->ignore();
    }
    if (spot.valid != m_dropSpot.valid || spot.indicator != m_dropSpot.indicator)
        viewport()->update();
    m_dropSpot = spot;

    const QRect area = viewport()->rect();
    const int margin = autoScrollMargin();
    if (hasAutoScroll()
        && (position.y() - area.top() < margin || area.bottom() - position.y() < margin
            || position.x() - area.left() < margin || area.right() - position.x() < margin))
        startAutoScroll();
}

void NoteOutlineView::dragLeaveEvent(QDragLeaveEvent *event)
{
    // The controller keeps its drag target: a drag that comes back finds it.
    stopAutoScroll();
    setState(NoState);
    clearDropSpot();
    event->accept();
}

void NoteOutlineView::dropEvent(QDropEvent *event)
{
    stopAutoScroll();
    setState(NoState);
    clearDropSpot();
    const QMimeData *data = event->mimeData();
    const DropSpot spot = m_controller && data ? dropSpotAt(event->position().toPoint()) : DropSpot();
    if (!spot.valid) {
        event->ignore();
        return;
    }
    // The base classes are left out on purpose: they would hand the drop to
    // the model and, after a move, remove the rows the controller already moved.
    const Qt::DropActions offered = event->possibleActions();
    const Qt::DropAction action = m_controller->validateDrop(*data, offered, spot.item, spot.childIndex);
    const bool done
        = action != Qt::IgnoreAction && m_controller->acceptDrop(*data, offered, spot.item, spot.childIndex);
    // The drag is over: the row under it must not become the selection later.
    if (m_controller)
        m_controller->invalidateTimer();
    if (done) {
        event->setDropAction(actionForSource(*event, action));
        event->accept();
    } else {
        event->ignore();
    }
}

// --- Drawing and input ------------------------------------------------------------------

void NoteOutlineView::paintEvent(QPaintEvent *event)
{
    QTreeView::paintEvent(event);
    if (!m_dropSpot.valid || m_dropSpot.indicator.isEmpty())
        return;
    QPainter painter(viewport());
    const QColor color = palette().color(QPalette::Highlight);
    if (m_dropSpot.childIndex >= 0) {
        painter.fillRect(m_dropSpot.indicator, color);
        return;
    }
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setPen(QPen(color, 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(QRectF(m_dropSpot.indicator).adjusted(0.5, 0.5, -0.5, -0.5), 4, 4);
}

void NoteOutlineView::keyPressEvent(QKeyEvent *event)
{
    const bool deleteKey = event->key() == Qt::Key_Delete || event->key() == Qt::Key_Backspace;
    if (deleteKey && state() != EditingState && (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier) {
        Q_EMIT deleteRequested();
        event->accept();
        return;
    }
    QTreeView::keyPressEvent(event);
}

void NoteOutlineView::mouseDoubleClickEvent(QMouseEvent *event)
{
    const QModelIndex index = indexAt(event->position().toPoint());
    // Off the rows, or on a row's expand arrow, a double click is what the tree does with it.
    if (!index.isValid() || event->button() != Qt::LeftButton
        || event->position().toPoint().x() < visualRect(index).left()) {
        QTreeView::mouseDoubleClickEvent(event);
        return;
    }
    event->accept();
    Q_EMIT rowDoubleClicked();
}

void NoteOutlineView::closeEditor(QWidget *editor, QAbstractItemDelegate::EndEditHint hint)
{
    QTreeView::closeEditor(editor, hint);
    if (hint == QAbstractItemDelegate::SubmitModelCache)
        Q_EMIT titleSubmitted();
}
