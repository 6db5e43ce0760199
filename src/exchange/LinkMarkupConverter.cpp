#include "LinkMarkupConverter.h"

#include "text/PageLinks.h"

#include <QDir>
#include <QTextCharFormat>
#include <QTextCursor>
#include <QTextDocument>
#include <QUrl>

namespace {

const QString kOpening = QStringLiteral("<a JW2Link ");
const QString kClosing = QStringLiteral("</a>");
const QString kTagEnd = QStringLiteral("\">");
const QString kValueStart = QStringLiteral("=\"");
const QString kHrefPrefix = QStringLiteral("<a JW2Link href=");
const QString kPageIDPrefix = QStringLiteral("<a JW2Link PageID=");
const QString kPathPrefix = QStringLiteral("<a JW2Link path=");

// The link a span names, or an empty string when it names none that is a URL.
QString linkOfSpan(const QString &span, const QString &value)
{
    if (span.startsWith(kHrefPrefix)) {
        // The text of the link stays as it was written: a URL that Qt reads
        // at all is kept in the form its author gave it.
        return !value.isEmpty() && QUrl(value, QUrl::StrictMode).isValid() ? value : QString();
    }
    if (span.startsWith(kPageIDPrefix)) {
        const QString link = PageLinks::memoLinkHeader() + value + QLatin1Char('/');
        return QUrl(link, QUrl::StrictMode).isValid() ? link : QString();
    }
    if (span.startsWith(kPathPrefix)) {
        if (value.isEmpty())
            return QString();
        return QUrl::fromLocalFile(QDir::current().absoluteFilePath(value)).toString(QUrl::FullyEncoded);
    }
    return QString();
}

// Converts the span [start, end) of @p document, whose text @p text mirrors
// and follows through the deletions. Answers the label's range.
TextSpan convertSpan(QTextDocument &document, QString &text, int start, int end)
{
    const QString span = text.mid(start, end - start);
    const qsizetype tagEnd = span.indexOf(kTagEnd, 0, Qt::CaseInsensitive);
    if (tagEnd < 0)
        return {start, end};
    const qsizetype labelStart = tagEnd + kTagEnd.size();
    const qsizetype closing = span.indexOf(kClosing, labelStart, Qt::CaseInsensitive);
    if (closing < 0)
        return {start, end};
    const qsizetype valueStart = span.indexOf(kValueStart, 0, Qt::CaseInsensitive);
    const QString value = valueStart >= 0 && valueStart < tagEnd
        ? span.mid(valueStart + kValueStart.size(), tagEnd - valueStart - kValueStart.size())
        : QString();
    const QString link = linkOfSpan(span, value);

    // The closing tag first, so that the opening tag's positions still hold;
    // deleting through a cursor leaves the label's own formats alone.
    QTextCursor cursor(&document);
    cursor.setPosition(start + int(closing));
    cursor.setPosition(start + int(closing + kClosing.size()), QTextCursor::KeepAnchor);
    cursor.removeSelectedText();
    cursor.setPosition(start);
    cursor.setPosition(start + int(labelStart), QTextCursor::KeepAnchor);
    cursor.removeSelectedText();
    text.remove(start + closing, kClosing.size());
    text.remove(start, labelStart);

    const TextSpan label{start, start + int(closing - labelStart)};
    if (!link.isEmpty() && !label.isEmpty()) {
        // Only the anchor: links made while editing are drawn blue and
        // underlined, converted ones keep the look their text had.
        QTextCharFormat format;
        format.setAnchor(true);
        format.setAnchorHref(link);
        cursor.setPosition(label.start);
        cursor.setPosition(label.end, QTextCursor::KeepAnchor);
        cursor.mergeCharFormat(format);
    }
    return label;
}

} // namespace

namespace LinkMarkupConverter {

int convertText(QTextDocument &document)
{
    QString text = document.toPlainText();
    qsizetype start = text.indexOf(kOpening);
    if (start < 0)
        return 0;
    int converted = 0;
    QTextCursor batch(&document);
    batch.beginEditBlock();
    while (start >= 0) {
        const qsizetype closing = text.indexOf(kClosing, start);
        if (closing < 0)
            break;
        const TextSpan label = convertSpan(document, text, int(start), int(closing + kClosing.size()));
        ++converted;
        start = text.indexOf(kOpening, label.end);
    }
    batch.endEditBlock();
    return converted;
}

TextRange noteText_setLinkAttributeAtRange(QTextDocument &document, const TextRange &span)
{
    const TextSpan fitted = TextSpan::fit(span, document);
    QString text = document.toPlainText();
    QTextCursor batch(&document);
    batch.beginEditBlock();
    const TextSpan label = convertSpan(document, text, fitted.start, fitted.end);
    batch.endEditBlock();
    return label.toRange();
}

} // namespace LinkMarkupConverter
