#pragma once

#include "model/JWMemo.h"

#include <QAbstractListModel>
#include <QHash>
#include <QList>

class MemoTree;

/**
 * The pages a window's search lists: each row a page's title, with the
 * page's place in the tree (its ancestors' titles) for a second line.
 */
class SearchResultModel final : public QAbstractListModel
{
    Q_OBJECT
public:
    enum Role
    {
        MemoRole = Qt::UserRole + 1,
        /** The titles of the page's ancestors below the root, outermost first, joined by " › ". */
        PlaceRole,
    };

    explicit SearchResultModel(const MemoTree &tree, QObject *parent = nullptr);

    /** Lists @p pages instead, in their order. */
    void setPages(const QList<MemoPtr> &pages);
    [[nodiscard]] const QList<MemoPtr> &pages() const { return m_pages; }
    /** The row of @p memo, or -1. */
    [[nodiscard]] qsizetype rowOf(const JWMemo *memo) const;

    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;

private:
    [[nodiscard]] QString placeOf(const MemoPtr &memo) const;

    const MemoTree &m_tree;
    QList<MemoPtr> m_pages;
    // Places are asked for only for the rows on screen; finding a parent walks the tree.
    mutable QHash<const JWMemo *, QString> m_places;
};
