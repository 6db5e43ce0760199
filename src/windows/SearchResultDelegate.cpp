#include "SearchResultDelegate.h"

#include "SearchResultModel.h"
#include "TitleCellDelegate.h"

#include "platform/base/PreferenceKeys.h"
#include "platform/richtext/PointSizes.h"
#include "platform/settings/UserDefaults.h"

#include <QApplication>
#include <QPainter>

namespace {

constexpr int kMargin = 4;

} // namespace

int SearchResultDelegate::titleLineHeight(const QFont &titleFont)
{
    const qint64 size = UserDefaults::standardUserDefaults().integerForKey(PreferenceKeys::TitleSize);
    const double points = size > 0 && size < 1000 ? double(size) + 3 : titleFont.pointSizeF() + 3;
    // Points of the stored size, as the outline's rows measure them.
    const int fromSize = int(std::ceil(PointSizes::qtFromStored(points) * 96.0 / 72.0));
    return std::max(fromSize, QFontMetrics(titleFont).height());
}

QFont SearchResultDelegate::placeFont(const QFont &base)
{
    QFont font = base;
    font.setPointSizeF(std::max(6.0, base.pointSizeF() * 0.85));
    return font;
}

QSize SearchResultDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    const QFont title = TitleCellDelegate::titleFont(option.font);
    int height = titleLineHeight(title);
    if (!index.data(SearchResultModel::PlaceRole).toString().isEmpty())
        height += QFontMetrics(placeFont(option.font)).height();
    return {option.rect.width(), height + kMargin};
}

void SearchResultDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    QStyleOptionViewItem item = option;
    initStyleOption(&item, index);
    const QString title = item.text;
    item.text.clear();
    const QWidget *widget = option.widget;
    QStyle *style = widget ? widget->style() : QApplication::style();
    style->drawControl(QStyle::CE_ItemViewItem, &item, painter, widget);

    const bool selected = option.state & QStyle::State_Selected;
    const QPalette::ColorRole textRole = selected ? QPalette::HighlightedText : QPalette::Text;
    const QRect area = option.rect.adjusted(kMargin, kMargin / 2, -kMargin, -kMargin / 2);
    const QFont titleFont = TitleCellDelegate::titleFont(option.font);
    const int titleHeight = titleLineHeight(titleFont);

    painter->save();
    painter->setFont(titleFont);
    painter->setPen(option.palette.color(textRole));
    const QRect titleRect(area.left(), area.top(), area.width(), titleHeight);
    painter->drawText(titleRect, Qt::AlignLeft | Qt::AlignVCenter,
        QFontMetrics(titleFont).elidedText(title, Qt::ElideRight, titleRect.width()));

    const QString place = index.data(SearchResultModel::PlaceRole).toString();
    if (!place.isEmpty()) {
        const QFont font = placeFont(option.font);
        QColor dim = option.palette.color(textRole);
        dim.setAlphaF(0.6);
        painter->setFont(font);
        painter->setPen(dim);
        const QRect placeRect(area.left(), titleRect.bottom() + 1, area.width(), area.bottom() - titleRect.bottom());
        painter->drawText(placeRect, Qt::AlignLeft | Qt::AlignTop,
            QFontMetrics(font).elidedText(place, Qt::ElideMiddle, placeRect.width()));
    }
    painter->restore();
}
