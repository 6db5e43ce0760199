#pragma once

#include "platform/base/Result.h"
#include "TypedStreamNode.h"
#include "TypedStreamRegistry.h"

#include <QByteArray>
#include <QVariant>

#include <memory>
#include <optional>
#include <vector>

class TypedStreamUnarchiver;

struct TypedStreamDecodeOptions
{
    /**
     * Wrap every value whose archived class differs from the registry's
     * default class for its Qt type in ArchivedAs, so that writing it
     * back uses the same class (NSArray rather than NSMutableArray, say).
     */
    bool keepClassNames = false;
};

/** A string as TypedStreamDecoder::decodeObjectKeepingUtf8 may hand it out: its UTF-8, unconverted. */
struct TypedStreamUtf8
{
    /** Never empty; valid UTF-8 that QString::fromUtf8 and QString::toUtf8 carry over unchanged. */
    QByteArray bytes;
};
Q_DECLARE_METATYPE(TypedStreamUtf8)

/** What the next group holds, looked at without being consumed. */
struct TypedStreamGroupInfo
{
    QByteArray types;                   ///< the group's type string
    std::vector<QByteArray> classChain; ///< a lone '@' holding an object: its class, then the superclasses
};

/**
 * Interprets a typed stream as Qt values, group by group.
 *
 * A decoder walks a list of groups: the archive's top level, or (inside a
 * coder's decode function) the groups of the object being decoded. Every
 * decode call consumes one group and fails with a message when the group is
 * missing or of another type.
 *
 * unarchiveObjectWithData() reads the groups straight from the bytes as the
 * coders ask for them: a nested object is decoded when its group is met,
 * and what a coder leaves unread is read past (and checked). Generic nodes
 * are made only for what a coder asks to have as read. The first failure
 * leaves the stream unreadable, so every later call fails too; a coder must
 * not try another reading after a failed one.
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

    ~TypedStreamDecoder();
    TypedStreamDecoder(const TypedStreamDecoder &) = delete;
    TypedStreamDecoder &operator=(const TypedStreamDecoder &) = delete;

    /**
     * Decodes the root object (the first top-level group, which must be '@')
     * straight from @p bytes, and reads the rest of the stream through to
     * check it. Fails on a malformed stream (as TypedStreamReader::read
     * does), and on what the coders refuse.
     */
    [[nodiscard]] static Result<QVariant> unarchiveObjectWithData(const QByteArray &bytes,
        const TypedStreamRegistry &registry = TypedStreamRegistry::shared(), Options options = {});

    /**
     * Runs @p decode over the top-level groups of the stream in @p bytes,
     * read as unarchiveObjectWithData reads them, for streams that hold more
     * than a root object; the rest of the stream is read through to check it.
     */
    [[nodiscard]] static Result<QVariant> unarchiveWithData(const QByteArray &bytes,
        const TypedStreamCoder::Decode &decode, const TypedStreamRegistry &registry = TypedStreamRegistry::shared(),
        Options options = {});

    /** True when every group has been consumed. */
    [[nodiscard]] bool atEnd() const;
    /** At most this many groups are left: the bytes left, since every group takes at least one. */
    [[nodiscard]] qsizetype remainingGroups() const;
    /** The class of the object being decoded (empty at the top level). */
    [[nodiscard]] QByteArray className() const;
    /** True if the object being decoded is of class @p className or of a subclass of it. */
    [[nodiscard]] bool isKindOf(QByteArrayView className) const;
    /**
     * The class whose coder the registry has for the object being decoded:
     * its own, or its nearest superclass that has one. Empty when none has,
     * and at the top level.
     */
    [[nodiscard]] QByteArray coderClassName() const;
    /**
     * The object being decoded as read (null at the top level), for coders
     * that keep it whole. The decode calls that follow go on where the
     * last one stopped.
     */
    [[nodiscard]] const TypedStreamObjectPtr &objectNode();
    /** The version the archive records for @p className (as far as it was read), or empty. */
    [[nodiscard]] std::optional<qint64> versionForClassName(QByteArrayView className) const;

    /** The next group as read, for coders that interpret it themselves. */
    [[nodiscard]] Result<const TypedStreamGroup *> nextGroup();
    /** What the next group holds, without consuming it. */
    [[nodiscard]] Result<TypedStreamGroupInfo> peekGroup();
    /** Consumes the next group without interpreting it. */
    [[nodiscard]] Status skipGroup();
    /** The next group, which must be '@', as a Qt value (null QVariant for nil). */
    [[nodiscard]] Result<QVariant> decodeObject();
    /**
     * As decodeObject(), except that a string met for the first time may come back as a TypedStreamUtf8, its UTF-8 unconverted,
     * saving the conversion for callers that may never need it. A string
     * decoded before comes back in the form it was decoded in, so that its
     * holders share it; should one handed out as UTF-8 be wanted as a QString
     * later, unarchiveObjectWithData decodes the whole stream again with
     * QStrings only. Callers must take both forms.
     */
    [[nodiscard]] Result<QVariant> decodeObjectKeepingUtf8();
    /**
     * The next group, which must be '@', decoded by @p decode instead of the
     * coder of its class (nil stays a null QVariant), for a caller that wants
     * something else of the object than its coder gives. The value is the
     * caller's own: it is not what a reference elsewhere to the same object
     * decodes to, and an object decoded before is decoded again by @p decode.
     */
    [[nodiscard]] Result<QVariant> decodeObjectWith(const TypedStreamCoder::Decode &decode);
    /**
     * The next group, which must be '@': the value of the object it holds when
     * that is of class @p className or a subclass of it; empty otherwise (nil,
     * a class, an object of another class), the object read past undecoded.
     */
    [[nodiscard]] Result<std::optional<QVariant>> decodeObjectIfKindOf(QByteArrayView className);
    /** The next group, which must be '@', as the object as read (generic), without a coder; null for nil. */
    [[nodiscard]] Result<TypedStreamObjectPtr> decodeObjectAsRead();
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

    /** Interprets value @p index of @p group, which nextGroup() handed out. */
    [[nodiscard]] Result<QVariant> decodeValue(const TypedStreamGroup &group, qsizetype index);
    /** Interprets an object value (or nil) of a group nextGroup() handed out, through the registry. */
    [[nodiscard]] Result<QVariant> decodeObjectNode(const TypedStreamValue &value);

private:
    friend class TypedStreamUnarchiver;
    struct Context;

    TypedStreamDecoder(TypedStreamUnarchiver &stream, const TypedStreamRegistry &registry, Options options);
    TypedStreamDecoder(Context &context, TypedStreamUnarchiver &stream, qint32 streamObject);

    std::unique_ptr<Context> m_ownedContext;
    Context *m_context = nullptr;
    TypedStreamUnarchiver *m_stream = nullptr;
    // The object being read (-1 at the top level), whether its end was read,
    // how many of its groups were consumed, its node once objectNode() made
    // it, and the groups nextGroup() built, kept while the decoder lives.
    qint32 m_streamObject = -1;
    bool m_streamEnded = false;
    qsizetype m_consumed = 0;
    TypedStreamObjectPtr m_object;
    std::vector<std::unique_ptr<TypedStreamGroup>> m_builtGroups;
};
