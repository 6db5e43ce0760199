#pragma once

#include "platform/base/Result.h"
#include "TypedStreamDecoder.h"
#include "TypedStreamNodeBuilder.h"
#include "TypedStreamRegistry.h"
#include "TypedStreamScanner.h"

#include <QByteArray>
#include <QHash>
#include <QVariant>

#include <deque>
#include <memory>
#include <optional>
#include <vector>

/**
 * Decodes a typed stream straight from its bytes: the engine behind
 * TypedStreamDecoder::unarchiveObjectWithData and the decoders it hands to
 * coders.
 *
 * Groups are read when a coder asks for them; a nested object is decoded by
 * its coder when its group is met, and whatever a coder leaves unread is read
 * past. The object table keeps, for every object, where it starts and, for
 * objects whose value has an identity a writer keeps (strings, data,
 * collections, records, generic objects), the decoded value. A reference to
 * an object decoded before answers that value; a reference to one without a
 * kept value (a number, a date, a colour, something read past, a string
 * handed out as UTF-8) reads it again from its bytes, which gives an equal
 * value (and for UTF-8 the same bytes, which a writer takes for the same
 * object).
 *
 * Generic nodes are made only for what a coder wants as read (nextGroup,
 * objectNode, decodeObjectAsRead), by a TypedStreamNodeBuilder. The one
 * thing such a node cannot hold, a reference back to an enclosing object
 * that its coder reads value by value, takes another unarchiver that makes
 * the node of every object before it decodes (wholeTree).
 */
class TypedStreamUnarchiver
{
public:
    /**
     * An unarchiver of @p bytes; with @p keepUtf8, decodeObjectKeepingUtf8
     * may answer strings as UTF-8; with @p wholeTree, every object gets its
     * node before decoding starts. @p registry must outlive it.
     */
    TypedStreamUnarchiver(const QByteArray &bytes, const TypedStreamRegistry &registry,
        TypedStreamDecodeOptions options, bool keepUtf8, bool wholeTree = false);
    ~TypedStreamUnarchiver();
    TypedStreamUnarchiver(const TypedStreamUnarchiver &) = delete;
    TypedStreamUnarchiver &operator=(const TypedStreamUnarchiver &) = delete;

    /** Reads the header, runs @p decode over the top-level groups, and reads the rest of the stream through. */
    [[nodiscard]] Result<QVariant> unarchive(const TypedStreamCoder::Decode &decode);

    /** True when decoding failed on a node that only an unarchiver made with wholeTree can make. */
    [[nodiscard]] bool needsWholeTree() const { return m_builder.needsWholeTree(); }
    /** True when a string handed out as UTF-8 was later wanted as a QString. */
    [[nodiscard]] bool utf8StringShared() const { return m_utf8StringShared; }

    // --- For TypedStreamDecoder, on behalf of a decoder reading this stream ----------

    [[nodiscard]] bool atEnd(const TypedStreamDecoder &decoder) const;
    [[nodiscard]] qsizetype remainingBytes() const { return m_scanner.remaining(); }
    [[nodiscard]] QByteArray className(qint32 object) const;
    [[nodiscard]] std::optional<qint64> versionForClassName(QByteArrayView className) const
    {
        return m_scanner.versionForClassName(className);
    }
    [[nodiscard]] Result<TypedStreamObjectPtr> readWholeObject(TypedStreamDecoder &decoder);
    [[nodiscard]] Result<const TypedStreamGroup *> nextGroup(TypedStreamDecoder &decoder);
    [[nodiscard]] Result<TypedStreamGroupInfo> peekGroup(TypedStreamDecoder &decoder);
    [[nodiscard]] Status skipGroup(TypedStreamDecoder &decoder);
    [[nodiscard]] Result<QVariant> decodeObject(TypedStreamDecoder &decoder, bool keepUtf8);
    [[nodiscard]] Result<QVariant> decodeObjectWith(
        TypedStreamDecoder &decoder, const TypedStreamCoder::Decode &decode);
    [[nodiscard]] Result<TypedStreamObjectPtr> decodeObjectAsRead(TypedStreamDecoder &decoder);
    [[nodiscard]] Result<std::optional<QVariant>> decodeObjectIfKindOf(
        TypedStreamDecoder &decoder, QByteArrayView className);
    [[nodiscard]] QByteArray coderClassName(qint32 object);
    [[nodiscard]] bool isKindOf(qint32 object, QByteArrayView className) const
    {
        return object >= 0 && m_scanner.isKindOf(m_scanner.entry(object).link, className);
    }
    [[nodiscard]] Result<QByteArray> decodeStringBytes(TypedStreamDecoder &decoder);
    /** One value of a lone type among @p accepted, in the form TypedStreamScanner reads it. */
    [[nodiscard]] Result<TypedStreamScanner::Item> decodeScalar(
        TypedStreamDecoder &decoder, const char *expected, QByteArrayView accepted);
    [[nodiscard]] Result<QVariant> decodeValueOfObjCType(TypedStreamDecoder &decoder, QByteArrayView type);
    [[nodiscard]] Result<QVariantList> decodeValuesOfObjCTypes(TypedStreamDecoder &decoder, QByteArrayView types);
    /** The value of a node made here (empty when the node is not one of this stream's). */
    [[nodiscard]] std::optional<Result<QVariant>> decodeNode(const TypedStreamObject *node);

private:
    using Item = TypedStreamScanner::Item;
    using Types = TypedStreamScanner::Types;

    Error fail(Error error);
    Error fail(const Status &status) { return fail(Error{status.errorMessage()}); }
    // The group of @p found types does not hold what was asked for.
    Error mismatch(const Types &found, Error typeError);
    [[nodiscard]] Error endsEarly(const TypedStreamDecoder &decoder) const;
    [[nodiscard]] Status nextGroupHead(TypedStreamDecoder &decoder, qint8 &head);
    [[nodiscard]] Status readGroupOf(TypedStreamDecoder &decoder, QByteArrayView wanted, const Types *&found);
    [[nodiscard]] Result<QVariant> readVariant(const TypedStreamType &type);
    [[nodiscard]] Result<QVariant> decodeItem(const Item &item, bool keepUtf8);
    [[nodiscard]] Result<QVariant> decodeReference(qint32 index, bool keepUtf8);
    [[nodiscard]] Result<QVariant> decodeNew(qint32 index, bool keepUtf8);
    // Runs @p decode on the object @p index, whose class chain was just read.
    [[nodiscard]] Result<QVariant> runDecode(qint32 index, const TypedStreamCoder::Decode &decode);
    [[nodiscard]] std::optional<QByteArray> readUtf8String(qint32 index);
    // The coder for the class at @p classIndex or its nearest superclass that has one; null when none has.
    [[nodiscard]] const TypedStreamCoder *findCoder(qint32 classIndex);
    [[nodiscard]] Result<const TypedStreamCoder *> coderFor(qint32 classIndex);
    [[nodiscard]] Result<QByteArray> stringBytesOf(qint32 index);
    // The next group's lone object position: the group must be '@'.
    [[nodiscard]] Status readObjectGroup(TypedStreamDecoder &decoder, Item &item);

    // Per object-table entry: its kept value (an index into m_values, plus
    // one; 0 for none), whether it is being decoded, and whether it was
    // handed out as UTF-8 (then it is read again where it is referred to).
    quint32 &slot(qint32 index);
    /** The value kept for object @p index, in the form the caller takes. */
    [[nodiscard]] std::optional<QVariant> keptValue(qint32 index, bool keepUtf8);
    void keep(qint32 index, const QVariant &value);

    TypedStreamScanner m_scanner;
    TypedStreamNodeBuilder m_builder;
    const TypedStreamRegistry &m_registry;
    TypedStreamDecodeOptions m_options;
    bool m_keepUtf8;
    bool m_wholeTree;
    bool m_utf8StringShared = false;
    int m_decodeDepth = 0;
    QString m_failure;
    std::vector<quint32> m_slots;
    std::deque<QVariant> m_values;
    // Per class entry, the coder found for it (an index into m_coders, plus one).
    std::vector<const TypedStreamCoder *> m_coders;
    QHash<QByteArray, std::shared_ptr<const Types>> m_wantedTypes;
    std::unique_ptr<TypedStreamDecoder> m_top;
};
