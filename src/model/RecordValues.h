#pragma once

#include "platform/typedstream/TypedStreamRegistry.h"

#include <QString>
#include <QVariant>

#include <memory>

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

/**
 * Stores @p value in @p field and answers whether it changed, so that a
 * record's change signals fire only for real changes and an observer that
 * writes back does not loop.
 */
template<typename T> bool assign(T &field, const T &value)
{
    if (field == value)
        return false;
    field = value;
    return true;
}

/**
 * The typed-stream coder of a record class at @p version. Records are held
 * as std::shared_ptr<Record> in QVariants; the same record archived twice is
 * one object, written once and referenced afterwards.
 */
template<typename Record>
TypedStreamCoder recordCoder(const QByteArray &className, qint64 version,
    Status (*encode)(TypedStreamWriter &, const QVariant &, qint64), TypedStreamCoder::Decode decode)
{
    TypedStreamCoder coder;
    coder.className = className;
    coder.version = version;
    coder.encode = [encode, version](TypedStreamWriter &writer, const QVariant &value) {
        return encode(writer, value, version);
    };
    coder.decode = std::move(decode);
    coder.identity = [](const QVariant &value) -> const void * {
        return value.value<std::shared_ptr<Record>>().get();
    };
    return coder;
}

} // namespace RecordValues
