// The page's side of showing it in text views: filling a view, sharing one
// document among several views, and taking the text back.
#include "JWMemo.h"
#include "MemoTextView.h"
#include "ModelLog.h"
#include "platform/base/PreferenceKeys.h"
#include "platform/settings/UserDefaults.h"

#include <QTextDocument>

namespace {

// A remembered range is applied only when it lies inside the text.
bool fits(const TextRange &range, qint64 length)
{
    return range.location < length && range.length < length && range.location + range.length <= length;
}

} // namespace

void JWMemo::setText(MemoTextView *view)
{
    if (!view || view == m_focusText || m_textArray.contains(view))
        return;
    setReferenceNumber(m_referenceNumber + 1);
    view->setBoundMemo(this);
    if (!m_focusText) {
        m_focusText = view;
        setDataToTextView(view);
        return;
    }
    view->setRichText(m_focusText->isRichText());
    view->setScaleImages(m_scaleImages);
    view->showDocument(m_focusText->textDocument());
    m_textArray.append(view);
}

void JWMemo::takeTextFromView(MemoTextView *view)
{
    if (!view || (view != m_focusText && !m_textArray.contains(view)))
        return;
    // Only an edited text is taken back: storing what was loaded would
    // rewrite the page file on every change of selection, and a text that
    // could not be read must not replace the stored one unless the user
    // changed it.
    QTextDocument *document = view->textDocument();
    if (document && document->isModified()) {
        m_takingTextFromView = true;
        setPlainText(view->string());
        setMemoData(view->RTFDData());
        m_takingTextFromView = false;
        document->setModified(false);
    }
    setScrollRange(view->visibleRange());
    setSelectedRange(view->selectedRange());
}

void JWMemo::resignText(MemoTextView *view)
{
    if (!view || (view != m_focusText && !m_textArray.contains(view)))
        return;
    takeTextFromView(view);
    view->setBoundMemo(nullptr);

    if (view != m_focusText) {
        view->showDocument(nullptr);
        m_textArray.removeOne(view);
        return;
    }
    if (m_textArray.isEmpty()) {
        m_focusText = nullptr;
        return;
    }
    // The first sharing view takes over: the others let go of the leaving
    // view's document first, then share the new focus's.
    for (MemoTextView *other : std::as_const(m_textArray))
        other->showDocument(nullptr);
    m_focusText = m_textArray.takeFirst();
    setDataToTextView(m_focusText);
    for (MemoTextView *other : std::as_const(m_textArray))
        other->showDocument(m_focusText->textDocument());
}

void JWMemo::releaseTextViews()
{
    // The views go on with their own documents; the focus view's document
    // stays with the focus view, so sharing views let go of it first.
    for (MemoTextView *view : std::as_const(m_textArray)) {
        view->showDocument(nullptr);
        view->setBoundMemo(nullptr);
    }
    m_textArray.clear();
    if (m_focusText)
        m_focusText->setBoundMemo(nullptr);
    m_focusText = nullptr;
}

void JWMemo::setDataToTextView(MemoTextView *view)
{
    if (!view)
        return;
    // Views sharing this one's document let go of it while it is replaced.
    const bool sharedFocus = view == m_focusText && !m_textArray.isEmpty();
    if (sharedFocus) {
        for (MemoTextView *other : std::as_const(m_textArray))
            other->showDocument(nullptr);
    }
    view->showDocument(nullptr);
    const bool rich = !isPlainTextMemo();
    view->setRichText(rich);
    bool usePlainText = !rich;
    m_textUnreadable = false;
    if (rich) {
        // Reading the text replaces the view's document, typing font included.
        const QByteArray data = memoData();
        if (Status loaded = view->loadRTFD(data); !loaded) {
            qCWarning(lcModel, "Page %lld: its text cannot be read (%s); showing its plain text", m_memoID,
                qPrintable(loaded.errorMessage()));
            usePlainText = true;
            m_textUnreadable = true;
        } else if (view->textDocument()->isEmpty() && !plainText().isEmpty()) {
            usePlainText = true;
        }
    }
    if (usePlainText) {
        view->clearText();
        view->setString(plainText());
    }
    view->setScaleImages(m_scaleImages);

    const qint64 length = view->textDocument()->characterCount() - 1;
    if (fits(m_scrollRange, length))
        view->scrollRangeToVisible(m_scrollRange);
    view->setSelectedRange(fits(m_selectedRange, length) ? m_selectedRange : TextRange{0, 0});
    if (QTextDocument *document = view->textDocument()) {
        document->setModified(false);
        document->clearUndoRedoStacks();
    }
    if (UserDefaults::standardUserDefaults().boolForKey(PreferenceKeys::UseTopLineAsTitle))
        setTitle(view->topLine());

    if (sharedFocus) {
        for (MemoTextView *other : std::as_const(m_textArray)) {
            other->setRichText(rich);
            other->setScaleImages(m_scaleImages);
            other->showDocument(view->textDocument());
        }
    }
}
