#pragma once

#include <QWidget>

class QTextEdit;

/**
 * The gutter beside a text view that numbers its paragraphs. It paints only
 * the paragraphs in sight, so a long page costs no more than a short one.
 * The view gives it room (its viewport's left margin) and its place.
 */
class LineNumberArea final : public QWidget
{
    Q_OBJECT
public:
    explicit LineNumberArea(QTextEdit &view);

    /** The width the numbers of the view's paragraphs need. */
    [[nodiscard]] int neededWidth() const;
    /** Lines the gutter up with the view's viewport. */
    void follow();

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QTextEdit &m_view;
};
