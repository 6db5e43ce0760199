#pragma once

#include "Result.h"
#include "TypedStreamNode.h"
#include "TypedStreamRegistry.h"

#include <QByteArray>
#include <QVariant>

#include <memory>
#include <optional>

struct TypedStreamDecodeOptions
{
    /**
     * Wrap every value whose archived class differs from the registry's
     * default class for its Qt type in ArchivedAs, so that writing it
     * back uses the same class (NSArray rather than NSMutableArray, say).
     */
    bool keepClassNames = false;
};

/**
 * Interprets a typed stream's generic tree as Qt values, group by group.
 *
 * A decoder walks a list of groups: the archive's top level, or (inside a
 * coder's decode function) the groups of the object being decoded. Every
 * decode call consumes one group and fails with a message when the group is
 * missing or of another type.
 *
 * Objects are decoded by the coder of their class, or of the nearest
 * superclass that has one; a class without any is an error that names it.
 * An object the stream refers to several times decodes to one value (the
 * same QVariant), so writing it back produces a reference again.
 *
 * | archived class                        | Qt value                                    |
 * |---------------------------------------|---------------------------------------------|
 * | NSString, NSMutableString             | QString                                     |
 * | NSNumber (c C B s S i I l L q Q f d)  | bool (c holding 0/1), qint8, quint8, short, ushort, int, uint, long, ulong, qint64, quint64, float, double |
 * | NSData, NSMutableData                 | QByteArray                                  |
 * | NSArray, NSMutableArray, NSSet        | QVariantList                                |
 * | NSDictionary, NSMutableDictionary     | QVariantMap (ArchivedDictionary if a key is not a string) |
 * | NSDate                                | QDateTime (UTC)                             |
 * | NSCalendarDate                        | ArchivedCalendarDate                        |
 * | NSColor                               | ArchivedColor                               |
 * | NSNull                                | QVariant::fromValue(nullptr) (as for keyed archives) |
 * | NSValue                               | ArchivedValue                               |
 * | NSImage                               | ArchivedImage                               |
 */
class TypedStreamDecoder
{
public:
    using Options = TypedStreamDecodeOptions;

    /** A decoder over @p archive's top-level groups; @p archive and @p registry must outlive it. */
    explicit TypedStreamDecoder(const TypedStreamArchive &archive,
                                const TypedStreamRegistry &registry = TypedStreamRegistry::shared(),
                                Options options = {});
    ~TypedStreamDecoder();
    TypedStreamDecoder(const TypedStreamDecoder &) = delete;
    TypedStreamDecoder &operator=(const TypedStreamDecoder &) = delete;

    /** Reads @p bytes and decodes the root object (the first top-level group, which must be '@'). */
    [[nodiscard]] static Result<QVariant> unarchiveObjectWithData(
        const QByteArray &bytes, const TypedStreamRegistry &registry = TypedStreamRegistry::shared(),
        Options options = {});

    /** True when every group has been consumed. */
    [[nodiscard]] bool atEnd() const { return m_next >= m_groups->size(); }
    /** The number of groups not yet consumed. */
    [[nodiscard]] qsizetype remainingGroups() const { return qsizetype(m_groups->size() - m_next); }
    /** The class of the object being decoded (empty at the top level). */
    [[nodiscard]] QByteArray className() const { return m_object ? m_object->className() : QByteArray(); }
    /** The object being decoded as read (null at the top level), for coders that keep it whole. */
    [[nodiscard]] const TypedStreamObjectPtr &objectNode() const { return m_object; }
    /** The version the archive records for @p className, or empty when the class is not in it. */
    [[nodiscard]] std::optional<qint64> versionForClassName(QByteArrayView className) const;

    /** The next group as read, for coders that interpret it themselves. */
    [[nodiscard]] Result<const TypedStreamGroup *> nextGroup();
    /** The next group, which must be '@', as a Qt value (null QVariant for nil). */
    [[nodiscard]] Result<QVariant> decodeObject();
    /** The next group, which must be '@' holding a string, as its UTF-8 bytes without conversion. */
    [[nodiscard]] Result<QByteArray> decodeStringBytes();
    /** The next group, which must hold one integer or char value. */
    [[nodiscard]] Result<qint64> decodeInteger();
    /** The next group, which must hold one 'c' (or 'C', 'B') value, as a flag. */
    [[nodiscard]] Result<bool> decodeBool();
    /** The next group, which must hold one float, double or integer value. */
    [[nodiscard]] Result<double> decodeReal();
    /**
     * The next group, whose types must be @p type (one type), as a Qt value.
     * Integer types stand in for each other, as do 'f' and 'd'.
     */
    [[nodiscard]] Result<QVariant> decodeValueOfObjCType(QByteArrayView type);
    /** The next group, whose types must be @p types, one Qt value per type. */
    [[nodiscard]] Result<QVariantList> decodeValuesOfObjCTypes(QByteArrayView types);

    /** Interprets one value of a group whose type string is @p types, at @p index. */
    [[nodiscard]] Result<QVariant> decodeValue(const TypedStreamGroup &group, qsizetype index);
    /** Interprets an object node (or nil) through the registry. */
    [[nodiscard]] Result<QVariant> decodeObjectNode(const TypedStreamValue &value);

private:
    struct Context;
    TypedStreamDecoder(Context &context, TypedStreamObjectPtr object);

    Result<const TypedStreamGroup *> nextSingleGroup(const char *expected);

    std::unique_ptr<Context> m_ownedContext;
    Context *m_context = nullptr;
    const std::vector<TypedStreamGroup> *m_groups = nullptr;
    size_t m_next = 0;
    TypedStreamObjectPtr m_object;
};
