#pragma once

#include <QObject>
#include <QPointer>
#include <QTextObjectInterface>

class QTextDocument;

/**
 * Draws a document's pictures no wider than the view, when the page asks for
 * it, without changing the document: the sizes stored with the text stay as
 * they are, only the layout shrinks what is too wide (keeping its
 * proportions). Installed on a document's layout, so every view that shares
 * the document shows the pictures the same way.
 */
class ImageScaling final : public QObject, public QTextObjectInterface
{
    Q_OBJECT
    Q_INTERFACES(QTextObjectInterface)
public:
    /** Takes over the drawing of @p document's pictures; owned by the document. */
    static ImageScaling *install(QTextDocument &document);
    /** Registers again with @p document's layout after the document got a new one. */
    static void reinstall(QTextDocument &document);

    /** Pictures are shrunk to @p width points when on; shown at their own size when off. */
    void setMaximumWidth(bool on, qreal width);
    [[nodiscard]] bool isOn() const { return m_on; }

    QSizeF intrinsicSize(QTextDocument *document, int position, const QTextFormat &format) override;
    void drawObject(QPainter *painter, const QRectF &rect, QTextDocument *document, int position,
        const QTextFormat &format) override;

private:
    explicit ImageScaling(QTextDocument &document);
    [[nodiscard]] QSizeF naturalSize(QTextDocument *document, const QTextImageFormat &format) const;

    QPointer<QTextDocument> m_document;
    bool m_on = false;
    qreal m_width = 0;
};
