#include "TextLinks.h"

#include "DocumentText.h"
#include "util/StringMarkers.h"
#include "util/StringUtility.h"

#include <QColor>
#include <QTextCursor>
#include <QTextDocument>
#include <QUrl>

#include <vector>

namespace {

void addLink(QTextDocument &document, TextSpan span, const QString &href)
{
    QTextCharFormat format;
    format.setAnchor(true);
    format.setAnchorHref(href);
    format.setForeground(QColor(Qt::blue));
    format.setUnderlineStyle(QTextCharFormat::SingleUnderline);
    QTextCursor cursor(&document);
    cursor.beginEditBlock();
    cursor.setPosition(span.start);
    cursor.setPosition(span.end, QTextCursor::KeepAnchor);
    cursor.mergeCharFormat(format);
    cursor.endEditBlock();
}

// The link text as setLink() keeps it, or nothing when the text makes no link.
std::optional<QString> linkText(const QString &link)
{
    const QString escaped = StringUtility::escapedStringWithPercent(link);
    if (escaped.isEmpty() || !QUrl(escaped, QUrl::StrictMode).isValid())
        return std::nullopt;
    return escaped;
}

QString firstLine(QString text)
{
    text.replace(QChar::ParagraphSeparator, u'\n');
    text.replace(QChar::LineSeparator, u'\n');
    text = StringUtility::replaceReturnCode(text);
    const qsizetype end = text.indexOf(u'\n');
    return end < 0 ? text : text.left(end);
}

} // namespace

namespace TextLinks {

void setLink(QTextDocument &document, const TextRange &range, const QString &link)
{
    const std::optional<QString> href = linkText(link);
    if (!href) {
        removeLink(document, range);
        return;
    }
    const TextSpan span = TextSpan::fit(range, document);
    if (!span.isEmpty())
        addLink(document, span, *href);
}

void setLink(QTextDocument &document, const TextRange &range, const QUrl &url)
{
    if (url.isEmpty() || !url.isValid()) {
        removeLink(document, range);
        return;
    }
    const TextSpan span = TextSpan::fit(range, document);
    if (!span.isEmpty())
        addLink(document, span, url.toString(QUrl::FullyEncoded));
}

void setLinkToMemo(QTextDocument &document, qint64 memoID, bool openInNewWindow, const TextRange &range)
{
    setLink(document, range, PageLinks::pageLink(memoID, openInNewWindow));
}

void removeLink(QTextDocument &document, const TextRange &range)
{
    const TextSpan span = TextSpan::fit(range, document);
    if (span.isEmpty())
        return;
    QTextCursor batch(&document);
    batch.beginEditBlock();
    DocumentText::clearProperties(document, span,
        {QTextFormat::IsAnchor, QTextFormat::AnchorHref, QTextFormat::FontUnderline, QTextFormat::TextUnderlineStyle,
            QTextFormat::ForegroundBrush});
    batch.endEditBlock();
}

void setAutoLink(QTextDocument &document, const TextRange &range)
{
    const TextSpan span = TextSpan::fit(range, document);
    if (span.isEmpty())
        return;
    QTextCursor cursor(&document);
    cursor.setPosition(span.start);
    cursor.setPosition(span.end, QTextCursor::KeepAnchor);
    QString link = firstLine(cursor.selectedText());
    if (!link.contains(QLatin1String("://")) && link.contains(u'@'))
        link = QStringLiteral("mailto:") + link;
    setLink(document, range, link);
}

std::optional<PageLinks::LinkDescription> linkForSelection(const QTextDocument &document, const TextRange &range)
{
    const TextSpan span = TextSpan::fit(range, document);
    if (span.isEmpty())
        return std::nullopt;
    const QTextCharFormat format = DocumentText::formatAt(document, span.start);
    if (!format.isAnchor())
        return std::nullopt;
    return PageLinks::describeLink(format.anchorHref());
}

int connvertLinkIDWithDicitonary(QTextDocument &document, const QHash<qint64, qint64> &idMap)
{
    struct Piece
    {
        int first;
        int last;
        QString href;
    };
    // Collected first: setting a format splits and merges the fragments being walked.
    std::vector<Piece> pieces;
    int links = 0;
    int previousEnd = -1;
    QString previousHref;
    DocumentText::forEachFragment(
        document, TextSpan::whole(document), [&](const QTextFragment &fragment, int first, int last) {
            const QTextCharFormat format = fragment.charFormat();
            const QString href = format.anchorHref();
            if (!format.isAnchor() || !PageLinks::isPageLink(href))
                return true;
            const std::optional<QString> idText = PageLinks::memoIDTextOfLink(href);
            const std::optional<qint64> oldID = idText ? PageLinks::memoIDFromText(*idText) : std::nullopt;
            const auto found = oldID ? idMap.constFind(*oldID) : idMap.constEnd();
            if (found == idMap.constEnd())
                return true;
            // Only the ID field changes: the old ID's digits may occur elsewhere
            // in the address, in the scheme's own name among others.
            const qsizetype idStart = PageLinks::memoLinkHeader().size();
            const QString rewritten = href.left(idStart) + QString::number(*found) + href.mid(idStart + idText->size());
            if (rewritten == href)
                return true;
            // A link runs on across a paragraph break, as the break carries its format.
            const bool continues = href == previousHref
                && (first == previousEnd
                    || (first == previousEnd + 1 && document.characterAt(previousEnd) == QChar::ParagraphSeparator));
            if (!continues)
                ++links;
            previousEnd = last;
            previousHref = href;
            pieces.push_back({first, last, std::move(rewritten)});
            return true;
        });
    if (pieces.empty())
        return 0;
    QTextCursor cursor(&document);
    cursor.beginEditBlock();
    for (const Piece &piece : pieces) {
        QTextCharFormat format;
        format.setAnchorHref(piece.href);
        cursor.setPosition(piece.first);
        cursor.setPosition(piece.last, QTextCursor::KeepAnchor);
        cursor.mergeCharFormat(format);
    }
    cursor.endEditBlock();
    return links;
}

} // namespace TextLinks
