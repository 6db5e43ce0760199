#pragma once

#include "platform/base/Result.h"
#include "TypedStreamNode.h"
#include "TypedStreamRegistry.h"

#include <QByteArray>
#include <QHash>
#include <QVariant>

#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <utility>
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
 *
 * Rewriting part of a stream: a writer that tracks spans records, for each
 * stretch between two markSpan() calls, which table entries it defines and
 * which earlier ones it refers to. A continuing writer (see Continuation)
 * then writes one stretch anew as it would stand at a given place of that
 * stream, so that the stretch can be put in place of the old one without
 * writing the rest again; it fails when the stretch would not come out as a
 * whole new stream would have it.
 */
class TypedStreamWriter
{
public:
    /** A name (shared string, class or C string) a span entered into a table. */
    struct Definition
    {
        char table = 's'; ///< 's' string table; 'c' class, '*' C string (both object table)
        QByteArray name;
        qint64 number = 0;
        friend bool operator==(const Definition &, const Definition &) = default;
    };

    /** What the bytes between two marks define and refer to. */
    struct Span
    {
        qint64 offset = 0;
        qint64 length = 0;
        qint64 firstObject = 0; ///< object-table entries taken before the span
        qint64 objects = 0;     ///< entries the span takes
        qint64 firstString = 0;
        qint64 strings = 0;
        qint64 maxObjectReference = -1; ///< the highest earlier object-table entry referred to
        qint64 maxStringReference = -1;
        bool refersToItself = false; ///< refers to an entry it defines: its bytes depend on where it starts
        std::vector<Definition> definitions;
        /** An object with an identity the span wrote first. */
        struct Identity
        {
            const void *identity = nullptr;
            qint64 number = 0;
            QVariant keepAlive; ///< holds what the identity points into
        };
        std::vector<Identity> identities;
        /** Numbers of earlier objects with an identity that the span refers to. */
        std::vector<qint64> identityReferences;
    };

    /** Where a continuing writer finds an object that has an identity. */
    struct Earlier
    {
        enum Kind
        {
            New,
            At,
            Conflict
        } kind
            = New;
        qint64 number = 0;
    };

    /**
     * A stretch written anew in a stream that @p base wrote. The stretch
     * starts after @p objects object-table and @p strings string-table
     * entries; base's entries below the visible limits stand where base put
     * them and are referred to. With @p redefine (the stretch starts where its
     * old version did), names base defined at or beyond the limits may be
     * defined again at the same numbers. @p earlier places objects with an
     * identity: At an earlier number, New, or Conflict when the stretch would
     * need to refer to an object that is not before it.
     */
    struct Continuation
    {
        const TypedStreamWriter *base = nullptr;
        qint64 objects = 0;
        qint64 strings = 0;
        qint64 visibleObjects = 0;
        qint64 visibleStrings = 0;
        bool redefine = false;
        int depth = 0;
        std::function<Earlier(const void *identity)> earlier;
    };

    /** A writer that has written the header; @p registry must outlive it. */
    explicit TypedStreamWriter(const TypedStreamRegistry &registry = TypedStreamRegistry::shared());
    ~TypedStreamWriter();
    /** A writer that writes no header and continues a stream as @p continuation says. */
    explicit TypedStreamWriter(
        const Continuation &continuation, const TypedStreamRegistry &registry = TypedStreamRegistry::shared());
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
    /** Takes the stream written so far, leaving the writer's tables of names as they are. */
    [[nodiscard]] QByteArray takeData();

    /** From now on, markSpan() ends one span and starts the next. */
    void trackSpans();
    /** Ends the span being written (when tracking) and starts the next here. */
    void markSpan();
    /** Ends the span being written; every span in stream order. */
    [[nodiscard]] std::vector<Span> takeSpans();
    /** What a continuing writer wrote (as one span; see Continuation). */
    [[nodiscard]] Span continuedSpan();
    /** True when a continuing writer could not write its stretch as a whole stream would. */
    [[nodiscard]] bool continuationFailed() const { return m_continuationFailed; }

    /**
     * One '@' group holding a new object of class @p className (known to the
     * registry) whose values the caller writes next; endObject() ends it.
     * @p identity, when not null, makes later copies references to it;
     * @p keepAlive holds what it points into.
     */
    Status beginObject(const QByteArray &className, const void *identity = nullptr, const QVariant &keepAlive = {});
    /** Ends the object beginObject() began. */
    void endObject();

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
    std::optional<qint64> knownName(char table, std::string_view name);
    void noteReference(char table, qint64 number, bool hasIdentity);
    void defined(char table, QByteArrayView name, qint64 number);
    void closeSpan();
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
    std::optional<Continuation> m_continuation;
    bool m_continuationFailed = false;
    bool m_tracking = false;
    std::vector<Span> m_spans;
    Span m_span;
    qint64 m_objectCount = 0;
    qint64 m_stringCount = 0;
    int m_depth = 0;
    std::vector<QByteArray> m_stringStore;
    std::unordered_map<std::string_view, qint64> m_strings;
    std::unordered_map<std::string_view, qint64> m_cstrings;
    std::unordered_map<std::string_view, qint64> m_classes;
    std::unordered_map<const void *, qint64> m_objects;
    std::vector<QVariant> m_keepAlive;
    QHash<QByteArray, std::shared_ptr<const Types>> m_types;
};
