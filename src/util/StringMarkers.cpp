#include "StringMarkers.h"

#include "LocalizedCharacters.h"

#include <QStringList>
#include <QStringView>
#include <QUrl>

#include <algorithm>

namespace {

constexpr Qt::CaseSensitivity kCaseSensitive = Qt::CaseSensitive;
constexpr Qt::CaseSensitivity kAnyCase = Qt::CaseInsensitive;

// The window within which a cut position is looked for, before the limit.
constexpr qsizetype kDivideWindow = 200;

bool isInside(const QString &text, StringUtility::Range range)
{
    return range.location >= 0 && range.length >= 0 && range.location <= text.size()
        && range.length <= text.size() - range.location;
}

// The text after the first (or last) @p start, empty when there is none.
QString textAfter(const QString &text, const QString &start, bool last)
{
    if (start.isEmpty())
        return {};
    const qsizetype at = last ? text.lastIndexOf(start, -1, kAnyCase) : text.indexOf(start, 0, kAnyCase);
    return at < 0 ? QString() : text.mid(at + start.size());
}

// The text before the first (or last) @p end, empty when there is none.
QString textBefore(const QString &text, const QString &end, bool last)
{
    if (end.isEmpty())
        return {};
    const qsizetype at = last ? text.lastIndexOf(end, -1, kAnyCase) : text.indexOf(end, 0, kAnyCase);
    return at <= 0 ? QString() : text.left(at);
}

std::optional<QString> unlessEmpty(QString text)
{
    if (text.isEmpty())
        return std::nullopt;
    return text;
}

} // namespace

namespace StringUtility {

QString removeString(const QString &text, const QString &part)
{
    return replaceStringFrom(text, part, QString());
}

QString replaceStringFrom(const QString &text, const QString &from, const QString &to)
{
    if (from.isEmpty())
        return text;
    QString result = text;
    return result.replace(from, to, kCaseSensitive);
}

Range rangeOfStringFrom(const QString &text, const QString &start, const QString &end)
{
    return rangeOfStringFrom(text, start, end, Range{0, text.size()});
}

Range rangeOfStringFrom(const QString &text, const QString &start, const QString &end, Range within)
{
    if (text.isEmpty() || start.isEmpty() || end.isEmpty() || !isInside(text, within))
        return {};
    const QStringView view(text);
    const qsizetype startAt = view.sliced(within.location, within.length).indexOf(start, 0, kCaseSensitive);
    if (startAt < 0)
        return {};
    const qsizetype afterStart = within.location + startAt + start.size();
    const qsizetype endAt = view.sliced(afterStart, within.end() - afterStart).indexOf(end, 0, kCaseSensitive);
    if (endAt < 0)
        return {};
    const qsizetype location = within.location + startAt;
    return Range{location, afterStart + endAt + end.size() - location};
}

QString removeStringFrom(const QString &text, const QString &start, const QString &end)
{
    const Range range = rangeOfStringFrom(text, start, end);
    if (range.isEmpty())
        return text;
    return removeString(text, text.mid(range.location, range.length));
}

QString removeAllStringStartFrom(const QString &text, const QString &start, const QString &end)
{
    if (start.isEmpty() || end.isEmpty())
        return text;
    qsizetype startAt = text.indexOf(start, 0, kCaseSensitive);
    if (startAt < 0)
        return text;

    // Deleting a span and searching on from where it began is the same as
    // copying what lies between spans, which keeps long pages linear.
    QString result;
    qsizetype kept = 0;
    while (startAt >= 0) {
        const qsizetype endAt = text.indexOf(end, startAt + start.size(), kCaseSensitive);
        if (endAt < 0)
            break;
        result += QStringView(text).sliced(kept, startAt - kept);
        kept = endAt + end.size();
        startAt = text.indexOf(start, kept, kCaseSensitive);
    }
    result += QStringView(text).sliced(kept);
    return result;
}

std::optional<QString> substringFrom(const QString &text, const QString &start, const QString &end)
{
    return substringFrom(text, start, end, Range{0, text.size()});
}

std::optional<QString> substringFrom(const QString &text, const QString &start, const QString &end, Range within)
{
    if (start.isEmpty() || end.isEmpty() || !isInside(text, within))
        return std::nullopt;
    const qsizetype startAt = QStringView(text).sliced(within.location, within.length).indexOf(start, 0, kAnyCase);
    if (startAt < 0)
        return std::nullopt;
    const qsizetype afterStart = within.location + startAt + start.size();
    if (afterStart >= text.size())
        return std::nullopt;
    const qsizetype endAt = text.indexOf(end, afterStart, kAnyCase);
    if (endAt < 0)
        return std::nullopt;
    return unlessEmpty(text.mid(afterStart, endAt - afterStart));
}

std::optional<QString> substringFrom(const QString &text, const QString &start)
{
    return unlessEmpty(textAfter(text, start, false));
}

std::optional<QString> substringTo(const QString &text, const QString &end)
{
    return unlessEmpty(textBefore(text, end, false));
}

std::optional<QString> substringFromBackward(const QString &text, const QString &start, bool backward)
{
    return unlessEmpty(textAfter(text, start, backward));
}

std::optional<QString> substringToBackward(const QString &text, const QString &end, bool backward)
{
    return unlessEmpty(textBefore(text, end, backward));
}

QString removeAllHTMLTag(const QString &html)
{
    return arrangeHTMLString(removeAllStringStartFrom(html, QStringLiteral("<"), QStringLiteral(">")));
}

QString arrangeHTMLString(const QString &html)
{
    QString text = html;
    text.replace(QLatin1String("&lt;"), QLatin1String("<"));
    text.replace(QLatin1String("&gt;"), QLatin1String(">"));
    text.replace(QLatin1String("&amp;"), QLatin1String("&"));
    text.replace(QLatin1String("&quot;"), QLatin1String("\""));
    text.replace(QLatin1String("&nbsp;"), QLatin1String(" "));
    return text;
}

QString escapeForStringsFile(const QString &text)
{
    QString result = text;
    result.replace(QLatin1String("\\\\"), QLatin1String("\\"));
    result.replace(QLatin1String("\\\""), QLatin1String("\""));
    result.replace(QLatin1String("\""), QLatin1String("\\\""));
    result.replace(QLatin1String("\\;"), QLatin1String(";"));
    result.replace(QLatin1String("\\\\n"), QLatin1String("\n"));
    return result;
}

QString escapedStringWithPercent(const QString &text)
{
    // The characters a URL may hold as they are; everything else, "%"
    // included, is escaped.
    static const QByteArray kLegal = QByteArrayLiteral("!#$&'()*+,/:;=?@");
    const QString escaped = QString::fromLatin1(QUrl::toPercentEncoding(text, kLegal));
    QString percentOnly = text;
    percentOnly.replace(u'%', QLatin1String("%25"));
    return escaped == percentOnly ? text : escaped;
}

QString stringByAppendingBackSlashForCharacter(const QString &text, const QString &character)
{
    if (character.isEmpty())
        return text;
    const QStringList pieces = text.split(character, Qt::KeepEmptyParts, kCaseSensitive);
    QString result;
    for (qsizetype i = 0; i + 1 < pieces.size(); ++i) {
        result += pieces.at(i);
        if (result.size() > 2 && !result.endsWith(u'\\'))
            result += u'\\';
        result += character;
    }
    result += pieces.constLast();
    return result;
}

qsizetype dividePointUpToLength(const QString &text, qsizetype limit)
{
    if (text.size() <= limit)
        return text.size();
    limit = std::max<qsizetype>(limit, 0);
    const qsizetype windowStart = std::max<qsizetype>(limit - kDivideWindow, 0);
    const QStringView window = QStringView(text).sliced(windowStart, limit - windowStart);

    QStringList separators = {QStringLiteral("\n"), QStringLiteral(".")};
    const QString &touten = LocalizedCharacters::forThisThread().touten;
    if (touten.size() == 1)
        separators.append(touten);
    for (const QString &separator : std::as_const(separators)) {
        const qsizetype at = window.lastIndexOf(separator, -1, kCaseSensitive);
        if (at >= 0)
            return windowStart + at + separator.size();
    }
    return limit;
}

} // namespace StringUtility
