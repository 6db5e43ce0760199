#include "TypedStreamScanner.h"

#include "TypedStreamWire.h"

#include <QtEndian>

#include <cstring>
#include <limits>

using namespace TypedStreamWire;

TypedStreamScanner::TypedStreamScanner(const QByteArray &bytes)
    : m_bytes(bytes)
    , m_data(reinterpret_cast<const uchar *>(m_bytes.constData()))
    , m_size(m_bytes.size())
{ }

Error TypedStreamScanner::fail(const QString &why) const
{
    return TypedStreamWire::fail(m_pos, why);
}

Error TypedStreamScanner::truncated() const
{
    return TypedStreamWire::truncated(m_pos);
}

void TypedStreamScanner::restore(const Mark &mark)
{
    m_pos = mark.position;
    m_nextString = mark.nextString;
    m_nextObject = mark.nextObject;
    m_depth = mark.depth;
}

std::optional<qint8> TypedStreamScanner::peekHead() const
{
    if (m_pos >= m_size)
        return std::nullopt;
    return qint8(m_data[m_pos]);
}

Status TypedStreamScanner::readInt(qint8 head, qint64 &value)
{
    return TypedStreamWire::readInt({m_data, m_size, m_pos, m_bigEndian}, head, value);
}

Status TypedStreamScanner::readReal(qint8 head, bool isDouble, double &value)
{
    return TypedStreamWire::readReal({m_data, m_size, m_pos, m_bigEndian}, head, isDouble, value);
}

Status TypedStreamScanner::readByteString(qint8 head, Span &out, bool &present)
{
    present = head != kTagNil;
    if (!present)
        return {};
    qint64 length = 0;
    if (Status s = TypedStreamWire::readLength({m_data, m_size, m_pos, m_bigEndian}, head, length); !s)
        return s;
    out = {quint32(m_pos), quint32(length)};
    m_pos += qsizetype(length);
    return {};
}

QByteArray TypedStreamScanner::slice(Span span) const
{
    if (span.size == 0)
        return QByteArray();
    QByteArray::DataPointer shared = const_cast<QByteArray &>(m_bytes).data_ptr();
    if (!shared.d_ptr())
        return QByteArray(m_bytes.constData() + span.offset, span.size);
    shared.ptr += span.offset;
    shared.size = span.size;
    return QByteArray(std::move(shared));
}

Status TypedStreamScanner::readSharedString(qint8 head, qint32 &index)
{
    if (head == kTagNil) {
        index = -1;
        return {};
    }
    if (head == kTagNew) {
        qint8 lengthHead = 0;
        if (Status s = nextHead(lengthHead); !s)
            return s;
        Span text;
        bool present = false;
        if (Status s = readByteString(lengthHead, text, present); !s)
            return s;
        if (!present)
            return fail(QStringLiteral("nil inside a literal shared string"));
        index = m_nextString++;
        // Read again, a literal is the entry it made the first time.
        if (size_t(index) == m_strings.size())
            m_strings.push_back({text, nullptr});
        return {};
    }
    qint64 reference = 0;
    if (Status s = readInt(head, reference); !s)
        return s;
    const qint64 wanted = reference - kReferenceBase;
    if (wanted < 0 || wanted >= m_nextString)
        return fail(QStringLiteral("reference to string %1 of %2").arg(wanted).arg(m_nextString));
    index = qint32(wanted);
    return {};
}

QByteArrayView TypedStreamScanner::string(qint32 index) const
{
    return view(m_strings[size_t(index)].span);
}

Result<const TypedStreamScanner::Types *> TypedStreamScanner::typesOf(qint32 index)
{
    auto &cached = m_strings[size_t(index)].types;
    if (!cached) {
        auto parsed = TypedStreamTypes::parse(string(index));
        if (!parsed)
            return Error{parsed.errorMessage()};
        cached = std::make_shared<const Types>(std::move(parsed).value());
    }
    return cached.get();
}

Status TypedStreamScanner::readHeader()
{
    if (m_size > qsizetype(std::numeric_limits<quint32>::max()))
        return Error{QStringLiteral("Typed stream of %1 bytes is too large to read").arg(m_size)};
    // Objects of a large stream run to about one per 100 bytes (the texts
    // take most of it); room reserved but not used costs no memory.
    m_objects.reserve(size_t(m_size / 32));
    qint8 head = 0;
    qint64 version = 0;
    if (Status s = nextHead(head); !s)
        return s;
    if (Status s = readInt(head, version); !s)
        return s;
    if (version != 4)
        return Error{QStringLiteral("Unsupported typed stream version %1 (only version 4 is read)").arg(version)};
    Span signature;
    bool present = false;
    if (Status s = nextHead(head); !s)
        return s;
    if (Status s = readByteString(head, signature, present); !s)
        return s;
    if (view(signature) == "streamtyped")
        m_bigEndian = false;
    else if (view(signature) == "typedstream")
        m_bigEndian = true;
    else
        return Error{QStringLiteral("Not a typed stream: unknown signature \"%1\"")
                         .arg(QString::fromLatin1(view(signature).first(std::min<qsizetype>(32, signature.size))))};
    if (Status s = nextHead(head); !s)
        return s;
    return readInt(head, m_systemVersion);
}

Status TypedStreamScanner::readGroupTypesSlowly(qint8 head, qint32 &index, const Types *&types)
{
    if (Status s = readSharedString(head, index); !s)
        return s;
    if (index < 0)
        return fail(QStringLiteral("nil type encoding"));
    auto parsed = typesOf(index);
    if (!parsed)
        return Error{parsed.errorMessage()};
    types = parsed.value();
    return {};
}

qint32 TypedStreamScanner::takeObjectNumber(bool &fresh)
{
    const qint32 index = m_nextObject++;
    fresh = size_t(index) == m_objects.size();
    if (fresh)
        m_objects.emplace_back();
    return index;
}

Status TypedStreamScanner::objectEntry(qint8 head, qint32 &index, bool allowOpen)
{
    qint64 reference = 0;
    if (Status s = readInt(head, reference); !s)
        return s;
    const qint64 wanted = reference - kReferenceBase;
    if (wanted < 0 || wanted >= m_nextObject)
        return fail(QStringLiteral("reference to object %1 of %2").arg(wanted).arg(m_nextObject));
    const Entry &found = m_objects[size_t(wanted)];
    if (found.kind == Entry::Kind::Pending)
        return fail(QStringLiteral("reference to object %1, which is not complete yet").arg(wanted));
    if (found.kind == Entry::Kind::Object && !found.complete && !allowOpen)
        return fail(QStringLiteral("a class or C string refers to object %1").arg(wanted));
    index = qint32(wanted);
    return {};
}

Status TypedStreamScanner::readCString(qint8 head, qint32 &stringIndex)
{
    if (head == kTagNil) {
        stringIndex = -1;
        return {};
    }
    if (head == kTagNew) {
        bool fresh = false;
        const qint32 slot = takeObjectNumber(fresh);
        qint8 textHead = 0;
        qint32 text = -1;
        if (Status s = nextHead(textHead); !s)
            return s;
        if (Status s = readSharedString(textHead, text); !s)
            return s;
        if (text < 0)
            return fail(QStringLiteral("nil characters of a C string"));
        Entry &made = m_objects[size_t(slot)];
        made.kind = Entry::Kind::CString;
        made.complete = true;
        made.string = text;
        stringIndex = text;
        return {};
    }
    qint32 index = -1;
    if (Status s = objectEntry(head, index, false); !s)
        return s;
    if (entry(index).kind != Entry::Kind::CString)
        return fail(QStringLiteral("a C string refers to an object or class"));
    stringIndex = entry(index).string;
    return {};
}

void TypedStreamScanner::noteClassVersion(qint32 nameIndex, qint32 version)
{
    const QByteArrayView name = string(nameIndex);
    for (const auto &[known, _] : m_classVersions) {
        if (string(known) == name)
            return;
    }
    m_classVersions.emplace_back(nameIndex, version);
}

std::optional<qint64> TypedStreamScanner::versionForClassName(QByteArrayView className) const
{
    for (const auto &[name, version] : m_classVersions) {
        if (string(name) == className)
            return version;
    }
    return std::nullopt;
}

QHash<QByteArray, qint64> TypedStreamScanner::classVersions() const
{
    QHash<QByteArray, qint64> versions;
    for (const auto &[name, version] : m_classVersions)
        versions.insert(stringBytes(name), version);
    return versions;
}

bool TypedStreamScanner::isKindOf(qint32 classIndex, QByteArrayView name) const
{
    // A class gets its superclass once, and only one that has its own
    // already: chains end, though they may be longer than one literal chain.
    while (classIndex >= 0) {
        const Entry &c = entry(classIndex);
        if (string(c.string) == name)
            return true;
        classIndex = c.link;
    }
    return false;
}

Status TypedStreamScanner::readClass(qint8 head, qint32 &classIndex)
{
    struct Literal
    {
        qint32 slot;
        qint32 name;
        qint64 version;
    };
    // Chains hold a handful of classes; no allocation for them.
    Literal literals[kMaxClassChain];
    int count = 0;
    while (head == kTagNew) {
        if (count >= kMaxClassChain)
            return fail(QStringLiteral("class chain too long"));
        bool fresh = false;
        Literal literal{takeObjectNumber(fresh), -1, 0};
        qint8 nameHead = 0;
        if (Status s = nextHead(nameHead); !s)
            return s;
        if (Status s = readSharedString(nameHead, literal.name); !s)
            return s;
        if (literal.name < 0)
            return fail(QStringLiteral("nil class name"));
        qint8 versionHead = 0;
        if (Status s = nextHead(versionHead); !s)
            return s;
        if (Status s = readInt(versionHead, literal.version); !s)
            return s;
        literals[count++] = literal;
        if (Status s = nextHead(head); !s)
            return s;
    }
    qint32 superclass = -1;
    if (head != kTagNil) {
        if (Status s = objectEntry(head, superclass, false); !s)
            return s;
        if (entry(superclass).kind != Entry::Kind::Class)
            return fail(QStringLiteral("a class position refers to an object"));
    }
    for (int i = count - 1; i >= 0; --i) {
        Entry &made = m_objects[size_t(literals[i].slot)];
        if (made.kind != Entry::Kind::Class) {
            made.kind = Entry::Kind::Class;
            made.complete = true;
            made.string = literals[i].name;
            made.version = qint32(literals[i].version);
            made.link = superclass;
            noteClassVersion(literals[i].name, made.version);
        }
        superclass = literals[i].slot;
    }
    classIndex = superclass;
    return {};
}

Status TypedStreamScanner::readObjectHead(qint8 head, ObjectHead &object)
{
    using Kind = ObjectHead::Kind;
    if (head == kTagNil) {
        object = {Kind::Nil, -1};
        return {};
    }
    if (head != kTagNew) {
        qint32 index = -1;
        if (Status s = objectEntry(head, index, true); !s)
            return s;
        if (entry(index).kind == Entry::Kind::CString)
            return fail(QStringLiteral("an object position refers to a C string"));
        object = {Kind::Reference, index};
        return {};
    }
    if (++m_depth > maxDepth)
        return fail(QStringLiteral("objects nested too deeply"));
    bool fresh = false;
    const qint32 slot = takeObjectNumber(fresh);
    const quint32 offset = quint32(m_pos);
    const qint32 stringsBefore = m_nextString;
    qint8 classHead = 0;
    qint32 cls = -1;
    if (Status s = nextHead(classHead); !s)
        return s;
    if (Status s = readClass(classHead, cls); !s)
        return s;
    if (cls < 0)
        return fail(QStringLiteral("object without a class"));
    Entry &made = m_objects[size_t(slot)];
    if (made.kind == Entry::Kind::Pending) {
        made.kind = Entry::Kind::Object;
        made.link = cls;
        made.offset = offset;
        made.stringsBefore = stringsBefore;
    }
    object = {Kind::New, slot};
    return {};
}

Status TypedStreamScanner::nextGroupHead(qint32 index, qint8 &head, bool &atEnd)
{
    if (Status s = nextHead(head); !s)
        return s;
    atEnd = head == kTagEnd;
    if (atEnd) {
        m_objects[size_t(index)].complete = true;
        --m_depth;
    }
    return {};
}

Status TypedStreamScanner::skipObjectBody(qint32 index)
{
    for (;;) {
        qint8 head = 0;
        bool atEnd = false;
        if (Status s = nextGroupHead(index, head, atEnd); !s)
            return s;
        if (atEnd)
            return {};
        if (Status s = skipGroup(head); !s)
            return s;
    }
}

Status TypedStreamScanner::rereadClassChain(qint32 index)
{
    const Entry &object = entry(index);
    Q_ASSERT(object.kind == Entry::Kind::Object);
    m_pos = object.offset;
    m_nextString = object.stringsBefore;
    m_nextObject = index + 1;
    qint8 classHead = 0;
    qint32 cls = -1;
    if (Status s = nextHead(classHead); !s)
        return s;
    return readClass(classHead, cls);
}

Status TypedStreamScanner::restart(qint32 index)
{
    Q_ASSERT(entry(index).complete);
    if (++m_depth > maxDepth)
        return fail(QStringLiteral("objects nested too deeply"));
    return rereadClassChain(index);
}

Status TypedStreamScanner::rewind(qint32 index)
{
    return rereadClassChain(index);
}

Status TypedStreamScanner::readItem(const TypedStreamType &type, Item &item)
{
    using Kind = Item::Kind;
    item = Item{};
    if (type.code == '!')
        return {};
    qint8 head = 0;
    if (Status s = nextHead(head); !s)
        return s;
    switch (type.code) {
    case 'c':
        item.kind = Kind::Char;
        item.integer = head;
        return {};
    case 'C':
    case 'B':
        item.kind = Kind::Char;
        item.integer = quint8(head);
        return {};
    case 's':
    case 'S':
    case 'i':
    case 'I':
    case 'l':
    case 'L':
    case 'q':
    case 'Q':
        item.kind = Kind::Integer;
        if (Status s = readInt(head, item.integer); !s)
            return s;
        // Unsigned values in the shorter forms were written as their signed
        // bits; the 8-byte form holds a 'Q' whole.
        if (type.code == 'S')
            item.integer = quint16(item.integer);
        else if ((type.code == 'I' || type.code == 'L' || type.code == 'Q') && head != kTagInt64)
            item.integer = quint32(item.integer);
        return {};
    case 'f':
    case 'd':
        item.kind = Kind::Real;
        return readReal(head, type.code == 'd', item.real);
    case '+': {
        bool present = false;
        if (Status s = readByteString(head, item.span, present); !s)
            return s;
        item.kind = present ? Kind::Bytes : Kind::Nil;
        return {};
    }
    case ':':
    case '%':
        if (Status s = readSharedString(head, item.index); !s)
            return s;
        item.kind = item.index < 0 ? Kind::Nil : Kind::SharedString;
        return {};
    case '*':
        if (Status s = readCString(head, item.index); !s)
            return s;
        item.kind = item.index < 0 ? Kind::Nil : Kind::CString;
        return {};
    case '#':
        if (Status s = readClass(head, item.index); !s)
            return s;
        item.kind = item.index < 0 ? Kind::Nil : Kind::Class;
        return {};
    case '@': {
        ObjectHead object;
        if (Status s = readObjectHead(head, object); !s)
            return s;
        item.index = object.index;
        if (object.kind == ObjectHead::Kind::Nil)
            item.kind = Kind::Nil;
        else if (object.kind == ObjectHead::Kind::New)
            item.kind = Kind::NewObject;
        else
            item.kind = entry(object.index).kind == Entry::Kind::Class ? Kind::Class : Kind::Reference;
        return {};
    }
    default:
        return fail(QStringLiteral("unsupported type '%1'").arg(QLatin1Char(type.code)));
    }
}

Status TypedStreamScanner::beginCompound(const TypedStreamType &type, bool &isBytes, Span &bytes)
{
    if (type.minimumSize() > m_size - m_pos)
        return fail(QStringLiteral("%1 needs more bytes than remain")
                        .arg(type.code == '[' ? QStringLiteral("array") : QStringLiteral("struct")));
    isBytes = type.isByteArray();
    if (isBytes) {
        bytes = {quint32(m_pos), quint32(type.count)};
        m_pos += qsizetype(type.count);
        return {};
    }
    if (type.code == '[' && type.members.front().minimumSize() == 0 && type.count > 0)
        return fail(QStringLiteral("array of empty elements"));
    if (++m_depth > maxDepth)
        return fail(QStringLiteral("values nested too deeply"));
    return {};
}

Status TypedStreamScanner::skipValue(const TypedStreamType &type)
{
    if (type.code == '[' || type.code == '{') {
        bool isBytes = false;
        Span bytes;
        if (Status s = beginCompound(type, isBytes, bytes); !s)
            return s;
        if (isBytes)
            return {};
        if (type.code == '[') {
            for (qint64 i = 0; i < type.count; ++i) {
                if (Status s = skipValue(type.members.front()); !s)
                    return s;
            }
        } else {
            for (const TypedStreamType &member : type.members) {
                if (Status s = skipValue(member); !s)
                    return s;
            }
        }
        endCompound();
        return {};
    }
    Item item;
    if (Status s = readItem(type, item); !s)
        return s;
    return item.kind == Item::Kind::NewObject ? skipObjectBody(item.index) : Status();
}

Status TypedStreamScanner::skipGroup(qint8 head)
{
    qint32 index = -1;
    const Types *types = nullptr;
    if (Status s = readGroupTypes(head, index, types); !s)
        return s;
    for (const TypedStreamType &type : *types) {
        if (Status s = skipValue(type); !s)
            return s;
    }
    return {};
}
