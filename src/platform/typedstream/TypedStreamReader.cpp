#include "TypedStreamReader.h"

#include "TypedStreamTypes.h"
#include "TypedStreamWire.h"

#include <QtEndian>

#include <cstring>

namespace {

using namespace TypedStreamWire;

using Types = std::vector<TypedStreamType>;
using TypesPtr = std::shared_ptr<const Types>;

class StreamParser
{
public:
    explicit StreamParser(const QByteArray &bytes)
        : m_bytes(bytes), m_data(reinterpret_cast<const uchar *>(bytes.constData())), m_size(bytes.size())
    {
    }

    Result<TypedStreamArchive> run()
    {
        if (Status s = readHeader(); !s)
            return Error{s.errorMessage()};
        while (m_pos < m_size) {
            qint8 head = 0;
            if (Status s = nextHead(head); !s)
                return Error{s.errorMessage()};
            TypedStreamGroup group;
            if (Status s = readGroup(head, group); !s)
                return Error{s.errorMessage()};
            m_archive.groups.push_back(std::move(group));
        }
        return std::move(m_archive);
    }

private:
    struct Entry
    {
        enum class Kind : quint8 { Pending, OpenObject, Object, Class, CString };
        Kind kind = Kind::Pending;
        TypedStreamObjectPtr object;
        TypedStreamClassPtr cls;
        QByteArray cstring;
    };

    Error fail(const QString &why) const { return TypedStreamWire::fail(m_pos, why); }
    Error truncated() const { return TypedStreamWire::truncated(m_pos); }
    Cursor cursor() { return {m_data, m_size, m_pos, m_bigEndian}; }

    // A slice that shares the input's buffer (or copies it when the input is raw data we cannot keep alive).
    QByteArray slice(qsizetype offset, qsizetype length) const
    {
        if (length == 0)
            return QByteArray();
        QByteArray::DataPointer shared = const_cast<QByteArray &>(m_bytes).data_ptr();
        if (!shared.d_ptr())
            return QByteArray(m_bytes.constData() + offset, length);
        shared.ptr += offset;
        shared.size = length;
        return QByteArray(std::move(shared));
    }

    Status nextHead(qint8 &head)
    {
        if (m_pos >= m_size)
            return truncated();
        head = qint8(m_data[m_pos++]);
        return {};
    }

    Status readInt(qint8 head, qint64 &value) { return TypedStreamWire::readInt(cursor(), head, value); }
    Status readReal(qint8 head, bool isDouble, double &value)
    {
        return TypedStreamWire::readReal(cursor(), head, isDouble, value);
    }

    // A length-prefixed run of bytes; false in `present` for nil.
    Status readByteString(qint8 head, QByteArray &out, bool &present)
    {
        present = head != kTagNil;
        if (!present)
            return {};
        qint64 length = 0;
        if (Status s = readLength(cursor(), head, length); !s)
            return s;
        out = slice(m_pos, qsizetype(length));
        m_pos += qsizetype(length);
        return {};
    }

    // A shared string: its string-table index, or -1 for nil.
    Status readSharedString(qint8 head, qint64 &index)
    {
        if (head == kTagNil) {
            index = -1;
            return {};
        }
        if (head == kTagNew) {
            qint8 lengthHead = 0;
            if (Status s = nextHead(lengthHead); !s)
                return s;
            QByteArray text;
            bool present = false;
            if (Status s = readByteString(lengthHead, text, present); !s)
                return s;
            if (!present)
                return fail(QStringLiteral("nil inside a literal shared string"));
            index = qint64(m_strings.size());
            m_strings.push_back(std::move(text));
            m_stringTypes.emplace_back();
            return {};
        }
        qint64 reference = 0;
        if (Status s = readInt(head, reference); !s)
            return s;
        index = reference - kReferenceBase;
        if (index < 0 || index >= qint64(m_strings.size()))
            return fail(QStringLiteral("reference to string %1 of %2").arg(index).arg(m_strings.size()));
        return {};
    }

    Status readHeader()
    {
        qint8 head = 0;
        qint64 version = 0;
        if (Status s = nextHead(head); !s)
            return s;
        if (Status s = readInt(head, version); !s)
            return s;
        if (version != 4)
            return Error{QStringLiteral("Unsupported typed stream version %1 (only version 4 is read)").arg(version)};
        QByteArray signature;
        bool present = false;
        if (Status s = nextHead(head); !s)
            return s;
        if (Status s = readByteString(head, signature, present); !s)
            return s;
        if (signature == "streamtyped")
            m_bigEndian = false;
        else if (signature == "typedstream")
            m_bigEndian = true;
        else
            return Error{QStringLiteral("Not a typed stream: unknown signature \"%1\"")
                             .arg(QString::fromLatin1(signature.left(32)))};
        m_archive.bigEndian = m_bigEndian;
        if (Status s = nextHead(head); !s)
            return s;
        return readInt(head, m_archive.systemVersion);
    }

    Result<TypesPtr> typesOf(qint64 stringIndex)
    {
        auto &cached = m_stringTypes[size_t(stringIndex)];
        if (!cached) {
            auto parsed = TypedStreamTypes::parse(m_strings[size_t(stringIndex)]);
            if (!parsed)
                return Error{parsed.errorMessage()};
            cached = std::make_shared<const Types>(std::move(parsed).value());
        }
        return cached;
    }

    Status readGroup(qint8 head, TypedStreamGroup &group)
    {
        qint64 index = 0;
        if (Status s = readSharedString(head, index); !s)
            return s;
        if (index < 0)
            return fail(QStringLiteral("nil type encoding"));
        auto types = typesOf(index);
        if (!types)
            return Error{types.errorMessage()};
        group.types = m_strings[size_t(index)];
        const Types &list = *types.value();
        group.values.resize(list.size());
        for (size_t i = 0; i < list.size(); ++i) {
            if (Status s = readValue(list[i], group.values[i]); !s)
                return s;
        }
        return {};
    }

    Status readValue(const TypedStreamType &type, TypedStreamValue &value)
    {
        using Kind = TypedStreamValue::Kind;
        qint8 head = 0;
        switch (type.code) {
        case '!':
            value.kind = Kind::Nil;
            return {};
        case '[':
        case '{':
            return readCompound(type, value);
        default:
            break;
        }
        if (Status s = nextHead(head); !s)
            return s;
        switch (type.code) {
        case 'c':
            value.kind = Kind::Char;
            value.integer = head;
            return {};
        case 'C':
        case 'B':
            value.kind = Kind::Char;
            value.integer = quint8(head);
            return {};
        case 's': case 'S': case 'i': case 'I': case 'l': case 'L': case 'q': case 'Q': {
            value.kind = Kind::Integer;
            if (Status s = readInt(head, value.integer); !s)
                return s;
            if (type.code == 'S')
                value.integer = quint16(value.integer);
            else if (type.code == 'I' || type.code == 'L' || type.code == 'Q')
                value.integer = quint32(value.integer);
            return {};
        }
        case 'f':
        case 'd':
            value.kind = Kind::Real;
            return readReal(head, type.code == 'd', value.real);
        case '+': {
            bool present = false;
            if (Status s = readByteString(head, value.bytes, present); !s)
                return s;
            value.kind = present ? Kind::Bytes : Kind::Nil;
            return {};
        }
        case ':':
        case '%': {
            qint64 index = 0;
            if (Status s = readSharedString(head, index); !s)
                return s;
            value.kind = index < 0 ? Kind::Nil : Kind::SharedString;
            if (index >= 0)
                value.bytes = m_strings[size_t(index)];
            return {};
        }
        case '*':
            return readCString(head, value);
        case '#':
            value.kind = Kind::Class;
            if (Status s = readClass(head, value.cls); !s)
                return s;
            if (!value.cls)
                value.kind = Kind::Nil;
            return {};
        case '@':
            return readObject(head, value);
        default:
            return fail(QStringLiteral("unsupported type '%1'").arg(QLatin1Char(type.code)));
        }
    }

    Status readCompound(const TypedStreamType &type, TypedStreamValue &value)
    {
        using Kind = TypedStreamValue::Kind;
        if (type.minimumSize() > m_size - m_pos)
            return fail(QStringLiteral("%1 needs more bytes than remain")
                            .arg(type.code == '[' ? QStringLiteral("array") : QStringLiteral("struct")));
        if (type.isByteArray()) {
            value.kind = Kind::Bytes;
            value.bytes = slice(m_pos, qsizetype(type.count));
            m_pos += qsizetype(type.count);
            return {};
        }
        if (type.code == '[' && type.members.front().minimumSize() == 0 && type.count > 0)
            return fail(QStringLiteral("array of empty elements"));
        if (++m_depth > TypedStreamReader::maxDepth)
            return fail(QStringLiteral("values nested too deeply"));
        value.kind = type.code == '[' ? Kind::Array : Kind::Struct;
        if (type.code == '[') {
            value.elements.resize(size_t(type.count));
            for (auto &element : value.elements) {
                if (Status s = readValue(type.members.front(), element); !s)
                    return s;
            }
        } else {
            value.elements.resize(type.members.size());
            for (size_t i = 0; i < type.members.size(); ++i) {
                if (Status s = readValue(type.members[i], value.elements[i]); !s)
                    return s;
            }
        }
        --m_depth;
        return {};
    }

    Status objectEntry(qint8 head, const Entry *&entry, bool allowOpen = false)
    {
        qint64 reference = 0;
        if (Status s = readInt(head, reference); !s)
            return s;
        const qint64 index = reference - kReferenceBase;
        if (index < 0 || index >= qint64(m_objects.size()))
            return fail(QStringLiteral("reference to object %1 of %2").arg(index).arg(m_objects.size()));
        entry = &m_objects[size_t(index)];
        if (entry->kind == Entry::Kind::Pending)
            return fail(QStringLiteral("reference to object %1, which is not complete yet").arg(index));
        if (entry->kind == Entry::Kind::OpenObject && !allowOpen)
            return fail(QStringLiteral("a class or C string refers to object %1").arg(index));
        return {};
    }

    Status readCString(qint8 head, TypedStreamValue &value)
    {
        using Kind = TypedStreamValue::Kind;
        if (head == kTagNil) {
            value.kind = Kind::Nil;
            return {};
        }
        if (head == kTagNew) {
            const size_t slot = m_objects.size();
            m_objects.emplace_back();
            qint8 textHead = 0;
            qint64 index = 0;
            if (Status s = nextHead(textHead); !s)
                return s;
            if (Status s = readSharedString(textHead, index); !s)
                return s;
            if (index < 0)
                return fail(QStringLiteral("nil characters of a C string"));
            m_objects[slot].kind = Entry::Kind::CString;
            m_objects[slot].cstring = m_strings[size_t(index)];
            value.kind = Kind::CString;
            value.bytes = m_strings[size_t(index)];
            return {};
        }
        const Entry *entry = nullptr;
        if (Status s = objectEntry(head, entry); !s)
            return s;
        if (entry->kind != Entry::Kind::CString)
            return fail(QStringLiteral("a C string refers to an object or class"));
        value.kind = Kind::CString;
        value.bytes = entry->cstring;
        return {};
    }

    Status readClass(qint8 head, TypedStreamClassPtr &cls)
    {
        struct Literal
        {
            size_t slot;
            QByteArray name;
            qint64 version;
        };
        std::vector<Literal> literals;
        while (head == kTagNew) {
            if (literals.size() >= size_t(kMaxClassChain))
                return fail(QStringLiteral("class chain too long"));
            Literal literal{m_objects.size(), {}, 0};
            m_objects.emplace_back();
            qint8 nameHead = 0;
            qint64 index = 0;
            if (Status s = nextHead(nameHead); !s)
                return s;
            if (Status s = readSharedString(nameHead, index); !s)
                return s;
            if (index < 0)
                return fail(QStringLiteral("nil class name"));
            literal.name = m_strings[size_t(index)];
            qint8 versionHead = 0;
            if (Status s = nextHead(versionHead); !s)
                return s;
            if (Status s = readInt(versionHead, literal.version); !s)
                return s;
            literals.push_back(std::move(literal));
            if (Status s = nextHead(head); !s)
                return s;
        }
        TypedStreamClassPtr superclass;
        if (head != kTagNil) {
            const Entry *entry = nullptr;
            if (Status s = objectEntry(head, entry); !s)
                return s;
            if (entry->kind != Entry::Kind::Class)
                return fail(QStringLiteral("a class position refers to an object"));
            superclass = entry->cls;
        }
        for (auto it = literals.rbegin(); it != literals.rend(); ++it) {
            auto made = std::make_shared<TypedStreamClass>();
            made->name = it->name;
            made->version = it->version;
            made->superclass = std::move(superclass);
            if (!m_archive.classVersions.contains(made->name))
                m_archive.classVersions.insert(made->name, made->version);
            m_objects[it->slot].kind = Entry::Kind::Class;
            m_objects[it->slot].cls = made;
            superclass = std::move(made);
        }
        cls = std::move(superclass);
        return {};
    }

    Status readObject(qint8 head, TypedStreamValue &value)
    {
        using Kind = TypedStreamValue::Kind;
        if (head == kTagNil) {
            value.kind = Kind::Nil;
            return {};
        }
        if (head != kTagNew) {
            const Entry *entry = nullptr;
            if (Status s = objectEntry(head, entry, true); !s)
                return s;
            if (entry->kind == Entry::Kind::Object) {
                value.kind = Kind::Object;
                value.object = entry->object;
            } else if (entry->kind == Entry::Kind::OpenObject) {
                // An enclosing object refers to itself through a child; the platform allows it.
                value.kind = Kind::Object;
                value.backReference = entry->object;
            } else if (entry->kind == Entry::Kind::Class) {
                value.kind = Kind::Class;
                value.cls = entry->cls;
            } else {
                return fail(QStringLiteral("an object position refers to a C string"));
            }
            return {};
        }
        if (++m_depth > TypedStreamReader::maxDepth)
            return fail(QStringLiteral("objects nested too deeply"));
        const size_t slot = m_objects.size();
        m_objects.emplace_back();
        auto object = std::make_shared<TypedStreamObject>();
        m_archive.objects.push_back(object);
        qint8 classHead = 0;
        if (Status s = nextHead(classHead); !s)
            return s;
        if (Status s = readClass(classHead, object->cls); !s)
            return s;
        if (!object->cls)
            return fail(QStringLiteral("object without a class"));
        m_objects[slot].kind = Entry::Kind::OpenObject;
        m_objects[slot].object = object;
        for (;;) {
            qint8 groupHead = 0;
            if (Status s = nextHead(groupHead); !s)
                return s;
            if (groupHead == kTagEnd)
                break;
            object->groups.emplace_back();
            if (Status s = readGroup(groupHead, object->groups.back()); !s)
                return s;
        }
        m_objects[slot].kind = Entry::Kind::Object;
        m_objects[slot].object = object;
        value.kind = Kind::Object;
        value.object = std::move(object);
        --m_depth;
        return {};
    }

    const QByteArray &m_bytes;
    const uchar *m_data;
    qsizetype m_size;
    qsizetype m_pos = 0;
    bool m_bigEndian = false;
    int m_depth = 0;
    std::vector<QByteArray> m_strings;
    std::vector<TypesPtr> m_stringTypes;
    std::vector<Entry> m_objects;
    TypedStreamArchive m_archive;
};

} // namespace

Result<TypedStreamArchive> TypedStreamReader::read(const QByteArray &bytes)
{
    return StreamParser(bytes).run();
}
