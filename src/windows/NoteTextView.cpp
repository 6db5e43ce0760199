#include "NoteTextView.h"

#include "ImageScaling.h"
#include "LineNumberArea.h"
#include "NoteTextMenu.h"

#include "model/JWMemo.h"
#include "platform/typedstream/ArchivedValues.h"
#include "platform/base/Localization.h"
#include "platform/base/PreferenceKeys.h"
#include "platform/richtext/PointSizes.h"
#include "platform/typedstream/TypedStreamDecoder.h"
#include "platform/settings/UserDefaults.h"
#include "text/TextHighlight.h"
#include "text/LinkClick.h"
#include "text/TextInformation.h"
#include "text/TextExport.h"
#include "text/TextLinks.h"
#include "text/TextStyling.h"
#include "util/CalendarFormat.h"

#include <QAbstractTextDocumentLayout>
#include <QApplication>
#include <QContextMenuEvent>
#include <QMenu>
#include <QMimeData>
#include <QMouseEvent>
#include <QTextBlock>
#include <QTextCursor>
#include <QScopeGuard>
#include <QScrollBar>
#include <QTextDocument>

namespace {

// Room between the text and the view's edges, so that text never touches them.
constexpr qreal kTextMargin = 10;

// Counting a text this long takes a few milliseconds; below it the counts
// follow every keystroke, above it they wait for a pause.
constexpr qsizetype kCountAtOnceBelow = 100'000;
constexpr int kSummaryPauseMilliseconds = 400;
// Pastes longer than this show the busy cursor while they are laid out.
constexpr qsizetype kLargePaste = 1'000'000;

bool isLineBreak(QChar c)
{
    return c == u'\n' || c == QChar::ParagraphSeparator || c == QChar::LineSeparator;
}

// The document's text with its paragraph breaks as they are.
QString rawText(const QTextDocument &document)
{
    return document.toRawText();
}

qsizetype firstLineBreak(const QString &text)
{
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (isLineBreak(text.at(i)))
            return i;
    }
    return -1;
}

} // namespace

NoteTextView::NoteTextView(QWidget *parent)
    : QTextEdit(parent)
    , m_ownDocument(std::make_unique<QTextDocument>())
{
    setDocument(m_ownDocument.get());
    setMouseTracking(true);
    viewport()->setMouseTracking(true);
    document()->setDocumentMargin(kTextMargin);
    m_summaryTimer.setSingleShot(true);
    connect(&m_summaryTimer, &QTimer::timeout, this, &NoteTextView::textSummaryChanged);
    connect(this, &QTextEdit::cursorPositionChanged, this, &NoteTextView::scheduleSummary);
    connect(this, &QTextEdit::selectionChanged, this, &NoteTextView::scheduleSummary);
    // A view that shows another view's document follows that document's edits too.
    connect(this, &QTextEdit::textChanged, this, &NoteTextView::scheduleSummary);

    UserDefaults::standardUserDefaults().observe(
        PreferenceKeys::BGColor, this, [this](const QVariant &, const QVariant &) { changeBGColor(); });
    changeBGColor();
}

NoteTextView::~NoteTextView()
{
    // A page still shown here takes its text back, and views sharing this
    // one's document move on before it goes.
    if (m_boundMemo)
        m_boundMemo->resignText(this);
    // The editor must let go of documents it does not own before they go.
    setDocument(nullptr);
}

Status NoteTextView::setRTFDData(const QByteArray &data)
{
    auto fresh = std::make_unique<QTextDocument>();
    // Text without a font of its own, a new page's above all, is in the default font.
    fresh->setDefaultFont(defaultFont().value_or(document()->defaultFont()));
    fresh->setDocumentMargin(kTextMargin);
    const Status read = TextExport::setRTFDData(*fresh, data);
    // Marks hold cursors into the document they were made on, which may go now.
    setExtraSelections({});
    setDocument(fresh.get());
    m_ownDocument = std::move(fresh);
    if (m_scaleImages)
        applyImageScaling();
    return read;
}

void NoteTextView::showDocument(QTextDocument *shared)
{
    QTextDocument *shown = shared ? shared : m_ownDocument.get();
    if (shown == document())
        return;
    setExtraSelections({});
    setDocument(shown);
    if (m_scaleImages)
        applyImageScaling();
}

void NoteTextView::setString(const QString &text)
{
    setPlainText(text);
}

QByteArray NoteTextView::RTFDData() const
{
    return TextExport::RTFDData(*document());
}

QString NoteTextView::string() const
{
    return TextExport::string(*document());
}

TextRange NoteTextView::visibleRange() const
{
    const int first = cursorForPosition(QPoint(0, 0)).position();
    const int last = cursorForPosition(QPoint(viewport()->width() - 1, viewport()->height() - 1)).position();
    return TextRange{first, std::max(0, last - first)};
}

void NoteTextView::scrollRangeToVisible(const TextRange &range)
{
    // Scrolls without moving the caret: setting a cursor would bring the
    // caret back into view when it is restored.
    const TextSpan span = TextSpan::fit(range, *document());
    QScrollBar *bar = verticalScrollBar();
    const auto rectAt = [this](int position) {
        QTextCursor cursor(document());
        cursor.setPosition(position);
        return cursorRect(cursor);
    };
    // The end first, then the start: the start stays in view when both cannot.
    const QRect end = rectAt(span.end);
    if (end.bottom() > viewport()->height())
        bar->setValue(bar->value() + end.bottom() - viewport()->height());
    else if (end.top() < 0)
        bar->setValue(bar->value() + end.top());
    const QRect start = rectAt(span.start);
    if (start.top() < 0 || start.bottom() > viewport()->height())
        bar->setValue(bar->value() + start.top());
}

TextRange NoteTextView::selectedRange() const
{
    return TextSpan::selection(textCursor()).toRange();
}

void NoteTextView::setSelectedRange(const TextRange &range)
{
    const TextSpan span = TextSpan::fit(range, *document());
    QTextCursor cursor(document());
    cursor.setPosition(span.start);
    cursor.setPosition(span.end, QTextCursor::KeepAnchor);
    setTextCursor(cursor);
}

// --- Appearance ---------------------------------------------------------------------

void NoteTextView::changeBGColor()
{
    QColor color = Qt::white;
    const QByteArray archived = UserDefaults::standardUserDefaults().dataForKey(PreferenceKeys::BGColor);
    if (const auto decoded = TypedStreamDecoder::unarchiveObjectWithData(archived);
        decoded.ok() && decoded.value().canConvert<ArchivedColor>()) {
        const QColor stored = decoded.value().value<ArchivedColor>().toColor();
        if (stored.isValid())
            color = stored;
    }
    QPalette palette = this->palette();
    palette.setColor(QPalette::Base, color);
    // Text without a colour of its own must stand out from the page, whatever
    // the desktop's theme: dark on a light page, light on a dark one.
    const QColor ink = color.lightnessF() > 0.5 ? QColor(Qt::black) : QColor(Qt::white);
    for (const QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive})
        palette.setColor(group, QPalette::Text, ink);
    palette.setColor(
        QPalette::Disabled, QPalette::Text, ink.lightnessF() > 0.5 ? QColor(Qt::lightGray) : QColor(Qt::darkGray));
    setPalette(palette);
    viewport()->setAutoFillBackground(true);
}

void NoteTextView::setScaleImages(bool on)
{
    m_scaleImages = on;
    applyImageScaling();
}

void NoteTextView::applyImageScaling()
{
    const qreal margins = 2 * document()->documentMargin();
    ImageScaling::install(*document())->setMaximumWidth(m_scaleImages, viewport()->width() - margins);
}

void NoteTextView::resizeEvent(QResizeEvent *event)
{
    QTextEdit::resizeEvent(event);
    if (m_scaleImages)
        applyImageScaling();
    if (lineNumbersVisible())
        m_lineNumbers->follow();
}

void NoteTextView::setPlainTextMode(bool plain)
{
    setAcceptRichText(!plain);
}

void NoteTextView::setLineNumbersVisible(bool visible)
{
    if (visible == lineNumbersVisible())
        return;
    if (!m_lineNumbers) {
        m_lineNumbers = new LineNumberArea(*this);
        // More paragraphs may need a wider gutter.
        connect(this, &QTextEdit::textChanged, this, [this] {
            if (lineNumbersVisible() && viewportMargins().left() != m_lineNumbers->neededWidth()) {
                setViewportMargins(m_lineNumbers->neededWidth(), 0, 0, 0);
                m_lineNumbers->follow();
            }
        });
    }
    setViewportMargins(visible ? m_lineNumbers->neededWidth() : 0, 0, 0, 0);
    m_lineNumbers->setVisible(visible);
    if (visible)
        m_lineNumbers->follow();
}

bool NoteTextView::lineNumbersVisible() const
{
    return m_lineNumbers && !m_lineNumbers->isHidden();
}

bool NoteTextView::canInsertFromMimeData(const QMimeData *source) const
{
    if (isPlainTextMode())
        return source->hasText();
    return QTextEdit::canInsertFromMimeData(source);
}

void NoteTextView::insertFromMimeData(const QMimeData *source)
{
    // Laying out megabytes of pasted text takes seconds: say so.
    const bool large = source->hasText() && source->text().size() > kLargePaste;
    if (large)
        QApplication::setOverrideCursor(Qt::WaitCursor);
    const auto restoreCursor = qScopeGuard([large] {
        if (large)
            QApplication::restoreOverrideCursor();
    });
    const auto insert = [&] {
        if (!isPlainTextMode()) {
            QTextEdit::insertFromMimeData(source);
            return;
        }
        // Only the words: a plain page holds no formatting and no pictures.
        if (source->hasText())
            textCursor().insertText(source->text(), QTextCharFormat());
    };
    if (large)
        insertWithLayoutDeferred(insert);
    else
        insert();
}

namespace {

// Lays out nothing: stands in while a long text goes into the document.
class DeferredLayout final : public QAbstractTextDocumentLayout
{
public:
    using QAbstractTextDocumentLayout::QAbstractTextDocumentLayout;
    void draw(QPainter *, const PaintContext &) override { }
    int hitTest(const QPointF &, Qt::HitTestAccuracy) const override { return -1; }
    int pageCount() const override { return 1; }
    QSizeF documentSize() const override { return {}; }
    QRectF frameBoundingRect(QTextFrame *) const override { return {}; }
    QRectF blockBoundingRect(const QTextBlock &) const override { return {}; }

protected:
    void documentChanged(int, int, int) override { }
};

} // namespace

void NoteTextView::insertWithLayoutDeferred(const std::function<void()> &insert)
{
    // The standard layout lays out every line of an inserted text at once
    // (seconds for megabytes), but a document it meets whole only as far as
    // the view shows, the rest in the background. So the text goes in with
    // nothing laid out, and then the standard layout starts afresh.
    QTextDocument *shown = document();
    shown->setDocumentLayout(new DeferredLayout(shown));
    insert();
    shown->setDocumentLayout(nullptr); // the view asks for a new standard layout at once
    ImageScaling::reinstall(*shown);
    if (m_scaleImages)
        applyImageScaling();
    ensureCursorVisible();
}

// --- Title line -------------------------------------------------------------------------

QString NoteTextView::topLine() const
{
    const QString text = rawText(*document());
    const qsizetype lineBreak = firstLineBreak(text);
    return lineBreak < 0 ? text : text.left(lineBreak);
}

bool NoteTextView::editedInTopLine() const
{
    const QString text = rawText(*document());
    const qsizetype lineBreak = firstLineBreak(text);
    if (lineBreak < 0)
        return true;
    if (textCursor().selectionStart() <= lineBreak + 1)
        return true;
    return lineBreak == 0;
}

void NoteTextView::insertTitleToTop(const QString &title)
{
    QTextCursor cursor(document());
    cursor.beginEditBlock();
    cursor.setPosition(0);
    cursor.insertBlock();
    cursor.setPosition(0);
    cursor.insertText(title);
    initializeFontInRange(TextRange{0, title.size() + 1}, true);
    cursor.endEditBlock();
}

void NoteTextView::changeTitle(const QString &title)
{
    if (isReadOnly())
        return;
    const QTextCursor selection = textCursor();
    const int anchor = selection.anchor();
    const int position = selection.position();
    const QString text = rawText(*document());
    const qsizetype lineBreak = firstLineBreak(text);
    QTextCursor cursor(document());
    cursor.setPosition(0);
    cursor.setPosition(int(lineBreak < 0 ? text.size() : lineBreak), QTextCursor::KeepAnchor);
    cursor.insertText(title);

    // The selection stays where it still fits, is cut at the end of the
    // text, or goes to the start when the text became shorter than its start.
    const int length = TextSpan::textLength(*document());
    const int start = std::min(anchor, position);
    QTextCursor restored(document());
    if (start > length) {
        restored.setPosition(0);
    } else {
        restored.setPosition(std::min(anchor, length));
        restored.setPosition(std::min(position, length), QTextCursor::KeepAnchor);
    }
    setTextCursor(restored);
}

// --- Fonts --------------------------------------------------------------------------------

std::optional<QFont> NoteTextView::defaultFont()
{
    const UserDefaults &defaults = UserDefaults::standardUserDefaults();
    const QString family = defaults.stringForKey(PreferenceKeys::DefaultFont);
    const double size = defaults.floatForKey(PreferenceKeys::DefaultFontSize);
    if (family.isEmpty() || size <= 0)
        return std::nullopt;
    QFont font(family);
    font.setPointSizeF(PointSizes::qtFromStored(size));
    return font;
}

void NoteTextView::clearText()
{
    clear();
    if (const std::optional<QFont> font = defaultFont()) {
        document()->setDefaultFont(*font);
        // Typing starts in the default font and nothing else.
        QTextCharFormat format;
        format.setFont(*font);
        setCurrentCharFormat(format);
    }
}

void NoteTextView::initializeFont(bool wholePage)
{
    if (wholePage) {
        initializeFontOfPage();
        return;
    }
    initializeFontInRange(TextSpan::selection(textCursor()).toRange(), false);
}

void NoteTextView::initializeFontInRange(const TextRange &range, bool deleteLink)
{
    const std::optional<QFont> font = defaultFont();
    if (!font || isReadOnly())
        return;
    TextStyling::initializeFontInRange(*document(), range, font, deleteLink);
}

void NoteTextView::initializeFontOfPage()
{
    const QTextCursor kept = textCursor();
    initializeFontInRange(TextSpan::whole(*document()).toRange(), false);
    setTextCursor(kept);
}

// --- Counts ---------------------------------------------------------------------------------

QString NoteTextView::countCharacters() const
{
    const QTextCursor cursor = textCursor();
    const int length = TextSpan::textLength(*document());
    if (!cursor.hasSelection())
        return QStringLiteral("(%1)/%2").arg(cursor.position()).arg(length);
    return QStringLiteral("%1/%2").arg(cursor.selectionEnd() - cursor.selectionStart()).arg(length);
}

QString NoteTextView::countWordsStr() const
{
    return QStringLiteral("%1/%2")
        .arg(TextInformation::countSelectedWords(textCursor()))
        .arg(TextInformation::countWords(*document()));
}

QVariantMap NoteTextView::textSummaryDictionary() const
{
    const QTextCursor cursor = textCursor();
    const QString text = rawText(*document());
    const qint64 length = text.size();
    const qint64 location = cursor.selectionStart();
    const qint64 selectedLength = cursor.selectionEnd() - cursor.selectionStart();
    qint64 lines = TextInformation::countLines(*document());
    if (text.isEmpty() || isLineBreak(text.back()))
        ++lines;
    qint64 currentLine = 1;
    if (lines > 1) {
        currentLine = 0;
        if (location <= length) {
            currentLine = 1;
            for (qsizetype i = 0; i < location; ++i)
                currentLine += isLineBreak(text.at(i)) ? 1 : 0;
        }
    }
    const qint64 words = TextInformation::countWords(*document());
    const qint64 selectedWords = TextInformation::countSelectedWords(cursor);
    const qint64 selectedLines = TextInformation::countSelectedLines(cursor);

    const auto line = [](const char *label, qint64 value) -> QString {
        return localizedString(QString::fromLatin1(label)) + QString::number(value);
    };
    const QString summary = line("         Characters: ", length) + u'\n' + line("   Current Position: ", location)
        + u'\n' + line("Selected Characters: ", selectedLength) + u'\n' + u'\n' + line("       Lines: ", lines) + u'\n'
        + line("Current Line: ", currentLine) + u'\n' + u'\n' + line("       Words: ", words) + u'\n'
        + line("Selected Words: ", selectedWords);
    return {
        {QStringLiteral("length"), length},
        {QStringLiteral("location"), location},
        {QStringLiteral("selectedLength"), selectedLength},
        {QStringLiteral("lines"), lines},
        {QStringLiteral("selectedLines"), selectedLines},
        {QStringLiteral("words"), words},
        {QStringLiteral("selectedWords"), selectedWords},
        {QStringLiteral("summary"), summary},
    };
}

int NoteTextView::summaryDelayForLength(qsizetype length)
{
    return length < kCountAtOnceBelow ? 0 : kSummaryPauseMilliseconds;
}

void NoteTextView::scheduleSummary()
{
    // Restarting the timer on every keystroke is what makes a long text wait
    // for a pause; a short one is counted on the next turn of the event loop.
    m_summaryTimer.start(summaryDelayForLength(document()->characterCount()));
}

// --- Commands ----------------------------------------------------------------------------------

void NoteTextView::insertTimeStamp()
{
    const QDateTime now = QDateTime::currentDateTime();
    const QString weekday = localizedString(QLocale::c().toString(now, QStringLiteral("ddd")));
    const QString stamp = CalendarFormat::format(now, localizedString(QStringLiteral("DateStampFormat"))) + weekday
        + CalendarFormat::format(now, localizedString(QStringLiteral("TimeStampFormat")));
    textCursor().insertText(stamp);
}

void NoteTextView::removeLink()
{
    TextLinks::removeLink(*document(), TextSpan::selection(textCursor()).toRange());
}

std::unique_ptr<QMenu> NoteTextView::menuForEvent(const QPoint &position)
{
    std::unique_ptr<QMenu> menu(createStandardContextMenu(position));
    NoteTextMenu::addEntries(*this, *menu);
    return menu;
}

void NoteTextView::contextMenuEvent(QContextMenuEvent *event)
{
    menuForEvent(event->pos())->exec(event->globalPos());
}

void NoteTextView::changeColor(const QColor &color)
{
    const TextRange selection = TextSpan::selection(textCursor()).toRange();
    if (m_changingBackgroundColor)
        TextHighlight::setBackgroundColor(*document(), color, selection);
    else
        TextStyling::changeTextColor(*document(), color, selection);
}

void NoteTextView::setChangingBackgroundColor(bool on)
{
    if (m_changingBackgroundColor == on)
        return;
    m_changingBackgroundColor = on;
    Q_EMIT changingBackgroundColorChanged(on);
}

// --- Links ------------------------------------------------------------------------------------------

void NoteTextView::mousePressEvent(QMouseEvent *event)
{
    m_pressPosition = event->position().toPoint();
    m_pressedLink = event->button() == Qt::LeftButton ? anchorAt(m_pressPosition) : QString();
    QTextEdit::mousePressEvent(event);
}

void NoteTextView::mouseMoveEvent(QMouseEvent *event)
{
    QTextEdit::mouseMoveEvent(event);
    const bool overLink = !anchorAt(event->position().toPoint()).isEmpty();
    viewport()->setCursor(overLink ? Qt::PointingHandCursor : Qt::IBeamCursor);
}

void NoteTextView::mouseReleaseEvent(QMouseEvent *event)
{
    QTextEdit::mouseReleaseEvent(event);
    const QPoint position = event->position().toPoint();
    // A click, not the end of a drag that selected text.
    if (m_pressedLink.isEmpty() || event->button() != Qt::LeftButton
        || (position - m_pressPosition).manhattanLength() >= QApplication::startDragDistance()
        || textCursor().hasSelection() || anchorAt(position) != m_pressedLink)
        return;
    const QString link = std::exchange(m_pressedLink, QString());
    Q_EMIT clickedOnLink(link, cursorForPosition(position).position());
    if (m_linkClickHost)
        (void)LinkClick::resolve(*m_linkClickHost, link);
}
