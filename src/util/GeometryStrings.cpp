#include "GeometryStrings.h"

#include <QList>
#include <QLocale>

#include <algorithm>
#include <cmath>

namespace GeometryStrings {
namespace {

QString number(double value)
{
    // Whole numbers without a decimal point, the way the platform prints
    // geometry; anything else in the shortest form that reads back exactly.
    if (std::isfinite(value) && value == std::trunc(value) && std::abs(value) < 1e15)
        return QString::number(qint64(value));
    return QString::number(value, 'g', QLocale::FloatingPointShortest);
}

bool isDigit(QChar c)
{
    return c >= u'0' && c <= u'9';
}

// The length of the number that starts at @p from ([-+]?(\d+\.?\d*|\.\d+)([eE][-+]?\d+)?),
// or 0 when none starts there. Geometry strings are read by the thousand at
// start-up, so this scans by hand rather than with a regular expression.
qsizetype numberLength(QStringView text, qsizetype from)
{
    qsizetype i = from;
    const qsizetype n = text.size();
    if (i < n && (text[i] == u'-' || text[i] == u'+'))
        ++i;
    qsizetype digits = 0;
    while (i < n && isDigit(text[i]))
        ++i, ++digits;
    if (i < n && text[i] == u'.') {
        ++i;
        while (i < n && isDigit(text[i]))
            ++i, ++digits;
    }
    if (digits == 0)
        return 0;
    if (i < n && (text[i] == u'e' || text[i] == u'E')) {
        qsizetype j = i + 1;
        if (j < n && (text[j] == u'-' || text[j] == u'+'))
            ++j;
        if (j < n && isDigit(text[j])) {
            while (j < n && isDigit(text[j]))
                ++j;
            i = j;
        }
    }
    return i - from;
}

QList<double> numbersIn(const QString &text, qsizetype wanted)
{
    QList<double> numbers;
    numbers.reserve(wanted);
    const QStringView view(text);
    for (qsizetype i = 0; i < view.size() && numbers.size() < wanted;) {
        const qsizetype length = numberLength(view, i);
        if (length == 0) {
            ++i;
            continue;
        }
        const double value = view.mid(i, length).toDouble();
        numbers.append(std::isfinite(value) ? value : 0.0);
        i += length;
    }
    while (numbers.size() < wanted)
        numbers.append(0.0);
    return numbers;
}

qint64 rangeNumber(double value)
{
    // Beyond 2^53 a double no longer counts characters exactly; no text is that long.
    constexpr double kLargest = 9007199254740992.0;
    if (!(value > 0))
        return 0;
    return qint64(std::min(std::trunc(value), kLargest));
}

} // namespace

QString stringFromRect(const QRectF &rect)
{
    return QStringLiteral("{{%1, %2}, {%3, %4}}")
        .arg(number(rect.x()), number(rect.y()), number(rect.width()), number(rect.height()));
}

QString stringFromSize(const QSizeF &size)
{
    return QStringLiteral("{%1, %2}").arg(number(size.width()), number(size.height()));
}

QString stringFromRange(const TextRange &range)
{
    return QStringLiteral("{%1, %2}").arg(range.location).arg(range.length);
}

QRectF rectFromString(const QString &text)
{
    const QList<double> n = numbersIn(text, 4);
    return QRectF(n[0], n[1], n[2], n[3]);
}

QSizeF sizeFromString(const QString &text)
{
    const QList<double> n = numbersIn(text, 2);
    return QSizeF(n[0], n[1]);
}

TextRange rangeFromString(const QString &text)
{
    const QList<double> n = numbersIn(text, 2);
    return TextRange{rangeNumber(n[0]), rangeNumber(n[1])};
}

} // namespace GeometryStrings
