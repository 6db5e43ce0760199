#pragma once

#include "platform/base/Result.h"
#include "TypedStreamTypes.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QHash>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

/**
 * A typed stream read one item at a time, straight from its bytes, with the
 * two reference tables the items build on the way.
 *
 * Nothing is built: the scanner hands out numbers (string-table and
 * object-table indices) and spans of the input, and its callers decide what
 * to make of them. Objects are recorded with where they start, so an object
 * read past (skipped) can be read again later, when something refers to it:
 * restart() puts the cursor back at its class chain with the tables as they
 * were then. While an object is read again, every literal it holds takes the
 * table entry it took the first time, so the tables never change.
 *
 * This is the one place where a typed stream's bytes are read: the decoder
 * reads through it, and the generic tree (TypedStreamReader) is built from
 * it. Every malformed input (short data, absurd counts, references out of
 * range or to the wrong table, nesting deeper than maxDepth) yields an Error
 * that names the offset. Streams of 4 GB and more are refused: entries keep
 * 32-bit offsets.
 */
class TypedStreamScanner
{
public:
    using Types = std::vector<TypedStreamType>;

    /** A run of input bytes. */
    struct Span
    {
        quint32 offset = 0;
        quint32 size = 0;
    };

    /** One entry of the object table. */
    struct Entry
    {
        enum class Kind : quint8
        {
            Pending, ///< numbered, but its class chain (or its characters) is still being read
            Object,
            Class,
            CString,
        };
        Kind kind = Kind::Pending;
        bool complete = false;    ///< an object whose end was read; classes and C strings are complete when made
        qint32 link = -1;         ///< an object's class; a class's superclass (-1 at a root class)
        qint32 string = -1;       ///< a class's name; a C string's characters
        qint32 version = 0;       ///< a class's version
        quint32 offset = 0;       ///< an object's class chain: where it can be read again from
        qint32 stringsBefore = 0; ///< the size of the string table when the object began
    };

    /** What an '@' position holds. */
    struct ObjectHead
    {
        enum class Kind : quint8
        {
            Nil,
            Reference,
            New
        };
        Kind kind = Kind::Nil;
        qint32 index = -1; ///< the object (or, for a Reference, possibly a class) in the object table
    };

    /** One value of a type other than an array or struct. */
    struct Item
    {
        enum class Kind : quint8
        {
            Nil,          ///< nil object, class, C string, byte string or shared string; also '!'
            Integer,      ///< s S i I l L q Q, unsigned kinds reinterpreted
            Real,         ///< f d
            Char,         ///< c C B, one raw byte
            Bytes,        ///< '+': span
            SharedString, ///< ':' '%': string-table index
            CString,      ///< '*': string-table index of its characters
            Class,        ///< '#', or an '@' position referring to a class: object-table index
            Reference,    ///< '@' referring to an earlier object: object-table index
            NewObject,    ///< '@' holding a new object, its class chain read: object-table index
        };
        Kind kind = Kind::Nil;
        qint64 integer = 0;
        double real = 0;
        Span span;
        qint32 index = -1;
    };

    /** Where reading is: the position and the next number of each table. */
    struct Mark
    {
        qsizetype position = 0;
        qint32 nextString = 0;
        qint32 nextObject = 0;
        int depth = 0;
    };

    /** How deeply objects, arrays and structs may nest. */
    static constexpr int maxDepth = 500;

    /** A scanner over @p bytes, which it shares. */
    explicit TypedStreamScanner(const QByteArray &bytes);

    /** Reads the header; must come first. */
    [[nodiscard]] Status readHeader();
    [[nodiscard]] bool bigEndian() const { return m_bigEndian; }
    [[nodiscard]] qint64 systemVersion() const { return m_systemVersion; }

    [[nodiscard]] const QByteArray &bytes() const { return m_bytes; }
    [[nodiscard]] qsizetype position() const { return m_pos; }
    [[nodiscard]] qsizetype remaining() const { return m_size - m_pos; }
    [[nodiscard]] bool atEnd() const { return m_pos >= m_size; }
    /** The next byte as a head, without consuming it; empty at the end of the data. */
    [[nodiscard]] std::optional<qint8> peekHead() const;
    /** The next byte as a head. */
    [[nodiscard]] Status nextHead(qint8 &head)
    {
        if (m_pos >= m_size)
            return truncated();
        head = qint8(m_data[m_pos++]);
        return {};
    }

    [[nodiscard]] Mark mark() const { return {m_pos, m_nextString, m_nextObject, m_depth}; }
    /** Goes back (or forth) to @p mark, which must come from this scanner. */
    void restore(const Mark &mark);

    // --- The tables ------------------------------------------------------------

    [[nodiscard]] qint32 stringCount() const { return qint32(m_strings.size()); }
    [[nodiscard]] QByteArrayView string(qint32 index) const;
    /** The string's bytes, sharing the input. */
    [[nodiscard]] QByteArray stringBytes(qint32 index) const { return slice(m_strings[size_t(index)].span); }
    /** The string at @p index parsed as type encodings (parsed once, then kept). */
    [[nodiscard]] Result<const Types *> typesOf(qint32 index);

    [[nodiscard]] qint32 objectCount() const { return qint32(m_objects.size()); }
    [[nodiscard]] const Entry &entry(qint32 index) const { return m_objects[size_t(index)]; }
    /** The name of the class at @p classIndex. */
    [[nodiscard]] QByteArrayView className(qint32 classIndex) const { return string(entry(classIndex).string); }
    /** True if the class at @p classIndex, or one of its superclasses, is named @p name. */
    [[nodiscard]] bool isKindOf(qint32 classIndex, QByteArrayView name) const;
    /** The version recorded with the first literal occurrence of @p className read so far. */
    [[nodiscard]] std::optional<qint64> versionForClassName(QByteArrayView className) const;
    /** Every class name read so far, with the version of its first literal occurrence. */
    [[nodiscard]] QHash<QByteArray, qint64> classVersions() const;

    /** @p span of the input, sharing its buffer (a copy when the input is raw data). */
    [[nodiscard]] QByteArray slice(Span span) const;
    [[nodiscard]] QByteArrayView view(Span span) const
    {
        return QByteArrayView(m_bytes.constData() + span.offset, span.size);
    }

    // --- Items -----------------------------------------------------------------

    /** An integer whose head is @p head. */
    [[nodiscard]] Status readInt(qint8 head, qint64 &value);
    /** A group's type string: its string-table index and its parsed types. */
    [[nodiscard]] Status readGroupTypes(qint8 head, qint32 &index, const Types *&types)
    {
        // Nearly every group refers to a type string met before, parsed then.
        const qint32 reference = qint32(head) + 110;
        if (head >= -110 && reference < m_nextString && m_strings[size_t(reference)].types) {
            index = reference;
            types = m_strings[size_t(reference)].types.get();
            return {};
        }
        return readGroupTypesSlowly(head, index, types);
    }
    /**
     * One value of @p type, which must not be an array or struct. A new object
     * leaves the cursor on its first group: read them (or skipObjectBody) and
     * then readObjectEnd.
     */
    [[nodiscard]] Status readItem(const TypedStreamType &type, Item &item);
    /** What an '@' position holds; for a new object, its class chain is read. */
    [[nodiscard]] Status readObjectHead(qint8 head, ObjectHead &object);
    /**
     * The next head inside object @p index: true in @p atEnd when it is the
     * object's end, which is then consumed and the object completed.
     */
    [[nodiscard]] Status nextGroupHead(qint32 index, qint8 &head, bool &atEnd);
    /** Reads past the groups left in object @p index and its end. */
    [[nodiscard]] Status skipObjectBody(qint32 index);

    /**
     * Checks an array or struct value of @p type before its elements are read.
     * A run of bytes ([Nc], [NC]) is read whole into @p bytes (and @p isBytes
     * set); otherwise the caller reads the elements and calls endCompound.
     */
    [[nodiscard]] Status beginCompound(const TypedStreamType &type, bool &isBytes, Span &bytes);
    void endCompound() { --m_depth; }

    /** Reads past one value of @p type, objects and all. */
    [[nodiscard]] Status skipValue(const TypedStreamType &type);
    /** Reads past a group whose head is @p head. */
    [[nodiscard]] Status skipGroup(qint8 head);

    /**
     * Puts the cursor back on the class chain of the complete object @p index,
     * with the tables numbered as they were then, and reads the chain again:
     * the object's groups follow. Restore a mark taken before to come back.
     */
    [[nodiscard]] Status restart(qint32 index);
    /**
     * Puts the cursor back on the first group of @p index, the object being
     * read now (the innermost one), so that its groups are read again from
     * the first; what they hold keeps its numbers.
     */
    [[nodiscard]] Status rewind(qint32 index);

    [[nodiscard]] Error fail(const QString &why) const;

private:
    struct StringEntry
    {
        Span span;
        std::shared_ptr<const Types> types;
    };

    [[nodiscard]] Error truncated() const;
    [[nodiscard]] Status readGroupTypesSlowly(qint8 head, qint32 &index, const Types *&types);
    [[nodiscard]] Status readReal(qint8 head, bool isDouble, double &value);
    [[nodiscard]] Status readByteString(qint8 head, Span &out, bool &present);
    [[nodiscard]] Status readSharedString(qint8 head, qint32 &index);
    [[nodiscard]] Status readCString(qint8 head, qint32 &stringIndex);
    [[nodiscard]] Status readClass(qint8 head, qint32 &classIndex);
    [[nodiscard]] Status objectEntry(qint8 head, qint32 &index, bool allowOpen);
    // The next object number; true in `fresh` when the entry is new, false when it is read again.
    [[nodiscard]] qint32 takeObjectNumber(bool &fresh);
    [[nodiscard]] Status rereadClassChain(qint32 index);
    void noteClassVersion(qint32 nameIndex, qint32 version);

    QByteArray m_bytes;
    const uchar *m_data = nullptr;
    qsizetype m_size = 0;
    qsizetype m_pos = 0;
    bool m_bigEndian = false;
    qint64 m_systemVersion = 1000;
    int m_depth = 0;
    qint32 m_nextString = 0;
    qint32 m_nextObject = 0;
    std::vector<StringEntry> m_strings;
    std::vector<Entry> m_objects;
    // (name's string index, version), first literal occurrence of each name.
    std::vector<std::pair<qint32, qint32>> m_classVersions;
};
