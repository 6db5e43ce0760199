#include "LineNumberArea.h"

#include <QAbstractTextDocumentLayout>
#include <QPainter>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextEdit>

LineNumberArea::LineNumberArea(QTextEdit &view)
    : QWidget(&view)
    , m_view(view)
{
    setObjectName(QStringLiteral("lineNumberArea"));
    connect(m_view.verticalScrollBar(), &QScrollBar::valueChanged, this, qOverload<>(&QWidget::update));
    connect(&m_view, &QTextEdit::textChanged, this, qOverload<>(&QWidget::update));
}

int LineNumberArea::neededWidth() const
{
    const int paragraphs = std::max(1, m_view.document()->blockCount());
    const int digits = int(QString::number(paragraphs).size());
    return 12 + fontMetrics().horizontalAdvance(QLatin1Char('9')) * std::max(digits, 2);
}

void LineNumberArea::follow()
{
    const QRect viewport = m_view.viewport()->geometry();
    setGeometry(viewport.left() - neededWidth(), viewport.top(), neededWidth(), viewport.height());
}

void LineNumberArea::paintEvent(QPaintEvent *event)
{
    QPainter painter(this);
    painter.fillRect(event->rect(), palette().color(QPalette::Window));
    painter.setPen(palette().color(QPalette::PlaceholderText));
    QAbstractTextDocumentLayout *layout = m_view.document()->documentLayout();
    const int scrolled = m_view.verticalScrollBar()->value();
    QTextBlock block = m_view.cursorForPosition(QPoint(0, 0)).block();
    const int lineHeight = fontMetrics().height();
    while (block.isValid()) {
        const QRectF bounds = layout->blockBoundingRect(block);
        const int top = int(bounds.top()) - scrolled;
        if (top > height())
            break;
        if (block.isVisible() && top + int(bounds.height()) >= 0) {
            painter.drawText(QRect(0, top, width() - 6, lineHeight), Qt::AlignRight | Qt::AlignVCenter,
                QString::number(block.blockNumber() + 1));
        }
        block = block.next();
    }
}
