#include "NoteOutlineModel.h"

#include "NoteTreeController.h"
#include "model/JWMemo.h"
#include "platform/typedstream/ArchivedValues.h"

#include <QGuiApplication>
#include <QImage>
#include <QPalette>
#include <QMimeData>

namespace {

bool showsChildren(const JWMemo &memo)
{
    // A locked protected page keeps what is inside it out of sight.
    return !(memo.protectWithPassword() && !memo.unlockedPassword());
}

QImage webIcon(const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<QImage>())
        return value.value<QImage>();
    if (value.metaType() == QMetaType::fromType<ArchivedImage>())
        return QImage::fromData(value.value<ArchivedImage>().imageData);
    return {};
}

QColor blend(const QColor &color, const QColor &towards, double fraction)
{
    const QColor from = color.toRgb();
    const QColor to = towards.toRgb();
    auto mix = [fraction](double a, double b) {
        return a + (b - a) * fraction;
    };
    return QColor::fromRgbF(float(mix(from.redF(), to.redF())), float(mix(from.greenF(), to.greenF())),
        float(mix(from.blueF(), to.blueF())), from.alphaF());
}

// The colour a title is drawn in. Black, every page's own colour unless the
// user chose another, stands for the theme's text colour, so that titles stay
// readable on a dark theme. A read-only page fades half-way to the background
// (to white, on a light theme).
QColor titleColorOf(const JWMemo &memo)
{
    const QPalette palette = QGuiApplication::palette();
    const QColor own = memo.titleCharacterColor();
    const QColor color = !own.isValid() || own == QColor(Qt::black) ? palette.color(QPalette::Text) : own;
    return memo.locked() ? blend(color, palette.color(QPalette::Base), 0.5) : color;
}

} // namespace

NoteOutlineModel::NoteOutlineModel(NoteTreeController &controller, QObject *parent)
    : QAbstractItemModel(parent)
    , m_controller(controller)
{ }

NoteOutlineModel::~NoteOutlineModel() = default;

void NoteOutlineModel::build(
    std::deque<Node> &nodes, std::vector<Node *> &top, QHash<const JWMemo *, Node *> &byMemo) const
{
    const MemoPtr root = m_controller.rootMemo();
    if (!root)
        return;
    // Breadth by breadth with an explicit stack: deep trees must not exhaust the call stack.
    struct Pending
    {
        const JWMemo *memo;
        Node *node;
    };
    std::vector<Pending> pending{{root.get(), nullptr}};
    while (!pending.empty()) {
        const Pending current = pending.back();
        pending.pop_back();
        std::vector<Node *> &list = current.node ? current.node->children : top;
        const auto &children = current.memo->children();
        list.reserve(children.size());
        for (const MemoPtr &child : children) {
            // A page listed twice keeps its first row, so that every page has one index.
            if (byMemo.contains(child.get()))
                continue;
            Node &node = nodes.emplace_back();
            node.memo = child;
            node.parent = current.node;
            node.row = int(list.size());
            list.push_back(&node);
            byMemo.insert(child.get(), &node);
        }
        for (Node *node : list) {
            if (!node->memo->children().empty() && showsChildren(*node->memo))
                pending.push_back({node->memo.get(), node});
        }
    }
}

void NoteOutlineModel::reload()
{
    std::deque<Node> nodes;
    std::vector<Node *> top;
    QHash<const JWMemo *, Node *> byMemo;
    byMemo.reserve(qsizetype(m_nodes.size()) + 16);
    build(nodes, top, byMemo);

    Q_EMIT layoutAboutToBeChanged();
    // Each index the views keep follows its page into the new picture, or
    // goes away with it. Only the pointer is compared, never followed: the
    // page may be gone.
    const QModelIndexList kept = persistentIndexList();
    QModelIndexList moved;
    moved.reserve(kept.size());
    for (const QModelIndex &index : kept) {
        const Node *old = nodeOf(index);
        Node *now = old ? byMemo.value(old->memo.get()) : nullptr;
        moved.append(now ? createIndex(now->row, index.column(), now) : QModelIndex());
    }
    m_nodes.swap(nodes);
    m_top.swap(top);
    m_byMemo.swap(byMemo);
    changePersistentIndexList(kept, moved);
    Q_EMIT layoutChanged();
}

void NoteOutlineModel::refreshMemo(const JWMemo *memo)
{
    if (!memo) {
        // A change of the data alone names a range of siblings; a layout
        // change that moves nothing reaches every row at once.
        Q_EMIT layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
        Q_EMIT layoutChanged({}, QAbstractItemModel::VerticalSortHint);
        return;
    }
    const QModelIndex at = indexForMemo(memo);
    if (at.isValid())
        Q_EMIT dataChanged(at, at);
}

NoteOutlineModel::Node *NoteOutlineModel::nodeOf(const QModelIndex &index) const
{
    return index.isValid() ? static_cast<Node *>(index.internalPointer()) : nullptr;
}

const std::vector<NoteOutlineModel::Node *> &NoteOutlineModel::childrenOf(const QModelIndex &parent) const
{
    const Node *node = nodeOf(parent);
    return node ? node->children : m_top;
}

QModelIndex NoteOutlineModel::indexOfNode(Node *node) const
{
    return node ? createIndex(node->row, 0, node) : QModelIndex();
}

QModelIndex NoteOutlineModel::indexForMemo(const JWMemo *memo) const
{
    return indexOfNode(m_byMemo.value(memo));
}

MemoPtr NoteOutlineModel::memoForIndex(const QModelIndex &index) const
{
    const Node *node = nodeOf(index);
    return node ? node->memo : MemoPtr();
}

QModelIndex NoteOutlineModel::index(int row, int column, const QModelIndex &parent) const
{
    if (column != 0 || row < 0)
        return {};
    const auto &children = childrenOf(parent);
    if (size_t(row) >= children.size())
        return {};
    return createIndex(row, 0, children[size_t(row)]);
}

QModelIndex NoteOutlineModel::parent(const QModelIndex &child) const
{
    const Node *node = nodeOf(child);
    return node ? indexOfNode(node->parent) : QModelIndex();
}

int NoteOutlineModel::rowCount(const QModelIndex &parent) const
{
    if (parent.column() > 0)
        return 0;
    return int(childrenOf(parent).size());
}

int NoteOutlineModel::columnCount(const QModelIndex &) const
{
    return 1;
}

bool NoteOutlineModel::hasChildren(const QModelIndex &parent) const
{
    const Node *node = nodeOf(parent);
    if (!node)
        return !m_top.empty();
    // A page kept open for children to come shows its triangle while empty.
    return !node->memo->isLeaf() && showsChildren(*node->memo);
}

QVariant NoteOutlineModel::data(const QModelIndex &index, int role) const
{
    const Node *node = nodeOf(index);
    if (!node)
        return {};
    const JWMemo &memo = *node->memo;
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        return memo.title();
    case Qt::ToolTipRole:
        return memo.protectWithPassword() && !memo.unlockedPassword()
            ? tr("%1 (protected by the page password)").arg(memo.title())
            : memo.title();
    case Qt::ForegroundRole:
        return titleColorOf(memo);
    case MemoRole:
        return QVariant::fromValue(node->memo);
    case LabelColorRole:
        return memo.titleColor();
    case LockedRole:
        return memo.locked();
    case ProtectedRole:
        return memo.protectWithPassword() && !memo.unlockedPassword();
    case PasswordMarkRole:
        if (!memo.protectWithPassword())
            return int(NoPasswordMark);
        return int(memo.unlockedPassword() ? UnlockedMark : LockedMark);
    case WebIconRole: {
        const QImage icon = webIcon(memo.webIconImage());
        return icon.isNull() ? QVariant() : QVariant(icon);
    }
    default:
        return {};
    }
}

bool NoteOutlineModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    const Node *node = nodeOf(index);
    if (!node || role != Qt::EditRole || !m_titlesEditable)
        return false;
    if (m_controller.countSelection() != 1 || m_controller.selection() != node->memo)
        return false;
    m_controller.titleEdited(value.toString());
    return true;
}

Qt::ItemFlags NoteOutlineModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::ItemIsDropEnabled;
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled | Qt::ItemIsDropEnabled;
    if (m_titlesEditable)
        flags |= Qt::ItemIsEditable;
    return flags;
}

// --- Dragging: the decisions are the controller's ----------------------------------

QStringList NoteOutlineModel::mimeTypes() const
{
    return NoteTreeController::dragMimeTypes();
}

QMimeData *NoteOutlineModel::mimeData(const QModelIndexList &indexes) const
{
    QList<MemoPtr> memos;
    for (const QModelIndex &index : indexes) {
        if (MemoPtr memo = memoForIndex(index); memo && !memos.contains(memo))
            memos.append(memo);
    }
    return memos.isEmpty() ? nullptr : m_controller.writeItems(memos);
}

namespace {

Qt::DropActions sourceActionsFor(Qt::DropAction action)
{
    // A model-level drop knows only the action chosen: a copy stands for a
    // source that allows nothing but copying.
    return action == Qt::CopyAction ? Qt::DropActions(Qt::CopyAction) : (Qt::CopyAction | Qt::MoveAction);
}

} // namespace

bool NoteOutlineModel::canDropMimeData(
    const QMimeData *data, Qt::DropAction action, int row, int, const QModelIndex &parent) const
{
    if (!data)
        return false;
    return m_controller.validateDrop(*data, sourceActionsFor(action), memoForIndex(parent), row) != Qt::IgnoreAction;
}

bool NoteOutlineModel::dropMimeData(
    const QMimeData *data, Qt::DropAction action, int row, int, const QModelIndex &parent)
{
    if (!data || action == Qt::IgnoreAction)
        return false;
    return m_controller.acceptDrop(*data, sourceActionsFor(action), memoForIndex(parent), row);
}

Qt::DropActions NoteOutlineModel::supportedDropActions() const
{
    return Qt::CopyAction | Qt::MoveAction;
}

Qt::DropActions NoteOutlineModel::supportedDragActions() const
{
    return Qt::CopyAction | Qt::MoveAction;
}
