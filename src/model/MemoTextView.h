#pragma once

#include "platform/base/Result.h"
#include "util/GeometryStrings.h"

#include <QByteArray>
#include <QString>

class JWMemo;
class QTextDocument;

/**
 * A text view as a page sees it while the view shows the page: the page
 * fills it, a second view on the same page shares the first one's document,
 * and the page takes the text back when the view moves on (JWMemo::setText,
 * JWMemo::resignText). The note text view implements it; the model never
 * sees a widget.
 */
class MemoTextView
{
public:
    virtual ~MemoTextView() = default;

    /** The document the view shows now: its own, or the one it shares. */
    [[nodiscard]] virtual QTextDocument *textDocument() const = 0;
    /** The view's own document, which it shows unless it shares another. */
    [[nodiscard]] virtual QTextDocument *ownDocument() const = 0;
    /** Shows @p document (another view's, to share it), or the view's own when null. */
    virtual void showDocument(QTextDocument *document) = 0;

    /** Replaces the own document's text by the RTFD (or RTF) @p data; an error leaves it empty. */
    virtual Status loadRTFD(const QByteArray &data) = 0;
    /** Replaces the text by @p text, unformatted. */
    virtual void setString(const QString &text) = 0;
    /** Empties the text, leaving the default font for typing. */
    virtual void clearText() = 0;
    /** Pictures no wider than the view (the page's "scaleImages"), or at their own size. */
    virtual void setScaleImages(bool on) = 0;
    /** Rich text with pictures, or plain text only. */
    virtual void setRichText(bool rich) = 0;
    [[nodiscard]] virtual bool isRichText() const = 0;

    /** The whole text as flattened RTFD. */
    [[nodiscard]] virtual QByteArray RTFDData() const = 0;
    /** The whole text, paragraphs joined by "\n". */
    [[nodiscard]] virtual QString string() const = 0;
    /** The text before the first line break. */
    [[nodiscard]] virtual QString topLine() const = 0;

    /** The characters in view. */
    [[nodiscard]] virtual TextRange visibleRange() const = 0;
    /** Scrolls so that @p range is in view. */
    virtual void scrollRangeToVisible(const TextRange &range) = 0;
    [[nodiscard]] virtual TextRange selectedRange() const = 0;
    virtual void setSelectedRange(const TextRange &range) = 0;

    /**
     * The page the view shows from now on (null: none any more). A view that
     * goes away while it shows a page must give the page its text back
     * (JWMemo::resignText); a page that goes away first sets null.
     */
    virtual void setBoundMemo(JWMemo *memo) = 0;
};
