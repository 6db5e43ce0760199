#pragma once

#include <QStyledItemDelegate>

/**
 * Draws a search result: the page's title in the outline's title font on a
 * line "TitleSize" + 3 points high, and below it, smaller and dimmer, where
 * the page stands in the tree.
 */
class SearchResultDelegate final : public QStyledItemDelegate
{
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

private:
    [[nodiscard]] static int titleLineHeight(const QFont &titleFont);
    [[nodiscard]] static QFont placeFont(const QFont &base);
};
