#pragma once

#include "platform/base/Result.h"
#include "TypedStreamNode.h"
#include "TypedStreamRegistry.h"

#include <QByteArray>
#include <QHash>
#include <QVariant>

#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

struct TypedStreamType;

/**
 * Writes a typed stream (little-endian "streamtyped", streamer version 4) the
 * way the platform's archiver does, byte for byte.
 *
 * Each encode call writes one group. Objects are written through the coder of
 * their class: the value's ArchivedAs class when it is wrapped in one, else
 * the registry's default class for its Qt type. Generic objects
 * (TypedStreamObjectPtr, and the object inside an ArchivedImage) are
 * re-encoded from their tree.
 *
 * Identity: an object written a second time becomes a reference to the first.
 * Two values are the same object when they share their data: copies of one
 * QString, QByteArray, QVariantList or QVariantMap (not merely equal ones), one
 * generic object, or what a coder's identity function says. Empty strings,
 * data and containers, numbers, dates and colours have no identity and are
 * written anew each time; NSNull is written once and referenced afterwards.
 *
 * Integers take the 1-, 2- or 4-byte form; 'q' and 'Q' values beyond 32 bits
 * take the 8-byte form. Other integer types must fit their 32-bit range: a
 * larger value is an error rather than a truncated number.
 */
class TypedStreamWriter
{
public:
    /** A writer that has written the header; @p registry must outlive it. */
    explicit TypedStreamWriter(const TypedStreamRegistry &registry = TypedStreamRegistry::shared());
    ~TypedStreamWriter();
    TypedStreamWriter(const TypedStreamWriter &) = delete;
    TypedStreamWriter &operator=(const TypedStreamWriter &) = delete;

    /** The header plus one '@' group holding @p root. */
    [[nodiscard]] static Result<QByteArray> archivedDataWithRootObject(
        const QVariant &root, const TypedStreamRegistry &registry = TypedStreamRegistry::shared());
    /** Re-encodes a generic tree: the header plus @p archive's top-level groups. */
    [[nodiscard]] static Result<QByteArray> archivedDataWithArchive(const TypedStreamArchive &archive);

    /** Reserves room for @p bytes of output. */
    void reserve(qsizetype bytes) { m_out.reserve(bytes); }
    /** The stream written so far. */
    [[nodiscard]] const QByteArray &data() const { return m_out; }

    /** One '@' group holding @p value (a null QVariant is nil). */
    Status encodeObject(const QVariant &value);
    /** One '@' group holding an NSString (or @p className) made of UTF-8 bytes the caller already has. */
    Status encodeStringBytes(const QByteArray &utf8, const QByteArray &className = QByteArrayLiteral("NSString"));
    /** One group of the single type @p type holding @p value. */
    Status encodeValueOfObjCType(QByteArrayView type, const QVariant &value);
    /** One group of type @p types holding one of @p values per type. */
    Status encodeValuesOfObjCTypes(QByteArrayView types, const QVariantList &values);
    /** One group of a generic tree, re-encoded value by value. */
    Status encodeGroup(const TypedStreamGroup &group);

    /** One 'c' group (a BOOL). */
    void encodeBool(bool value);
    /** One 'i' group. */
    void encodeInt(qint32 value);
    /** One 'f' group. */
    void encodeFloat(float value);
    /** One 'd' group. */
    void encodeDouble(double value);

private:
    using Types = std::vector<TypedStreamType>;

    void writeInt(qint64 value);
    void writeInt64(qint64 value);
    void writeReal(double value, bool isDouble);
    void writeByteString(QByteArrayView bytes);
    void writeSharedString(QByteArrayView text);
    void writeCString(QByteArrayView text);
    void writeReference(qint64 index);
    void writeClassChain(const TypedStreamCoder &coder);
    void writeClassChain(const TypedStreamClass *cls);
    bool writeKnownObject(const void *identity);
    void remember(const void *identity, const QVariant &keepAlive);

    Result<std::shared_ptr<const Types>> typesOf(QByteArrayView text);
    Status writeObject(const QVariant &value);
    Status writeGenericObject(const TypedStreamObjectPtr &object);
    Status writeValue(const TypedStreamType &type, const QVariant &value);
    Status writeGenericValue(const TypedStreamType &type, const TypedStreamValue &value);

    const TypedStreamRegistry &m_registry;
    QByteArray m_out;
    qint64 m_objectCount = 0;
    int m_depth = 0;
    qint64 m_nullIndex = -1;
    std::vector<QByteArray> m_stringStore;
    std::unordered_map<std::string_view, qint64> m_strings;
    std::unordered_map<std::string_view, qint64> m_cstrings;
    std::unordered_map<std::string_view, qint64> m_classes;
    std::unordered_map<const void *, qint64> m_objects;
    std::vector<QVariant> m_keepAlive;
    QHash<QByteArray, std::shared_ptr<const Types>> m_types;
};
