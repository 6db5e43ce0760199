#include "TitleCellDelegate.h"

#include "NoteOutlineModel.h"

#include "platform/base/Localization.h"
#include "platform/base/PreferenceKeys.h"
#include "platform/richtext/PointSizes.h"
#include "platform/settings/UserDefaults.h"

#include <QApplication>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QStyle>
#include <QWidget>

#include <algorithm>
#include <cmath>

namespace {

// Room between the cell's edges and what is drawn in it.
constexpr int kPadding = 4;
// Room after the icon and after the pen.
constexpr int kGap = 3;
// Rows are this much taller than the title font, so labels do not touch.
constexpr int kRowExtra = 4;

QColor foregroundColor(const QStyleOptionViewItem &option, const QModelIndex &index)
{
    const QVariant value = index.data(Qt::ForegroundRole);
    if (value.canConvert<QColor>()) {
        const QColor color = value.value<QColor>();
        if (color.isValid())
            return color;
    }
    if (value.canConvert<QBrush>())
        return value.value<QBrush>().color();
    return option.palette.color(QPalette::Text);
}

// A selected title turns white (the highlighted text colour) only while its
// selection is the one the keyboard works on: the view has the focus in an
// active application. Otherwise it keeps its own colour on the grey band.
bool drawsEmphasised(const QStyleOptionViewItem &option)
{
    if (!(option.state & QStyle::State_Selected))
        return false;
    if (QGuiApplication::applicationState() != Qt::ApplicationActive)
        return false;
    if (option.state & QStyle::State_HasFocus)
        return true;
    const QWidget *view = option.widget;
    return view && view->window()->isActiveWindow() && view->hasFocus();
}

// The padlock beside a protected page's title is this wide for @p metrics.
int padlockWidth(const QFontMetrics &metrics)
{
    return std::max(6, metrics.ascent() * 2 / 3);
}

// A padlock in @p box: the shackle closed into the body when @p locked, else
// lifted with its left leg out of the body.
void drawPadlock(QPainter &painter, const QRect &box, bool locked, const QColor &color)
{
    const qreal width = box.width();
    const qreal bodyHeight = width * 0.8;
    const qreal stroke = std::max<qreal>(1.0, width / 7.0);
    const QRectF body(box.left(), box.center().y() - bodyHeight * 0.2, width, bodyHeight);
    const qreal shackleWidth = width * 0.62;
    const qreal lift = locked ? 0.0 : width * 0.3;
    const qreal left = body.left() + (width - shackleWidth) / 2;
    const QRectF arc(left, body.top() - shackleWidth * 0.8 - lift, shackleWidth, shackleWidth);
    QPainterPath shackle;
    shackle.moveTo(arc.left(), locked ? body.top() : arc.center().y() + shackleWidth * 0.15);
    shackle.lineTo(arc.left(), arc.center().y());
    shackle.arcTo(arc, 180, -180);
    shackle.lineTo(arc.right(), body.top());
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setPen(QPen(color, stroke, Qt::SolidLine, Qt::FlatCap));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(shackle);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawRoundedRect(body, stroke, stroke);
    painter.setRenderHint(QPainter::Antialiasing, false);
}

// The colour group the style fills a selected row's band from.
QPalette::ColorGroup bandGroup(const QStyleOptionViewItem &option)
{
    if (!(option.state & QStyle::State_Enabled))
        return QPalette::Disabled;
    return option.state & QStyle::State_Active ? QPalette::Active : QPalette::Inactive;
}

// Lightness this far apart reads; closer, a title melts into what is behind it.
constexpr double kReadableLightness = 0.35;

bool readsOn(const QColor &text, const QColor &background)
{
    return std::abs(text.lightnessF() - background.lightnessF()) >= kReadableLightness;
}

QImage fittedIcon(const QImage &icon, int rowHeight)
{
    const int side = std::max(1, rowHeight - 2);
    if (icon.height() <= side && icon.width() <= side)
        return icon;
    // Site icons are small, so smooth scaling costs next to nothing per row.
    return icon.scaled(side, side, Qt::KeepAspectRatio, Qt::SmoothTransformation);
}

} // namespace

TitleCellDelegate::TitleCellDelegate(QObject *parent)
    : QStyledItemDelegate(parent)
{ }

QFont TitleCellDelegate::titleFont(const QFont &base)
{
    QFont font = base;
    const qint64 size = UserDefaults::standardUserDefaults().integerForKey(PreferenceKeys::TitleSize);
    if (size > 0 && size < 1000)
        font.setPointSizeF(PointSizes::qtFromStored(double(size)));
    return font;
}

QString TitleCellDelegate::penSymbol()
{
    // Without the strings table the key comes back as it is; "P" is no pen.
    const QString key = QStringLiteral("PenSymbol");
    const QString pen = localizedString(key);
    return pen.isEmpty() || pen == key ? QStringLiteral("\u270E") : pen;
}

void TitleCellDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    QStyleOptionViewItem opt = option;
    initStyleOption(&opt, index);
    const QWidget *widget = opt.widget;
    QStyle *style = widget ? widget->style() : QApplication::style();

    painter->save();
    style->drawPrimitive(QStyle::PE_PanelItemViewItem, &opt, painter, widget);

    const QRect cell = opt.rect;
    const QFont font = titleFont(opt.font);
    const QFontMetrics metrics(font);
    const bool emphasised = drawsEmphasised(opt);

    const QColor label = index.data(NoteOutlineModel::LabelColorRole).value<QColor>();
    const bool hasLabel = label.isValid() && label.alpha() > 0;
    QColor textColor = foregroundColor(opt, index);
    if (emphasised) {
        textColor = opt.palette.color(QPalette::Active, QPalette::HighlightedText);
    } else if (hasLabel && !readsOn(textColor, label)) {
        // A theme's light text on a light label (or dark on dark) would not
        // be read: the title takes the label's own dark or light shade.
        textColor = label.lightnessF() > 0.5 ? label.darker(400) : label.lighter(300);
    } else if (!hasLabel && (opt.state & QStyle::State_Selected)) {
        // A faded (read-only) or pale title on the selection band takes
        // whichever of the theme's text colours stands out on the band.
        const QPalette::ColorGroup group = bandGroup(opt);
        const QColor band = opt.palette.color(group, QPalette::Highlight);
        if (!readsOn(textColor, band)) {
            const QColor highlighted = opt.palette.color(group, QPalette::HighlightedText);
            const QColor plain = opt.palette.color(group, QPalette::Text);
            textColor = std::abs(highlighted.lightnessF() - band.lightnessF())
                    >= std::abs(plain.lightnessF() - band.lightnessF())
                ? highlighted
                : plain;
        }
    }

    // Lay the row out first: the label band is as long as what it stands behind.
    int x = cell.left() + kPadding;
    QImage icon = index.data(NoteOutlineModel::WebIconRole).value<QImage>();
    QRect iconRect;
    if (!icon.isNull()) {
        icon = fittedIcon(icon, cell.height());
        iconRect = QRect(x, cell.top() + (cell.height() - icon.height()) / 2, icon.width(), icon.height());
        x += icon.width() + kGap;
    }
    const bool locked = index.data(NoteOutlineModel::LockedRole).toBool();
    const QString pen = locked ? penSymbol() : QString();
    QRect penRect;
    if (locked) {
        penRect = QRect(x, cell.top(), metrics.horizontalAdvance(pen), cell.height());
        x += penRect.width() + kGap;
    }
    const int mark = index.data(NoteOutlineModel::PasswordMarkRole).toInt();
    QRect markRect;
    if (mark != NoteOutlineModel::NoPasswordMark) {
        markRect = QRect(x, cell.top(), padlockWidth(metrics), cell.height());
        x += markRect.width() + kGap;
    }
    const QString title = index.data(Qt::DisplayRole).toString();
    const int available = cell.right() - kPadding - x + 1;
    const QString shown = available > 0 ? metrics.elidedText(title, Qt::ElideRight, available) : QString();
    const QRect titleRect(x, cell.top(), std::max(0, available), cell.height());

    if (hasLabel) {
        const QRectF band = QRectF(cell).adjusted(1, 1, -1, -1);
        const qreal radius = band.height() / 2;
        const qreal right = std::min(band.right(), x + metrics.horizontalAdvance(shown) + radius);
        painter->setRenderHint(QPainter::Antialiasing, true);
        painter->setPen(Qt::NoPen);
        painter->setBrush(label);
        painter->drawRoundedRect(
            QRectF(band.topLeft(), QPointF(std::max(right, band.left() + 2 * radius), band.bottom())), radius, radius);
        painter->setRenderHint(QPainter::Antialiasing, false);
    }

    if (!icon.isNull())
        painter->drawImage(iconRect, icon);

    painter->setFont(font);
    if (locked) {
        // The pen wears the page's label colour; on the label itself a darker
        // shade of it, or it would vanish into the band.
        QColor penColor = hasLabel ? label.darker(250) : textColor;
        if (emphasised)
            penColor = textColor;
        penColor.setAlpha(255);
        painter->setPen(penColor);
        painter->drawText(penRect, Qt::AlignLeft | Qt::AlignVCenter, pen);
        const QRect ink = metrics.tightBoundingRect(pen);
        const int baseline = cell.top() + (cell.height() - metrics.height()) / 2 + metrics.ascent();
        const int middle = ink.isEmpty() ? penRect.center().y() : baseline + ink.center().y();
        const int left = ink.isEmpty() ? penRect.left() : penRect.left() + ink.left() - 1;
        const int right = ink.isEmpty() ? penRect.right() : penRect.left() + ink.right() + 1;
        painter->fillRect(QRect(QPoint(left, middle - 1), QPoint(right, middle)), penColor);
    }

    if (mark != NoteOutlineModel::NoPasswordMark)
        drawPadlock(*painter, markRect, mark == NoteOutlineModel::LockedMark, textColor);

    if (!shown.isEmpty()) {
        painter->setPen(textColor);
        painter->drawText(titleRect, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, shown);
    }
    painter->restore();
}

QSize TitleCellDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    QStyleOptionViewItem opt = option;
    initStyleOption(&opt, index);
    const QFontMetrics metrics(titleFont(opt.font));
    const int height = metrics.height() + kRowExtra;
    int width = 2 * kPadding + metrics.horizontalAdvance(index.data(Qt::DisplayRole).toString());
    if (index.data(NoteOutlineModel::LockedRole).toBool())
        width += metrics.horizontalAdvance(penSymbol()) + kGap;
    if (!index.data(NoteOutlineModel::WebIconRole).value<QImage>().isNull())
        width += height - 2 + kGap;
    if (index.data(NoteOutlineModel::PasswordMarkRole).toInt() != NoteOutlineModel::NoPasswordMark)
        width += padlockWidth(metrics) + kGap;
    return {width, height};
}

QWidget *TitleCellDelegate::createEditor(
    QWidget *parent, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    QWidget *editor = QStyledItemDelegate::createEditor(parent, option, index);
    if (editor)
        editor->setFont(titleFont(option.font));
    return editor;
}
