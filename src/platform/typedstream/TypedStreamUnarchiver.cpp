#include "TypedStreamUnarchiver.h"

#include "ArchivedValues.h"
#include "TypedStreamTypes.h"
#include "platform/base/VariantKinds.h"

namespace {

constexpr qint8 kTagEnd = -122;
constexpr quint32 kOpen = 1u << 31;
constexpr quint32 kUtf8 = 1u << 30;
constexpr quint32 kIndexMask = kUtf8 - 1;

Error groupError(QByteArrayView expected, QByteArrayView found)
{
    return Error{QStringLiteral("Expected a value of type %1 in the archive, found \"%2\"")
                     .arg(QString::fromLatin1(expected),
                         QString::fromLatin1(found.first(std::min<qsizetype>(64, found.size()))))};
}

// Values without an identity of their own: the writer writes them anew each
// time, so reading them again where they are referred to gives the same file.
bool isPlainValue(const QVariant &value)
{
    if (VariantKinds::isNumber(value) || value.typeId() == QMetaType::QDateTime)
        return true;
    const QMetaType type = value.metaType();
    return type == QMetaType::fromType<ArchivedColor>() || type == QMetaType::fromType<ArchivedCalendarDate>();
}

} // namespace

TypedStreamUnarchiver::TypedStreamUnarchiver(const QByteArray &bytes, const TypedStreamRegistry &registry,
    TypedStreamDecodeOptions options, bool keepUtf8, bool wholeTree)
    : m_scanner(bytes)
    , m_builder(m_scanner)
    , m_registry(registry)
    , m_options(options)
    , m_keepUtf8(keepUtf8 && !options.keepClassNames)
    , m_wholeTree(wholeTree)
    , m_top(new TypedStreamDecoder(*this, registry, options))
{
    m_slots.reserve(size_t(bytes.size() / 32)); // as the scanner's table
}

TypedStreamUnarchiver::~TypedStreamUnarchiver() = default;

Error TypedStreamUnarchiver::fail(Error error)
{
    if (m_failure.isEmpty())
        m_failure = error.message;
    return error;
}

Error TypedStreamUnarchiver::mismatch(const Types &found, Error typeError)
{
    // Read through first, as the generic reader would have: an error in the
    // group's bytes is what the stream has to say first.
    for (const TypedStreamType &type : found) {
        if (Status s = m_scanner.skipValue(type); !s)
            return fail(s);
    }
    return fail(std::move(typeError));
}

quint32 &TypedStreamUnarchiver::slot(qint32 index)
{
    if (size_t(index) >= m_slots.size())
        m_slots.resize(std::max(size_t(index) + 1, size_t(m_scanner.objectCount())));
    return m_slots[size_t(index)];
}

void TypedStreamUnarchiver::keep(qint32 index, const QVariant &value)
{
    if (m_values.size() >= kIndexMask)
        return; // more objects than any stream this reads can hold; references read them again
    m_values.push_back(value);
    quint32 &s = slot(index);
    s = (s & kOpen) | quint32(m_values.size());
}

// --- The whole stream ---------------------------------------------------------------

Result<QVariant> TypedStreamUnarchiver::unarchive(const TypedStreamCoder::Decode &decode)
{
    if (Status s = m_scanner.readHeader(); !s)
        return fail(s);
    if (m_wholeTree) {
        // The nodes stay with the builder; the groups are read again below.
        const TypedStreamScanner::Mark start = m_scanner.mark();
        std::vector<TypedStreamGroup> groups;
        if (Status s = m_builder.readStream(groups); !s)
            return fail(s);
        m_scanner.restore(start);
    }
    auto root = decode(*m_top);
    if (!root)
        return root;
    // A coder that went on after a failed read must not make a value of it.
    if (!m_failure.isEmpty())
        return Error{m_failure};
    // What follows is never decoded, but a stream that does not
    // read to its end is not a stream.
    while (!m_scanner.atEnd()) {
        qint8 head = 0;
        if (Status s = m_scanner.nextHead(head); !s)
            return fail(s);
        if (Status s = m_scanner.skipGroup(head); !s)
            return fail(s);
    }
    return root;
}

// --- Groups ------------------------------------------------------------------------

bool TypedStreamUnarchiver::atEnd(const TypedStreamDecoder &decoder) const
{
    if (decoder.m_streamObject < 0)
        return m_scanner.atEnd();
    if (decoder.m_streamEnded)
        return true;
    const auto head = m_scanner.peekHead();
    return head && *head == kTagEnd;
}

QByteArray TypedStreamUnarchiver::className(qint32 object) const
{
    return object < 0 ? QByteArray() : m_scanner.className(m_scanner.entry(object).link).toByteArray();
}

Error TypedStreamUnarchiver::endsEarly(const TypedStreamDecoder &decoder) const
{
    return Error{decoder.m_streamObject >= 0 ? QStringLiteral("An archived %1 ends before all its values were read")
                                                   .arg(QString::fromLatin1(className(decoder.m_streamObject)))
                                             : QStringLiteral("The archive ends before all its values were read")};
}

Status TypedStreamUnarchiver::nextGroupHead(TypedStreamDecoder &decoder, qint8 &head)
{
    if (!m_failure.isEmpty())
        return Error{m_failure};
    if (decoder.m_streamEnded)
        return fail(endsEarly(decoder));
    if (decoder.m_streamObject < 0) {
        if (m_scanner.atEnd())
            return fail(endsEarly(decoder));
        if (Status s = m_scanner.nextHead(head); !s)
            return fail(s);
    } else {
        bool atEnd = false;
        if (Status s = m_scanner.nextGroupHead(decoder.m_streamObject, head, atEnd); !s)
            return fail(s);
        if (atEnd) {
            decoder.m_streamEnded = true;
            return fail(endsEarly(decoder));
        }
    }
    ++decoder.m_consumed;
    return {};
}

Result<TypedStreamObjectPtr> TypedStreamUnarchiver::readWholeObject(TypedStreamDecoder &decoder)
{
    if (!m_failure.isEmpty())
        return Error{m_failure};
    // The node is made from the object's first group to its end; then
    // reading goes on from where the decoder stands.
    const qint32 index = decoder.m_streamObject;
    const TypedStreamScanner::Mark back = m_scanner.mark();
    if (Status s = m_scanner.rewind(index); !s)
        return fail(s);
    auto node = m_builder.readObjectBody(index);
    if (!node)
        return fail(Error{node.errorMessage()});
    m_scanner.restore(back);
    return node;
}

Result<const TypedStreamGroup *> TypedStreamUnarchiver::nextGroup(TypedStreamDecoder &decoder)
{
    qint8 head = 0;
    if (Status s = nextGroupHead(decoder, head); !s)
        return Error{s.errorMessage()};
    auto &group = decoder.m_builtGroups.emplace_back(std::make_unique<TypedStreamGroup>());
    if (Status s = m_builder.readGroup(head, *group); !s)
        return fail(s);
    return group.get();
}

Result<TypedStreamGroupInfo> TypedStreamUnarchiver::peekGroup(TypedStreamDecoder &decoder)
{
    if (!m_failure.isEmpty())
        return Error{m_failure};
    if (atEnd(decoder))
        return endsEarly(decoder);
    // Read as far as the object's class chain, then back: what the peek
    // numbered keeps its numbers when it is read for real.
    const TypedStreamScanner::Mark back = m_scanner.mark();
    TypedStreamGroupInfo info;
    qint8 head = 0;
    qint32 typesIndex = -1;
    const Types *types = nullptr;
    Status s = m_scanner.nextHead(head);
    if (s)
        s = m_scanner.readGroupTypes(head, typesIndex, types);
    if (s) {
        info.types = m_scanner.stringBytes(typesIndex);
        if (info.types == "@") {
            Item item;
            s = m_scanner.readItem(types->front(), item);
            if (s && (item.kind == Item::Kind::NewObject || item.kind == Item::Kind::Reference)) {
                for (qint32 c = m_scanner.entry(item.index).link; c >= 0; c = m_scanner.entry(c).link)
                    info.classChain.push_back(m_scanner.stringBytes(m_scanner.entry(c).string));
            }
        }
    }
    m_scanner.restore(back);
    if (!s)
        return fail(s);
    return info;
}

Status TypedStreamUnarchiver::skipGroup(TypedStreamDecoder &decoder)
{
    qint8 head = 0;
    if (Status s = nextGroupHead(decoder, head); !s)
        return s;
    if (Status s = m_scanner.skipGroup(head); !s)
        return fail(s);
    return {};
}

Status TypedStreamUnarchiver::readGroupOf(TypedStreamDecoder &decoder, QByteArrayView wanted, const Types *&found)
{
    qint8 head = 0;
    if (Status s = nextGroupHead(decoder, head); !s)
        return s;
    qint32 typesIndex = -1;
    if (Status s = m_scanner.readGroupTypes(head, typesIndex, found); !s)
        return fail(s);
    const QByteArrayView foundText = m_scanner.string(typesIndex);
    if (foundText == wanted)
        return {};
    auto &wantedTypes = m_wantedTypes[wanted.toByteArray()];
    if (!wantedTypes) {
        auto parsed = TypedStreamTypes::parse(wanted);
        if (!parsed)
            return mismatch(*found, groupError(wanted, foundText));
        wantedTypes = std::make_shared<const Types>(std::move(parsed).value());
    }
    if (wantedTypes->size() != found->size())
        return mismatch(*found, groupError(wanted, foundText));
    for (size_t i = 0; i < found->size(); ++i) {
        const TypedStreamType &a = (*wantedTypes)[i];
        const TypedStreamType &b = (*found)[i];
        if (!TypedStreamTypes::standsFor(a.code, b.code) || a.code == '[' || a.code == '{')
            return mismatch(*found, groupError(wanted, foundText));
    }
    return {};
}

Result<TypedStreamScanner::Item> TypedStreamUnarchiver::decodeScalar(
    TypedStreamDecoder &decoder, const char *expected, QByteArrayView accepted)
{
    qint8 head = 0;
    if (Status s = nextGroupHead(decoder, head); !s)
        return Error{s.errorMessage()};
    qint32 typesIndex = -1;
    const Types *types = nullptr;
    if (Status s = m_scanner.readGroupTypes(head, typesIndex, types); !s)
        return fail(s);
    if (types->size() != 1 || !accepted.contains(types->front().code))
        return mismatch(*types, groupError(expected, m_scanner.string(typesIndex)));
    Item item;
    if (Status s = m_scanner.readItem(types->front(), item); !s)
        return fail(s);
    return item;
}

Result<QVariant> TypedStreamUnarchiver::decodeValueOfObjCType(TypedStreamDecoder &decoder, QByteArrayView type)
{
    const Types *found = nullptr;
    if (Status s = readGroupOf(decoder, type, found); !s)
        return Error{s.errorMessage()};
    if (found->size() != 1)
        return fail(Error{QStringLiteral("decodeValueOfObjCType takes exactly one type")});
    return readVariant(found->front());
}

Result<QVariantList> TypedStreamUnarchiver::decodeValuesOfObjCTypes(TypedStreamDecoder &decoder, QByteArrayView types)
{
    const Types *found = nullptr;
    if (Status s = readGroupOf(decoder, types, found); !s)
        return Error{s.errorMessage()};
    QVariantList values;
    values.reserve(qsizetype(found->size()));
    for (const TypedStreamType &type : *found) {
        auto value = readVariant(type);
        if (!value)
            return Error{value.errorMessage()};
        values.append(std::move(value).value());
    }
    return values;
}

Result<QVariant> TypedStreamUnarchiver::readVariant(const TypedStreamType &type)
{
    using Kind = Item::Kind;
    if (type.code == '[' || type.code == '{') {
        bool isBytes = false;
        TypedStreamScanner::Span bytes;
        if (Status s = m_scanner.beginCompound(type, isBytes, bytes); !s)
            return fail(s);
        if (isBytes)
            return QVariant(m_scanner.slice(bytes));
        QVariantList list;
        const qint64 count = type.code == '[' ? type.count : qint64(type.members.size());
        // The count was checked against the bytes left, but an element may
        // take one byte and a QVariant far more: the list grows as it fills.
        list.reserve(qsizetype(std::min<qint64>(count, 1024)));
        for (qint64 i = 0; i < count; ++i) {
            auto element = readVariant(type.code == '[' ? type.members.front() : type.members[size_t(i)]);
            if (!element)
                return element;
            list.append(std::move(element).value());
        }
        m_scanner.endCompound();
        return QVariant(list);
    }
    Item item;
    if (Status s = m_scanner.readItem(type, item); !s)
        return fail(s);
    switch (type.code) {
    case '+':
        return item.kind == Kind::Nil ? QVariant() : QVariant(m_scanner.slice(item.span));
    case '*':
    case ':':
    case '%':
        return item.kind == Kind::Nil ? QVariant() : QVariant(m_scanner.stringBytes(item.index));
    case '#':
        return item.kind == Kind::Nil ? QVariant() : QVariant(m_scanner.className(item.index).toByteArray());
    case '@':
        return decodeItem(item, false);
    default:
        return TypedStreamTypes::numberValue(type.code, item.integer, item.real);
    }
}

// --- Objects -----------------------------------------------------------------------

Result<QVariant> TypedStreamUnarchiver::decodeObject(TypedStreamDecoder &decoder, bool keepUtf8)
{
    Item item;
    if (Status s = readObjectGroup(decoder, item); !s)
        return Error{s.errorMessage()};
    return decodeItem(item, keepUtf8 && m_keepUtf8);
}

Result<QVariant> TypedStreamUnarchiver::decodeItem(const Item &item, bool keepUtf8)
{
    switch (item.kind) {
    case Item::Kind::Nil:
        return QVariant();
    case Item::Kind::Reference:
        return decodeReference(item.index, keepUtf8);
    case Item::Kind::NewObject:
        return decodeNew(item.index, keepUtf8);
    default:
        return fail(Error{QStringLiteral("Expected an object in the archive, found a class or plain value")});
    }
}

std::optional<QVariant> TypedStreamUnarchiver::keptValue(qint32 index, bool keepUtf8)
{
    if (size_t(index) >= m_slots.size())
        return std::nullopt;
    const quint32 flags = m_slots[size_t(index)];
    if (flags & kUtf8) {
        // Handed out as UTF-8 and wanted as a QString: the holders would not
        // share it. Wanted as UTF-8 again, it is read again, and the bytes of
        // the same place in the stream are the same object to a writer.
        if (!keepUtf8)
            m_utf8StringShared = true;
        return std::nullopt;
    }
    if (!(flags & kIndexMask))
        return std::nullopt;
    return m_values[(flags & kIndexMask) - 1];
}

Result<QVariant> TypedStreamUnarchiver::decodeReference(qint32 index, bool keepUtf8)
{
    if (auto kept = keptValue(index, keepUtf8))
        return *kept;
    const quint32 flags = size_t(index) < m_slots.size() ? m_slots[size_t(index)] : 0;
    if ((flags & kOpen) || !m_scanner.entry(index).complete) {
        return fail(Error{QStringLiteral("An archived %1 contains a reference to itself, which has no Qt value form")
                              .arg(QString::fromLatin1(className(index)))});
    }
    const TypedStreamScanner::Mark back = m_scanner.mark();
    if (Status s = m_scanner.restart(index); !s)
        return fail(s);
    auto value = decodeNew(index, keepUtf8);
    m_scanner.restore(back);
    return value;
}

const TypedStreamCoder *TypedStreamUnarchiver::findCoder(qint32 classIndex)
{
    // Classes are few and their objects many: each class is looked up once.
    quint32 &s = slot(classIndex);
    if (!s) {
        const TypedStreamCoder *coder = nullptr;
        for (qint32 c = classIndex; c >= 0 && !coder; c = m_scanner.entry(c).link)
            coder = m_registry.coder(m_scanner.className(c).toByteArray());
        m_coders.push_back(coder);
        s = quint32(m_coders.size());
    }
    return m_coders[s - 1];
}

Result<const TypedStreamCoder *> TypedStreamUnarchiver::coderFor(qint32 classIndex)
{
    const TypedStreamCoder *coder = findCoder(classIndex);
    if (coder && coder->decode)
        return coder;
    QStringList chain;
    for (qint32 c = classIndex; c >= 0; c = m_scanner.entry(c).link) {
        chain.append(QString::fromLatin1(m_scanner.className(c)));
        if (m_registry.coder(m_scanner.className(c).toByteArray()))
            break;
    }
    return fail(Error{QStringLiteral("Cannot decode archived class %1: no coder for it or its superclasses (%2)")
                          .arg(chain.front(), chain.join(QStringLiteral(" → ")))});
}

QByteArray TypedStreamUnarchiver::coderClassName(qint32 object)
{
    const TypedStreamCoder *coder = object < 0 ? nullptr : findCoder(m_scanner.entry(object).link);
    return coder ? coder->className : QByteArray();
}

std::optional<QByteArray> TypedStreamUnarchiver::readUtf8String(qint32 index)
{
    // Only a plain string, whose coder would read its first group as '+' and
    // convert it; anything else takes the coder's way.
    const TypedStreamScanner::Mark back = m_scanner.mark();
    qint8 head = 0;
    bool atEnd = false;
    qint32 typesIndex = -1;
    const Types *types = nullptr;
    Item item;
    if (m_scanner.nextGroupHead(index, head, atEnd) && !atEnd && m_scanner.readGroupTypes(head, typesIndex, types)
        && types->size() == 1 && types->front().code == '+' && m_scanner.readItem(types->front(), item)
        && item.kind == Item::Kind::Bytes) {
        const QByteArrayView text = m_scanner.view(item.span);
        // Bytes that a conversion to QString and back would change stay with the coder.
        if (!text.isEmpty() && text.isValidUtf8() && !text.startsWith("\xef\xbb\xbf")
            && m_scanner.skipObjectBody(index))
            return m_scanner.slice(item.span);
    }
    m_scanner.restore(back);
    return std::nullopt;
}

Result<QVariant> TypedStreamUnarchiver::decodeNew(qint32 index, bool keepUtf8)
{
    // Read again inside an object read again: its value may be kept already.
    if (auto kept = keptValue(index, keepUtf8)) {
        if (Status s = m_scanner.skipObjectBody(index); !s)
            return fail(s);
        return *kept;
    }
    const qint32 classIndex = m_scanner.entry(index).link;
    auto coder = coderFor(classIndex);
    if (!coder)
        return Error{coder.errorMessage()};
    if (keepUtf8 && (coder.value()->className == "NSString" || coder.value()->className == "NSMutableString")) {
        if (auto utf8 = readUtf8String(index)) {
            slot(index) |= kUtf8;
            return QVariant::fromValue(TypedStreamUtf8{std::move(*utf8)});
        }
    }
    auto result = runDecode(index, coder.value()->decode);
    if (!result)
        return result;
    QVariant decoded = std::move(result).value();
    if (m_options.keepClassNames && decoded.isValid()) {
        const QByteArray name = className(index);
        const QByteArray standard = m_registry.defaultClassName(decoded.metaType().id());
        if (!standard.isEmpty() && standard != name)
            decoded = QVariant::fromValue(ArchivedAs{name, decoded});
    }
    if (coder.value()->identity || !isPlainValue(decoded))
        keep(index, decoded);
    return decoded;
}

Result<QVariant> TypedStreamUnarchiver::runDecode(qint32 index, const TypedStreamCoder::Decode &decode)
{
    if (m_decodeDepth >= TypedStreamScanner::maxDepth)
        return fail(Error{QStringLiteral("Archived objects nested too deeply")});
    ++m_decodeDepth;
    slot(index) |= kOpen;
    TypedStreamDecoder inner(*m_top->m_context, *this, index);
    auto result = decode(inner);
    slot(index) &= ~kOpen;
    --m_decodeDepth;
    if (!result) {
        // The coder says where; the first failure, if it did not pass it on, what.
        QString message = result.errorMessage();
        if (!m_failure.isEmpty() && !message.contains(m_failure))
            message += QStringLiteral(" (%1)").arg(m_failure);
        return fail(Error{message});
    }
    // What the coder left unread is read past.
    if (!inner.m_streamEnded) {
        if (Status s = m_scanner.skipObjectBody(index); !s)
            return fail(s);
    }
    return result;
}

Result<QVariant> TypedStreamUnarchiver::decodeObjectWith(
    TypedStreamDecoder &decoder, const TypedStreamCoder::Decode &decode)
{
    Item item;
    if (Status s = readObjectGroup(decoder, item); !s)
        return Error{s.errorMessage()};
    if (item.kind == Item::Kind::Nil)
        return QVariant();
    if (item.kind == Item::Kind::NewObject)
        return runDecode(item.index, decode);
    if (item.kind != Item::Kind::Reference)
        return decodeItem(item, false); // the error a class gets
    const quint32 flags = size_t(item.index) < m_slots.size() ? m_slots[size_t(item.index)] : 0;
    if ((flags & kOpen) || !m_scanner.entry(item.index).complete) {
        return fail(Error{QStringLiteral("An archived %1 contains a reference to itself, which has no Qt value form")
                              .arg(QString::fromLatin1(className(item.index)))});
    }
    const TypedStreamScanner::Mark back = m_scanner.mark();
    if (Status s = m_scanner.restart(item.index); !s)
        return fail(s);
    auto value = runDecode(item.index, decode);
    m_scanner.restore(back);
    return value;
}

Status TypedStreamUnarchiver::readObjectGroup(TypedStreamDecoder &decoder, Item &item)
{
    qint8 head = 0;
    if (Status s = nextGroupHead(decoder, head); !s)
        return s;
    qint32 typesIndex = -1;
    const Types *types = nullptr;
    if (Status s = m_scanner.readGroupTypes(head, typesIndex, types); !s)
        return fail(s);
    if (m_scanner.string(typesIndex) != "@")
        return mismatch(*types, groupError("@", m_scanner.string(typesIndex)));
    if (Status s = m_scanner.readItem(types->front(), item); !s)
        return fail(s);
    return {};
}

Result<std::optional<QVariant>> TypedStreamUnarchiver::decodeObjectIfKindOf(
    TypedStreamDecoder &decoder, QByteArrayView className)
{
    Item item;
    if (Status s = readObjectGroup(decoder, item); !s)
        return Error{s.errorMessage()};
    const bool object = item.kind == Item::Kind::NewObject || item.kind == Item::Kind::Reference;
    if (!object || !m_scanner.isKindOf(m_scanner.entry(item.index).link, className)) {
        if (item.kind == Item::Kind::NewObject) {
            if (Status s = m_scanner.skipObjectBody(item.index); !s)
                return fail(s);
        }
        return std::optional<QVariant>();
    }
    auto value = decodeItem(item, false);
    if (!value)
        return Error{value.errorMessage()};
    return std::optional<QVariant>(std::move(value).value());
}

Result<TypedStreamObjectPtr> TypedStreamUnarchiver::decodeObjectAsRead(TypedStreamDecoder &decoder)
{
    Item item;
    if (Status s = readObjectGroup(decoder, item); !s)
        return Error{s.errorMessage()};
    Result<TypedStreamObjectPtr> node = TypedStreamObjectPtr();
    if (item.kind == Item::Kind::NewObject)
        node = m_builder.readObjectBody(item.index);
    else if (item.kind == Item::Kind::Reference)
        node = m_builder.objectAt(item.index);
    if (!node)
        return fail(Error{node.errorMessage()});
    return node;
}

Result<QByteArray> TypedStreamUnarchiver::stringBytesOf(qint32 index)
{
    qint8 head = 0;
    bool atEnd = false;
    qint32 typesIndex = -1;
    const Types *types = nullptr;
    Item item;
    if (Status s = m_scanner.nextGroupHead(index, head, atEnd); !s)
        return fail(s);
    if (atEnd)
        return fail(groupError("string", "@"));
    if (Status s = m_scanner.readGroupTypes(head, typesIndex, types); !s)
        return fail(s);
    if (m_scanner.string(typesIndex) != "+")
        return fail(groupError("string", "@"));
    if (Status s = m_scanner.readItem(types->front(), item); !s)
        return fail(s);
    if (Status s = m_scanner.skipObjectBody(index); !s)
        return fail(s);
    return item.kind == Item::Kind::Bytes ? m_scanner.slice(item.span) : QByteArray();
}

Result<QByteArray> TypedStreamUnarchiver::decodeStringBytes(TypedStreamDecoder &decoder)
{
    qint8 head = 0;
    if (Status s = nextGroupHead(decoder, head); !s)
        return Error{s.errorMessage()};
    qint32 typesIndex = -1;
    const Types *types = nullptr;
    if (Status s = m_scanner.readGroupTypes(head, typesIndex, types); !s)
        return fail(s);
    const QByteArrayView found = m_scanner.string(typesIndex);
    if (found != "@")
        return mismatch(*types, groupError("string", found));
    Item item;
    if (Status s = m_scanner.readItem(types->front(), item); !s)
        return fail(s);
    const bool object = item.kind == Item::Kind::NewObject
        || (item.kind == Item::Kind::Reference && m_scanner.entry(item.index).complete);
    if (!object || !m_scanner.isKindOf(m_scanner.entry(item.index).link, "NSString")) {
        if (item.kind == Item::Kind::NewObject) {
            if (Status s = m_scanner.skipObjectBody(item.index); !s)
                return fail(s);
        }
        return fail(groupError("string", found));
    }
    if (item.kind == Item::Kind::NewObject)
        return stringBytesOf(item.index);
    const TypedStreamScanner::Mark back = m_scanner.mark();
    if (Status s = m_scanner.restart(item.index); !s)
        return fail(s);
    auto bytes = stringBytesOf(item.index);
    m_scanner.restore(back);
    return bytes;
}

std::optional<Result<QVariant>> TypedStreamUnarchiver::decodeNode(const TypedStreamObject *node)
{
    const qint32 index = m_builder.indexOf(node);
    if (index < 0)
        return std::nullopt;
    if (!m_failure.isEmpty())
        return Result<QVariant>(Error{m_failure});
    return decodeReference(index, false);
}
