#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

class QObject;

/**
 * The keys of a typed search phrase and the tests that match them against
 * text. Matching runs once per page, so nothing here looks anything up.
 */
namespace StringUtility {

/**
 * The keys of a typed search phrase. Quoted keys come first, inner spaces
 * kept; the rest is split at spaces, ideographic spaces, ideographic full
 * stops and commas. Empty keys stay in the list ("a  b" gives "a", "", "b"):
 * the matching functions skip them.
 */
[[nodiscard]] QStringList separateStringKeyToArray(const QString &phrase);

/**
 * The days of a typed list such as "1,3,5-10": single numbers as they are
 * (an empty entry reads as 0), ranges from the first to the last number but
 * never past 31. Full-width "-" and "~" mark ranges too; a reversed range
 * gives nothing, a trailing "-" is ignored.
 */
[[nodiscard]] QList<int> separateDateKeyToArray(const QString &list);

/** True when one of the non-empty @p keys occurs in @p text; never for empty text. */
[[nodiscard]] bool hasAnyKey(
    const QString &text, const QStringList &keys, Qt::CaseSensitivity sensitivity = Qt::CaseInsensitive);

/** As above with numbers, each matched by its shortest decimal text ("5", "2.5"). */
[[nodiscard]] bool hasAnyKey(
    const QString &text, const QList<double> &keys, Qt::CaseSensitivity sensitivity = Qt::CaseInsensitive);

/** True when one of the non-empty @p keys occurs in @p text, case-sensitive; never for no keys. */
[[nodiscard]] bool stringHasAnyKey(const QString &text, const QStringList &keys);

/** True when every non-empty key occurs in @p text, case-sensitive; always for no keys. */
[[nodiscard]] bool stringHasAllKeys(const QString &text, const QStringList &keys);

/**
 * "The attribute contains every key": a search phrase turned into a test of
 * one field of a record or of a page. Matching is literal, case- and
 * accent-sensitive. Without keys it matches everything, even a record that
 * lacks the attribute.
 */
class ContainsAllKeysPredicate
{
public:
    ContainsAllKeysPredicate() = default;
    /** Keeps the non-empty ones of @p keys. */
    ContainsAllKeysPredicate(const QString &attribute, const QStringList &keys);

    [[nodiscard]] const QString &attribute() const { return m_attribute; }
    [[nodiscard]] const QStringList &keys() const { return m_keys; }

    /** Whether @p value holds every key. */
    [[nodiscard]] bool matchesValue(const QString &value) const;
    /** Whether the record's attribute, read as text, holds every key. */
    [[nodiscard]] bool matches(const QVariantMap &record) const;
    /** Whether the object's property named as the attribute, read as text, holds every key. */
    [[nodiscard]] bool matches(const QObject &object) const;

private:
    [[nodiscard]] bool matchesVariant(const QVariant &value) const;

    QString m_attribute;
    QByteArray m_propertyName;
    QStringList m_keys;
};

/** The test that @p attribute contains every key of the search phrase @p phrase. */
[[nodiscard]] ContainsAllKeysPredicate andPredicateForAttribute(const QString &phrase, const QString &attribute);

} // namespace StringUtility
