#include "TypedStreamWriter.h"

#include "ArchivedValues.h"
#include "TypedStreamReader.h"
#include "TypedStreamTypes.h"

#include <QtEndian>

#include <cstring>
#include <limits>

namespace {

constexpr char kTagInt16 = char(0x81);
constexpr char kTagInt32 = char(0x82);
constexpr char kTagInt64 = char(0x87);
constexpr char kTagReal = char(0x83);
constexpr char kTagNew = char(0x84);
constexpr char kTagNil = char(0x85);
constexpr char kTagEnd = char(0x86);
constexpr qint64 kReferenceBase = -110;

// The NSNull singleton has no data of its own; this address stands for it.
const char kNullIdentity = 0;

std::string_view view(QByteArrayView bytes)
{
    return std::string_view(bytes.data(), size_t(bytes.size()));
}

const void *builtinIdentity(const QVariant &value)
{
    switch (value.metaType().id()) {
    case QMetaType::QString: {
        const auto *s = static_cast<const QString *>(value.constData());
        return s->isEmpty() ? nullptr : s->constData();
    }
    case QMetaType::QByteArray: {
        const auto *b = static_cast<const QByteArray *>(value.constData());
        return b->isEmpty() ? nullptr : b->constData();
    }
    case QMetaType::QVariantList: {
        const auto *l = static_cast<const QVariantList *>(value.constData());
        return l->isEmpty() ? nullptr : l->constData();
    }
    case QMetaType::QVariantMap: {
        const auto *m = static_cast<const QVariantMap *>(value.constData());
        return m->isEmpty() ? nullptr : &*m->constBegin();
    }
    default:
        break;
    }
    if (value.typeId() == QMetaType::Nullptr)
        return &kNullIdentity;
    return nullptr;
}

Error rangeError(qint64 value, char type)
{
    return Error{QStringLiteral("Cannot archive %1 as type '%2': only 'q' and 'Q' hold integers beyond 32 bits")
                     .arg(value)
                     .arg(QLatin1Char(type))};
}

Error typeError(const char *what, char type)
{
    return Error{QStringLiteral("Cannot archive %1 as type '%2'").arg(QLatin1String(what)).arg(QLatin1Char(type))};
}

bool isSimple(char code)
{
    return code != '[' && code != '{' && code != '(';
}

} // namespace

TypedStreamWriter::TypedStreamWriter(const TypedStreamRegistry &registry)
    : m_registry(registry)
{
    writeInt(4);
    writeByteString("streamtyped");
    writeInt(1000);
}

TypedStreamWriter::TypedStreamWriter(const Continuation &continuation, const TypedStreamRegistry &registry)
    : m_registry(registry)
    , m_continuation(continuation)
    , m_objectCount(continuation.objects)
    , m_stringCount(continuation.strings)
    , m_depth(continuation.depth)
{
    trackSpans();
}

TypedStreamWriter::~TypedStreamWriter() = default;

// --- Spans -------------------------------------------------------------------

void TypedStreamWriter::trackSpans()
{
    m_tracking = true;
    m_span = Span{};
    m_span.offset = m_out.size();
    m_span.firstObject = m_objectCount;
    m_span.firstString = m_stringCount;
}

void TypedStreamWriter::closeSpan()
{
    m_span.length = m_out.size() - m_span.offset;
    m_span.objects = m_objectCount - m_span.firstObject;
    m_span.strings = m_stringCount - m_span.firstString;
}

QByteArray TypedStreamWriter::takeData()
{
    // What a continuing writer reads of this one is its names: the objects
    // and what kept their addresses alive go.
    m_objects.clear();
    m_keepAlive.clear();
    m_keepAlive.shrink_to_fit();
    return std::exchange(m_out, QByteArray());
}

void TypedStreamWriter::markSpan()
{
    if (!m_tracking)
        return;
    closeSpan();
    m_spans.push_back(std::move(m_span));
    trackSpans();
}

std::vector<TypedStreamWriter::Span> TypedStreamWriter::takeSpans()
{
    if (m_tracking) {
        closeSpan();
        m_spans.push_back(std::move(m_span));
        m_tracking = false;
    }
    return std::exchange(m_spans, {});
}

TypedStreamWriter::Span TypedStreamWriter::continuedSpan()
{
    closeSpan();
    return m_span;
}

void TypedStreamWriter::noteReference(char table, qint64 number, bool hasIdentity)
{
    if (!m_tracking)
        return;
    const bool strings = table == 's';
    if (number >= (strings ? m_span.firstString : m_span.firstObject)) {
        m_span.refersToItself = true;
        return;
    }
    qint64 &highest = strings ? m_span.maxStringReference : m_span.maxObjectReference;
    highest = std::max(highest, number);
    if (hasIdentity)
        m_span.identityReferences.push_back(number);
}

void TypedStreamWriter::defined(char table, QByteArrayView name, qint64 number)
{
    if (m_tracking)
        m_span.definitions.push_back({table, name.toByteArray(), number});
}

// The number to refer to for a name already in a table; none when the name is
// written literally here. A continuing writer also looks into its base's
// tables: below the visible limits a name stands where the base put it;
// beyond them it can only be defined again where the base defined it.
std::optional<qint64> TypedStreamWriter::knownName(char table, std::string_view name)
{
    const auto tableOf
        = [table](const TypedStreamWriter &writer) -> const std::unordered_map<std::string_view, qint64> & {
        return table == 's' ? writer.m_strings : table == 'c' ? writer.m_classes : writer.m_cstrings;
    };
    const auto &mine = tableOf(*this);
    if (auto it = mine.find(name); it != mine.end())
        return it->second;
    if (!m_continuation)
        return std::nullopt;
    const Continuation &c = *m_continuation;
    const auto &theirs = tableOf(*c.base);
    const bool strings = table == 's';
    const auto it = theirs.find(name);
    if (it != theirs.end() && it->second < (strings ? c.visibleStrings : c.visibleObjects))
        return it->second;
    if (!c.redefine || (it != theirs.end() && it->second != (strings ? m_stringCount : m_objectCount)))
        m_continuationFailed = true;
    return std::nullopt;
}

// --- Objects written by the caller ---------------------------------------------

Status TypedStreamWriter::beginObject(const QByteArray &className, const void *identity, const QVariant &keepAlive)
{
    writeSharedString("@");
    const TypedStreamCoder *coder = m_registry.coder(className);
    if (!coder)
        return Error{QStringLiteral("No archived class %1 is known").arg(QString::fromLatin1(className))};
    if (writeKnownObject(identity))
        return Error{QStringLiteral("An object of class %1 is written twice").arg(QString::fromLatin1(className))};
    if (m_depth >= TypedStreamReader::maxDepth)
        return Error{QStringLiteral("Objects nested too deeply to archive")};
    m_out.append(kTagNew);
    ++m_objectCount;
    remember(identity, keepAlive);
    writeClassChain(*coder);
    ++m_depth;
    return {};
}

void TypedStreamWriter::endObject()
{
    --m_depth;
    m_out.append(kTagEnd);
}

Result<QByteArray> TypedStreamWriter::archivedDataWithRootObject(
    const QVariant &root, const TypedStreamRegistry &registry)
{
    TypedStreamWriter writer(registry);
    if (Status s = writer.encodeObject(root); !s)
        return Error{s.errorMessage()};
    return writer.m_out;
}

Result<QByteArray> TypedStreamWriter::archivedDataWithArchive(const TypedStreamArchive &archive)
{
    TypedStreamWriter writer;
    for (const auto &group : archive.groups) {
        if (Status s = writer.encodeGroup(group); !s)
            return Error{s.errorMessage()};
    }
    return writer.m_out;
}

void TypedStreamWriter::writeInt(qint64 value)
{
    if (value >= -110 && value <= 127) {
        m_out.append(char(value));
    } else if (value >= -32767 && value <= 32767) {
        char raw[2];
        qToLittleEndian(qint16(value), raw);
        m_out.append(kTagInt16).append(raw, 2);
    } else if (value >= std::numeric_limits<qint32>::min() && value <= std::numeric_limits<qint32>::max()) {
        char raw[4];
        qToLittleEndian(qint32(value), raw);
        m_out.append(kTagInt32).append(raw, 4);
    } else {
        writeInt64(value);
    }
}

void TypedStreamWriter::writeInt64(qint64 value)
{
    char raw[8];
    qToLittleEndian(value, raw);
    m_out.append(kTagInt64).append(raw, 8);
}

void TypedStreamWriter::writeReal(double value, bool isDouble)
{
    // The platform tries the integer form through single precision first; this
    // reproduces its choice, including the raw form for large whole doubles.
    qint32 candidate = 0;
    if (value >= -2147483646.0 && value < 2147483646.0) {
        const float narrowed = float(value);
        if (narrowed >= -2147483648.0f && narrowed < 2147483648.0f)
            candidate = qint32(narrowed);
    }
    if (double(candidate) == value) {
        writeInt(candidate);
        return;
    }
    m_out.append(kTagReal);
    if (isDouble) {
        char raw[8];
        qToLittleEndian(value, raw);
        m_out.append(raw, 8);
    } else {
        char raw[4];
        qToLittleEndian(float(value), raw);
        m_out.append(raw, 4);
    }
}

void TypedStreamWriter::writeByteString(QByteArrayView bytes)
{
    writeInt(bytes.size());
    m_out.append(bytes.data(), bytes.size());
}

void TypedStreamWriter::writeReference(qint64 index)
{
    writeInt(index + kReferenceBase);
}

void TypedStreamWriter::writeSharedString(QByteArrayView text)
{
    if (const auto known = knownName('s', view(text))) {
        writeReference(*known);
        noteReference('s', *known, false);
        return;
    }
    m_out.append(kTagNew);
    writeByteString(text);
    m_stringStore.push_back(text.toByteArray());
    const qint64 index = m_stringCount++;
    m_strings.emplace(view(m_stringStore.back()), index);
    defined('s', text, index);
}

void TypedStreamWriter::writeCString(QByteArrayView text)
{
    if (const auto known = knownName('*', view(text))) {
        writeReference(*known);
        noteReference('*', *known, false);
        return;
    }
    m_out.append(kTagNew);
    const qint64 index = m_objectCount++;
    writeSharedString(text);
    m_stringStore.push_back(text.toByteArray());
    m_cstrings.emplace(view(m_stringStore.back()), index);
    defined('*', text, index);
}

void TypedStreamWriter::writeClassChain(const TypedStreamCoder &coder)
{
    const auto literal = [this](const QByteArray &name, qint64 version) {
        if (const auto known = knownName('c', view(name))) {
            writeReference(*known);
            noteReference('c', *known, false);
            return false;
        }
        m_out.append(kTagNew);
        writeSharedString(name);
        writeInt(version);
        m_stringStore.push_back(name);
        const qint64 index = m_objectCount++;
        m_classes.emplace(view(m_stringStore.back()), index);
        defined('c', name, index);
        return true;
    };
    if (!literal(coder.className, coder.version))
        return;
    for (const auto &[name, version] : coder.superclasses) {
        if (!literal(name, version))
            return;
    }
    m_out.append(kTagNil);
}

void TypedStreamWriter::writeClassChain(const TypedStreamClass *cls)
{
    for (; cls; cls = cls->superclass.get()) {
        if (const auto known = knownName('c', view(cls->name))) {
            writeReference(*known);
            noteReference('c', *known, false);
            return;
        }
        m_out.append(kTagNew);
        writeSharedString(cls->name);
        writeInt(cls->version);
        m_stringStore.push_back(cls->name);
        const qint64 index = m_objectCount++;
        m_classes.emplace(view(m_stringStore.back()), index);
        defined('c', cls->name, index);
    }
    m_out.append(kTagNil);
}

bool TypedStreamWriter::writeKnownObject(const void *identity)
{
    if (!identity)
        return false;
    qint64 number = 0;
    if (const auto it = m_objects.find(identity); it != m_objects.end()) {
        number = it->second;
    } else if (m_continuation && m_continuation->earlier) {
        const Earlier earlier = m_continuation->earlier(identity);
        if (earlier.kind == Earlier::Conflict)
            m_continuationFailed = true;
        if (earlier.kind != Earlier::At)
            return false;
        number = earlier.number;
    } else {
        return false;
    }
    writeReference(number);
    noteReference('@', number, true);
    return true;
}

void TypedStreamWriter::remember(const void *identity, const QVariant &keepAlive)
{
    if (!identity)
        return;
    m_objects.emplace(identity, m_objectCount - 1);
    // Holding the value keeps its address from being reused by another object.
    m_keepAlive.push_back(keepAlive);
    if (m_tracking)
        m_span.identities.push_back({identity, m_objectCount - 1, keepAlive});
}

Result<std::shared_ptr<const TypedStreamWriter::Types>> TypedStreamWriter::typesOf(QByteArrayView text)
{
    const QByteArray key = text.toByteArray();
    if (auto it = m_types.constFind(key); it != m_types.cend())
        return *it;
    auto parsed = TypedStreamTypes::parse(text);
    if (!parsed)
        return Error{parsed.errorMessage()};
    auto shared = std::make_shared<const Types>(std::move(parsed).value());
    m_types.insert(key, shared);
    return shared;
}

Status TypedStreamWriter::encodeObject(const QVariant &value)
{
    writeSharedString("@");
    return writeObject(value);
}

Status TypedStreamWriter::encodeStringBytes(const QByteArray &utf8, const QByteArray &className)
{
    writeSharedString("@");
    const TypedStreamCoder *coder = m_registry.coder(className);
    if (!coder)
        return Error{QStringLiteral("No archived class %1 is known").arg(QString::fromLatin1(className))};
    const void *identity = builtinIdentity(QVariant(utf8));
    if (writeKnownObject(identity))
        return {};
    m_out.append(kTagNew);
    ++m_objectCount;
    remember(identity, QVariant(utf8));
    writeClassChain(*coder);
    writeSharedString("+");
    writeByteString(utf8);
    m_out.append(kTagEnd);
    return {};
}

Status TypedStreamWriter::encodeValueOfObjCType(QByteArrayView type, const QVariant &value)
{
    if (type.size() == 1 && isSimple(type.front())) {
        writeSharedString(type);
        TypedStreamType simple;
        simple.code = type.front();
        return writeValue(simple, value);
    }
    auto types = typesOf(type);
    if (!types)
        return Error{types.errorMessage()};
    if (types.value()->size() != 1)
        return Error{QStringLiteral("encodeValueOfObjCType takes exactly one type, not \"%1\"")
                         .arg(QString::fromLatin1(type.toByteArray()))};
    writeSharedString(type);
    return writeValue(types.value()->front(), value);
}

Status TypedStreamWriter::encodeValuesOfObjCTypes(QByteArrayView types, const QVariantList &values)
{
    auto parsed = typesOf(types);
    if (!parsed)
        return Error{parsed.errorMessage()};
    if (qsizetype(parsed.value()->size()) != values.size())
        return Error{QStringLiteral("%1 values for the types \"%2\"")
                         .arg(values.size())
                         .arg(QString::fromLatin1(types.toByteArray()))};
    writeSharedString(types);
    for (qsizetype i = 0; i < values.size(); ++i) {
        if (Status s = writeValue((*parsed.value())[size_t(i)], values[i]); !s)
            return s;
    }
    return {};
}

Status TypedStreamWriter::encodeGroup(const TypedStreamGroup &group)
{
    auto parsed = typesOf(group.types);
    if (!parsed)
        return Error{parsed.errorMessage()};
    if (parsed.value()->size() != group.values.size())
        return Error{QStringLiteral("A group of type \"%1\" holds %2 values")
                         .arg(QString::fromLatin1(group.types.left(64)))
                         .arg(group.values.size())};
    writeSharedString(group.types);
    for (size_t i = 0; i < group.values.size(); ++i) {
        if (Status s = writeGenericValue((*parsed.value())[i], group.values[i]); !s)
            return s;
    }
    return {};
}

void TypedStreamWriter::encodeBool(bool value)
{
    writeSharedString("c");
    m_out.append(char(value ? 1 : 0));
}

void TypedStreamWriter::encodeInt(qint32 value)
{
    writeSharedString("i");
    writeInt(value);
}

void TypedStreamWriter::encodeFloat(float value)
{
    writeSharedString("f");
    writeReal(value, false);
}

void TypedStreamWriter::encodeDouble(double value)
{
    writeSharedString("d");
    writeReal(value, true);
}

Status TypedStreamWriter::writeObject(const QVariant &value)
{
    if (!value.isValid()) {
        m_out.append(kTagNil);
        return {};
    }
    if (value.metaType() == QMetaType::fromType<TypedStreamObjectPtr>())
        return writeGenericObject(value.value<TypedStreamObjectPtr>());
    if (value.metaType() == QMetaType::fromType<ArchivedImage>())
        return writeGenericObject(value.value<ArchivedImage>().object);

    QByteArray className;
    QVariant inner;
    if (value.metaType() == QMetaType::fromType<ArchivedAs>()) {
        const auto as = value.value<ArchivedAs>();
        className = as.className;
        inner = as.value;
    } else {
        className = m_registry.defaultClassName(value.metaType().id());
        inner = value;
    }
    if (className.isEmpty()) {
        return Error{QStringLiteral("No archived class is set for values of type %1")
                         .arg(QLatin1String(value.metaType().name()))};
    }
    const TypedStreamCoder *coder = m_registry.coder(className);
    if (!coder || !coder->encode)
        return Error{QStringLiteral("No coder writes archived class %1").arg(QString::fromLatin1(className))};

    const void *identity = coder->identity ? coder->identity(inner) : builtinIdentity(inner);
    if (writeKnownObject(identity))
        return {};
    if (m_depth >= TypedStreamReader::maxDepth)
        return Error{QStringLiteral("Objects nested too deeply to archive")};
    m_out.append(kTagNew);
    ++m_objectCount;
    remember(identity, inner);
    writeClassChain(*coder);
    ++m_depth;
    Status status = coder->encode(*this, inner);
    --m_depth;
    m_out.append(kTagEnd);
    return status;
}

Status TypedStreamWriter::writeGenericObject(const TypedStreamObjectPtr &object)
{
    if (!object || !object->cls)
        return Error{QStringLiteral("Cannot archive an object without a class")};
    if (writeKnownObject(object.get()))
        return {};
    if (m_depth >= TypedStreamReader::maxDepth)
        return Error{QStringLiteral("Objects nested too deeply to archive")};
    m_out.append(kTagNew);
    ++m_objectCount;
    remember(object.get(), QVariant::fromValue(object));
    writeClassChain(object->cls.get());
    ++m_depth;
    for (const auto &group : object->groups) {
        if (Status s = encodeGroup(group); !s) {
            --m_depth;
            return s;
        }
    }
    --m_depth;
    m_out.append(kTagEnd);
    return {};
}

Status TypedStreamWriter::writeValue(const TypedStreamType &type, const QVariant &value)
{
    bool ok = true;
    switch (type.code) {
    case 'c':
    case 'C':
    case 'B': {
        const int v = value.toInt(&ok);
        if (!ok)
            return typeError(value.metaType().name(), type.code);
        m_out.append(char(v));
        return {};
    }
    case 's':
    case 'i':
    case 'l':
    case 'q': {
        const qint64 v = value.toLongLong(&ok);
        if (!ok)
            return typeError(value.metaType().name(), type.code);
        const qint64 limit = type.code == 's' ? 32767 : std::numeric_limits<qint32>::max();
        if (type.code != 'q' && (v > limit || v < -limit - 1))
            return rangeError(v, type.code);
        writeInt(v);
        return {};
    }
    case 'S':
    case 'I':
    case 'L':
    case 'Q': {
        if (type.code == 'Q' && value.typeId() == QMetaType::ULongLong
            && value.toULongLong() > std::numeric_limits<quint32>::max()) {
            writeInt64(qint64(value.toULongLong()));
            return {};
        }
        const qint64 v = value.toLongLong(&ok);
        if (!ok)
            return typeError(value.metaType().name(), type.code);
        if (type.code == 'Q' && v > qint64(std::numeric_limits<quint32>::max())) {
            writeInt64(v);
            return {};
        }
        const qint64 limit = type.code == 'S' ? 65535 : std::numeric_limits<quint32>::max();
        if (v > limit || v < 0)
            return rangeError(v, type.code);
        writeInt(type.code == 'S' ? v : qint64(qint32(quint32(v))));
        return {};
    }
    case 'f':
    case 'd': {
        const double v = value.toDouble(&ok);
        if (!ok)
            return typeError(value.metaType().name(), type.code);
        writeReal(type.code == 'f' ? double(float(v)) : v, type.code == 'd');
        return {};
    }
    case '+':
    case '*':
    case ':':
    case '%':
        if (!value.isValid()) {
            m_out.append(kTagNil);
        } else if (!value.canConvert<QByteArray>()) {
            return typeError(value.metaType().name(), type.code);
        } else if (type.code == '+') {
            writeByteString(value.toByteArray());
        } else if (type.code == '*') {
            writeCString(value.toByteArray());
        } else {
            writeSharedString(value.toByteArray());
        }
        return {};
    case '#': {
        if (!value.isValid()) {
            m_out.append(kTagNil);
            return {};
        }
        const TypedStreamCoder *coder = m_registry.coder(value.toByteArray());
        if (!coder)
            return typeError("an unknown class", type.code);
        writeClassChain(*coder);
        return {};
    }
    case '@':
        return writeObject(value);
    case '!':
        return {};
    default:
        break;
    }
    if (type.isByteArray()) {
        const QByteArray bytes = value.toByteArray();
        if (bytes.size() != type.count)
            return Error{QStringLiteral("%1 bytes for an array of %2").arg(bytes.size()).arg(type.count)};
        m_out.append(bytes);
        return {};
    }
    const QVariantList list = value.toList();
    const qint64 expected = type.code == '[' ? type.count : qint64(type.members.size());
    if (list.size() != expected)
        return Error{QStringLiteral("%1 values for %2 elements").arg(list.size()).arg(expected)};
    for (qsizetype i = 0; i < list.size(); ++i) {
        const TypedStreamType &member = type.code == '[' ? type.members.front() : type.members[size_t(i)];
        if (Status s = writeValue(member, list[i]); !s)
            return s;
    }
    return {};
}

Status TypedStreamWriter::writeGenericValue(const TypedStreamType &type, const TypedStreamValue &value)
{
    using Kind = TypedStreamValue::Kind;
    const auto expect = [&](Kind kind) -> Status {
        if (value.kind == kind)
            return {};
        return typeError("a value of another kind", type.code);
    };
    switch (type.code) {
    case 'c':
    case 'C':
    case 'B':
        if (Status s = expect(Kind::Char); !s)
            return s;
        m_out.append(char(value.integer));
        return {};
    case 's':
    case 'i':
    case 'l':
    case 'q':
        if (Status s = expect(Kind::Integer); !s)
            return s;
        if (type.code != 'q'
            && (value.integer > std::numeric_limits<qint32>::max()
                || value.integer < std::numeric_limits<qint32>::min()))
            return rangeError(value.integer, type.code);
        writeInt(value.integer);
        return {};
    case 'S':
    case 'I':
    case 'L':
    case 'Q':
        if (Status s = expect(Kind::Integer); !s)
            return s;
        // A 'Q' read from the 8-byte form holds its bits, which may look negative.
        if (type.code == 'Q' && (value.integer < 0 || value.integer > qint64(std::numeric_limits<quint32>::max()))) {
            writeInt64(value.integer);
            return {};
        }
        if (value.integer > std::numeric_limits<quint32>::max() || value.integer < std::numeric_limits<qint32>::min())
            return rangeError(value.integer, type.code);
        writeInt(type.code == 'S' ? value.integer : qint64(qint32(quint32(value.integer))));
        return {};
    case 'f':
    case 'd':
        if (Status s = expect(Kind::Real); !s)
            return s;
        writeReal(type.code == 'f' ? double(float(value.real)) : value.real, type.code == 'd');
        return {};
    default:
        break;
    }
    if (value.kind == Kind::Nil && type.code != '[' && type.code != '{') {
        if (type.code != '!')
            m_out.append(kTagNil);
        return {};
    }
    switch (type.code) {
    case '+':
        if (Status s = expect(Kind::Bytes); !s)
            return s;
        writeByteString(value.bytes);
        return {};
    case ':':
    case '%':
        if (Status s = expect(Kind::SharedString); !s)
            return s;
        writeSharedString(value.bytes);
        return {};
    case '*':
        if (Status s = expect(Kind::CString); !s)
            return s;
        writeCString(value.bytes);
        return {};
    case '#':
        if (Status s = expect(Kind::Class); !s)
            return s;
        writeClassChain(value.cls.get());
        return {};
    case '@':
        if (value.kind == Kind::Class) {
            writeClassChain(value.cls.get());
            return {};
        }
        if (Status s = expect(Kind::Object); !s)
            return s;
        return writeGenericObject(value.target());
    case '!':
        return {};
    default:
        break;
    }
    if (type.isByteArray()) {
        if (Status s = expect(Kind::Bytes); !s)
            return s;
        if (value.bytes.size() != type.count)
            return Error{QStringLiteral("%1 bytes for an array of %2").arg(value.bytes.size()).arg(type.count)};
        m_out.append(value.bytes);
        return {};
    }
    if (Status s = expect(type.code == '[' ? Kind::Array : Kind::Struct); !s)
        return s;
    const qint64 expected = type.code == '[' ? type.count : qint64(type.members.size());
    if (qint64(value.elements.size()) != expected)
        return Error{QStringLiteral("%1 values for %2 elements").arg(value.elements.size()).arg(expected)};
    for (size_t i = 0; i < value.elements.size(); ++i) {
        const TypedStreamType &member = type.code == '[' ? type.members.front() : type.members[i];
        if (Status s = writeGenericValue(member, value.elements[i]); !s)
            return s;
    }
    return {};
}
