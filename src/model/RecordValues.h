#pragma once

#include <QString>
#include <QVariant>

class QObject;

/**
 * What the records (JWMemo, JWWindowAttribute) share: access to their fields
 * by key, and the checks their archive coders make on decoded values.
 */
namespace RecordValues {

/**
 * Sets the property named @p key of @p record. Only declared properties:
 * QObject::setProperty would add a dynamic property for an unknown key and
 * hide the caller's mistake. Returns false for an unknown key or a value the
 * property refuses.
 */
bool setValueForKey(QObject &record, const QString &key, const QVariant &value);
/** The property named @p key of @p record, or an invalid QVariant for an unknown key. */
[[nodiscard]] QVariant valueForKey(const QObject &record, const QString &key);

/** @p value without ArchivedAs wrappers: a record cares about the value, not the class it was archived as. */
[[nodiscard]] QVariant unwrapped(QVariant value);
/** True for every integer type an archived number can arrive as (booleans included). */
[[nodiscard]] bool isInteger(const QVariant &value);
/** True for integers and floating-point numbers. */
[[nodiscard]] bool isNumber(const QVariant &value);

} // namespace RecordValues
