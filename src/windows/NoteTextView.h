#pragma once

#include "model/MemoTextView.h"
#include "platform/base/Result.h"
#include "text/TextSpan.h"

#include <QFont>
#include <QPointer>
#include <QTextEdit>
#include <QTimer>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <optional>

class JWMemo;
class LineNumberArea;
class LinkClickHost;
class QMenu;
using MemoPtr = std::shared_ptr<JWMemo>;

/**
 * The rich-text editor in which a note window shows its page.
 *
 * Besides editing it gives the page its title (the text's first line), resets
 * text to the default font, counts characters, words and lines for the
 * window's footer and summary, stamps the date, and opens links on a click
 * with the pointing-hand cursor over them. The background follows the
 * "BGColor" preference.
 *
 * A view has a document of its own (originalStorage()); a second view on the
 * same page shares the first one's document instead, so that both edit one
 * text, and returns to its own afterwards.
 */
class NoteTextView : public QTextEdit, public MemoTextView
{
    Q_OBJECT
    /** While on, colours chosen in the colour dialog highlight the selection instead of colouring its text. */
    Q_PROPERTY(bool changingBackgroundColor READ changingBackgroundColor WRITE setChangingBackgroundColor NOTIFY
            changingBackgroundColorChanged)
public:
    explicit NoteTextView(QWidget *parent = nullptr);
    ~NoteTextView() override;

    /**
     * Where clicked links go: pages are found and shown through @p host, other
     * links handed to the desktop (see LinkClick). Without a host a click
     * only emits clickedOnLink(). Not owned.
     */
    void setLinkClickHost(LinkClickHost *host) { m_linkClickHost = host; }

    /** The page shown, or null. */
    [[nodiscard]] MemoPtr selectedMemo() const { return m_selectedMemo; }
    void setSelectedMemo(const MemoPtr &memo) { m_selectedMemo = memo; }
    /** The document the view was made with, to which it returns after sharing another view's. */
    [[nodiscard]] QTextDocument *originalStorage() const { return m_ownDocument.get(); }

    // --- MemoTextView -----------------------------------------------------------------
    [[nodiscard]] QTextDocument *textDocument() const override { return document(); }
    [[nodiscard]] QTextDocument *ownDocument() const override { return originalStorage(); }
    void showDocument(QTextDocument *shared) override;
    Status loadRTFD(const QByteArray &data) override { return setRTFDData(data); }
    void setString(const QString &text) override;
    void setRichText(bool rich) override { setPlainTextMode(!rich); }
    [[nodiscard]] bool isRichText() const override { return !isPlainTextMode(); }
    [[nodiscard]] QByteArray RTFDData() const override;
    [[nodiscard]] QString string() const override;
    [[nodiscard]] TextRange visibleRange() const override;
    void scrollRangeToVisible(const TextRange &range) override;
    [[nodiscard]] TextRange selectedRange() const override;
    void setSelectedRange(const TextRange &range) override;
    void setBoundMemo(JWMemo *memo) override { m_boundMemo = memo; }
    /** The page whose text this view edits, or null. */
    [[nodiscard]] JWMemo *boundMemo() const { return m_boundMemo; }

    /**
     * Shows the RTFD (or RTF) @p data as the view's own text. The text is
     * read into a fresh document that then takes the old one's place, which
     * is several times faster than filling a document the view lays out as
     * it grows; the old document goes, with its undo steps.
     */
    Status setRTFDData(const QByteArray &data);

    // --- Appearance ---------------------------------------------------------------
    /** Applies the "BGColor" preference (an archived colour; white when unreadable). */
    void changeBGColor();

    /** Shrinks pictures wider than the view to its width (the page's "scaleImages"), without changing the text. */
    void setScaleImages(bool on) override;
    [[nodiscard]] bool scaleImages() const { return m_scaleImages; }
    /**
     * A plain-text page's view: text pasted or dropped in loses its
     * formatting and pictures are refused (setRichText and
     * setImportsGraphics of a page view).
     */
    void setPlainTextMode(bool plain);
    /** Numbers the paragraphs in a gutter at the left. */
    void setLineNumbersVisible(bool visible);
    [[nodiscard]] bool lineNumbersVisible() const;
    [[nodiscard]] bool isPlainTextMode() const { return !acceptRichText(); }

    // --- Title line ---------------------------------------------------------------
    /** The text before the first line break; the whole text without one. */
    [[nodiscard]] QString topLine() const;
    /** True when the caret or selection starts within the first line (so the title may change). */
    [[nodiscard]] bool editedInTopLine() const;
    /** Makes @p title the new first line, in the default font and without links. */
    void insertTitleToTop(const QString &title);
    /** Replaces the first line by @p title, keeping the selection where it still fits. Only when editable. */
    void changeTitle(const QString &title);

    // --- Fonts --------------------------------------------------------------------
    /** The font of "DefaultFont" at "DefaultFontSize"; none unless both are set. */
    [[nodiscard]] static std::optional<QFont> defaultFont();
    /** Empties the text; typing then starts in the default font. */
    void clearText() override;
    /** Resets the selection's font and attributes (the whole page with @p wholePage). */
    void initializeFont(bool wholePage = false);
    /** Resets @p range to the default font, removing links with @p deleteLink. Nothing without a default font. */
    void initializeFontInRange(const TextRange &range, bool deleteLink);
    /** Resets the whole text to the default font, keeping the selection. */
    void initializeFontOfPage();

    // --- Counts ---------------------------------------------------------------------
    /** "(location)/length" with nothing selected, "selected/length" otherwise. */
    [[nodiscard]] QString countCharacters() const;
    /** "selected words/all words". */
    [[nodiscard]] QString countWordsStr() const;
    /**
     * The numbers of the text information panel ("length", "location",
     * "selectedLength", "lines", "selectedLines", "words", "selectedWords")
     * and under "summary" the same as labelled lines.
     */
    [[nodiscard]] QVariantMap textSummaryDictionary() const;

    // --- Commands -------------------------------------------------------------------
    /** Replaces the selection by the date, the weekday and the time, as one undoable step. */
    void insertTimeStamp();
    /**
     * The context menu for a click at @p position (in viewport coordinates):
     * Qt's editing commands and the view's own (see NoteTextMenu).
     */
    [[nodiscard]] std::unique_ptr<QMenu> menuForEvent(const QPoint &position);
    /** Takes the links off the selected text (with their colour and underline), as one undoable step. */
    void removeLink();

    /** How long the counts wait after an edit of a text of @p length characters, in milliseconds. */
    [[nodiscard]] static int summaryDelayForLength(qsizetype length);

    /**
     * A colour chosen in the colour dialog: the selection's text colour, or
     * its highlight while changingBackgroundColor() is on.
     */
    void changeColor(const QColor &color);

    [[nodiscard]] bool changingBackgroundColor() const { return m_changingBackgroundColor; }
    void setChangingBackgroundColor(bool on);

Q_SIGNALS:
    /** The link @p link at character @p index was clicked. */
    void clickedOnLink(const QString &link, int index);
    /**
     * The counts changed: emitted once typing pauses, at once for short
     * texts and after a short delay for long ones, so that counting a large
     * text never runs on every keystroke.
     */
    void textSummaryChanged();
    void changingBackgroundColorChanged(bool on);
    /** The user asked to set or change the selection's link (the window shows the link sheet). */
    void editLinkRequested();
    /** The user asked to highlight the selection (the window shows the colour dialog). */
    void changeTextBackgroundColorRequested();

protected:
    void resizeEvent(QResizeEvent *event) override;
    bool canInsertFromMimeData(const QMimeData *source) const override;
    void insertFromMimeData(const QMimeData *source) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    void scheduleSummary();
    void insertWithLayoutDeferred(const std::function<void()> &insert);
    void applyImageScaling();

    MemoPtr m_selectedMemo;
    // The page whose text this view shows (see JWMemo::setText); not owned.
    JWMemo *m_boundMemo = nullptr;
    LinkClickHost *m_linkClickHost = nullptr;
    LineNumberArea *m_lineNumbers = nullptr;
    // The view's own text; not a child of the view, so that showing a shared
    // document never deletes it.
    std::unique_ptr<QTextDocument> m_ownDocument;
    QTimer m_summaryTimer;
    QPoint m_pressPosition;
    QString m_pressedLink;
    bool m_changingBackgroundColor = false;
    bool m_scaleImages = false;
};
