#include "SearchKeys.h"

#include "LocalizedCharacters.h"
#include "StringMarkers.h"

#include <QLocale>
#include <QObject>
#include <QVariant>

#include <algorithm>
#include <limits>

namespace {

// The integer a piece of text starts with, read as the platform's string
// conversion reads it: leading white space skipped, an optional sign, the
// digits up to the first other character; 0 when there are none, the
// nearest limit when the value overflows.
int leadingInteger(QStringView text)
{
    qsizetype i = 0;
    while (i < text.size() && text.at(i).isSpace())
        ++i;
    bool negative = false;
    if (i < text.size() && (text.at(i) == u'+' || text.at(i) == u'-')) {
        negative = text.at(i) == u'-';
        ++i;
    }
    constexpr qint64 kLimit = qint64(std::numeric_limits<int>::max()) + 1;
    qint64 value = 0;
    for (; i < text.size() && text.at(i) >= u'0' && text.at(i) <= u'9'; ++i)
        value = std::min(value * 10 + (text.at(i).unicode() - u'0'), kLimit);
    if (negative)
        return int(-value);
    return int(std::min<qint64>(value, std::numeric_limits<int>::max()));
}

} // namespace

namespace StringUtility {

QStringList separateStringKeyToArray(const QString &phrase)
{
    if (phrase.isEmpty())
        return {};
    const QString quote = QStringLiteral("\"");
    QStringList keys;
    QString rest = phrase;
    // Each round removes at least the quoted text it found, so this ends.
    while (const std::optional<QString> quoted = substringFrom(rest, quote, quote)) {
        keys.append(*quoted);
        rest = removeString(rest, quote + *quoted + quote);
    }
    rest.remove(u'"');
    if (rest.isEmpty())
        return keys;

    const LocalizedCharacters &characters = LocalizedCharacters::forThisThread();
    const QString comma = QStringLiteral(",");
    rest.replace(u' ', u',');
    rest = replaceStringFrom(rest, characters.space, comma);
    rest = replaceStringFrom(rest, characters.kuten, comma);
    keys.append(rest.split(u','));
    return keys;
}

QList<int> separateDateKeyToArray(const QString &list)
{
    if (list.isEmpty())
        return {};
    const LocalizedCharacters &characters = LocalizedCharacters::forThisThread();
    const QString comma = QStringLiteral(",");
    const QString dash = QStringLiteral("-");
    QString text = list;
    text.replace(u' ', u',');
    text = replaceStringFrom(text, characters.space, comma);
    text = replaceStringFrom(text, characters.kuten, comma);
    text = replaceStringFrom(text, characters.minus, dash);
    text = replaceStringFrom(text, characters.tilde, dash);

    constexpr int kLastDay = 31;
    QList<int> days;
    for (QString piece : text.split(u',')) {
        if (!piece.contains(u'-')) {
            days.append(leadingInteger(piece));
            continue;
        }
        if (piece.endsWith(u'-'))
            piece.chop(1);
        const QStringList bounds = piece.split(u'-');
        // Split at every "-", neither bound carries a minus sign: a range
        // runs from 0 at the lowest to 31 at the highest.
        const int first = leadingInteger(bounds.constFirst());
        const int last = std::min(leadingInteger(bounds.constLast()), kLastDay);
        for (int day = first; day <= last; ++day)
            days.append(day);
    }
    return days;
}

bool hasAnyKey(const QString &text, const QStringList &keys, Qt::CaseSensitivity sensitivity)
{
    if (text.isEmpty())
        return false;
    return std::any_of(keys.cbegin(), keys.cend(),
        [&](const QString &key) { return !key.isEmpty() && text.contains(key, sensitivity); });
}

bool hasAnyKey(const QString &text, const QList<double> &keys, Qt::CaseSensitivity sensitivity)
{
    if (text.isEmpty())
        return false;
    return std::any_of(keys.cbegin(), keys.cend(), [&](double key) {
        return text.contains(QString::number(key, 'g', QLocale::FloatingPointShortest), sensitivity);
    });
}

bool stringHasAnyKey(const QString &text, const QStringList &keys)
{
    return std::any_of(keys.cbegin(), keys.cend(),
        [&](const QString &key) { return !key.isEmpty() && text.contains(key, Qt::CaseSensitive); });
}

bool stringHasAllKeys(const QString &text, const QStringList &keys)
{
    return std::all_of(keys.cbegin(), keys.cend(),
        [&](const QString &key) { return key.isEmpty() || text.contains(key, Qt::CaseSensitive); });
}

ContainsAllKeysPredicate::ContainsAllKeysPredicate(const QString &attribute, const QStringList &keys)
    : m_attribute(attribute)
    , m_propertyName(attribute.toUtf8())
{
    for (const QString &key : keys) {
        if (!key.isEmpty())
            m_keys.append(key);
    }
}

bool ContainsAllKeysPredicate::matchesValue(const QString &value) const
{
    return stringHasAllKeys(value, m_keys);
}

bool ContainsAllKeysPredicate::matches(const QVariantMap &record) const
{
    return m_keys.isEmpty() || matchesVariant(record.value(m_attribute));
}

bool ContainsAllKeysPredicate::matches(const QObject &object) const
{
    return m_keys.isEmpty() || matchesVariant(object.property(m_propertyName.constData()));
}

bool ContainsAllKeysPredicate::matchesVariant(const QVariant &value) const
{
    // A missing value, or one that is no text, contains nothing.
    if (!value.isValid() || !value.canConvert<QString>())
        return false;
    return matchesValue(value.toString());
}

ContainsAllKeysPredicate andPredicateForAttribute(const QString &phrase, const QString &attribute)
{
    return ContainsAllKeysPredicate(attribute, separateStringKeyToArray(phrase));
}

} // namespace StringUtility
