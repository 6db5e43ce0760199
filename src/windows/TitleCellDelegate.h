#pragma once

#include <QStyledItemDelegate>

/**
 * Draws one row of the outline: the selection background, the page's label
 * colour as a rounded band behind the title, the web clip's site icon, a
 * crossed-out pen before the title of a read-only page, a padlock (closed
 * while locked, open while unlocked) before the title of a password-protected
 * page, then the title in its character colour, cut short with an ellipsis
 * when the row is too narrow. A title that would not read on the selection
 * band (a read-only page's faded one, say) takes the theme's text colour that does.
 *
 * Titles are drawn at the "TitleSize" preference (stored points, see
 * PointSizes) when it is set,
 * else in the view's font; rows are as tall as that font plus a little room.
 * Editing is the standard line edit on the bare title (the pen is never part
 * of it).
 */
class TitleCellDelegate final : public QStyledItemDelegate
{
    Q_OBJECT
public:
    explicit TitleCellDelegate(QObject *parent = nullptr);

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    [[nodiscard]] QWidget *createEditor(
        QWidget *parent, const QStyleOptionViewItem &option, const QModelIndex &index) const override;

    /** @p base at the "TitleSize" preference (mapped to Qt points) when that is positive, else @p base itself. */
    [[nodiscard]] static QFont titleFont(const QFont &base);
    /** The symbol drawn (crossed out) before a read-only page's title. */
    [[nodiscard]] static QString penSymbol();
};
