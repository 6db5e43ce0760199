#include "SearchResultModel.h"

#include "model/MemoTree.h"

SearchResultModel::SearchResultModel(const MemoTree &tree, QObject *parent)
    : QAbstractListModel(parent)
    , m_tree(tree)
{ }

void SearchResultModel::setPages(const QList<MemoPtr> &pages)
{
    beginResetModel();
    m_pages = pages;
    m_places.clear();
    endResetModel();
}

qsizetype SearchResultModel::rowOf(const JWMemo *memo) const
{
    const auto it
        = std::find_if(m_pages.cbegin(), m_pages.cend(), [memo](const MemoPtr &page) { return page.get() == memo; });
    return it == m_pages.cend() ? -1 : it - m_pages.cbegin();
}

int SearchResultModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_pages.size());
}

QVariant SearchResultModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_pages.size())
        return {};
    const MemoPtr &memo = m_pages.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
        return memo->title().isEmpty() ? tr("Untitled") : memo->title();
    case Qt::ToolTipRole:
    case PlaceRole:
        return placeOf(memo);
    case MemoRole:
        return QVariant::fromValue(memo);
    default:
        return {};
    }
}

QString SearchResultModel::placeOf(const MemoPtr &memo) const
{
    if (const auto known = m_places.constFind(memo.get()); known != m_places.cend())
        return *known;
    QStringList titles;
    for (MemoPtr parent = m_tree.parentOfMemo(memo); parent && parent != m_tree.root();
         parent = m_tree.parentOfMemo(parent))
        titles.prepend(parent->title());
    const QString place = titles.join(QStringLiteral(" \u203A "));
    m_places.insert(memo.get(), place);
    return place;
}
