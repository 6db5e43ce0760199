#include "TypedStreamDecoder.h"

#include "ArchivedValues.h"
#include "TypedStreamReader.h"
#include "TypedStreamTypes.h"
#include "TypedStreamUnarchiver.h"

#include <QSet>

namespace {

using Types = std::vector<TypedStreamType>;

Error groupError(const char *expected, const QByteArray &found)
{
    return Error{QStringLiteral("Expected a value of type %1 in the archive, found \"%2\"")
                     .arg(QLatin1String(expected), QString::fromLatin1(found.left(64)))};
}

} // namespace

struct TypedStreamDecoder::Context
{
    const TypedStreamArchive *archive; // reading a tree
    TypedStreamUnarchiver *stream;     // reading bytes
    const TypedStreamRegistry &registry;
    Options options;
    QHash<const TypedStreamObject *, QVariant> decoded;
    QSet<const TypedStreamObject *> open;
    QHash<QByteArray, std::shared_ptr<const Types>> types;
    int depth = 0;

    Result<std::shared_ptr<const Types>> typesOf(const QByteArray &text)
    {
        auto it = types.constFind(text);
        if (it != types.cend())
            return *it;
        auto parsed = TypedStreamTypes::parse(text);
        if (!parsed)
            return Error{parsed.errorMessage()};
        auto shared = std::make_shared<const Types>(std::move(parsed).value());
        types.insert(text, shared);
        return shared;
    }

    Result<QVariant> variantOf(TypedStreamDecoder &decoder, const TypedStreamType &type, const TypedStreamValue &value)
    {
        using Kind = TypedStreamValue::Kind;
        switch (type.code) {
        case 'c': case 'C': case 'B': case 's': case 'S': case 'i': case 'I': case 'l': case 'L':
        case 'q': case 'Q': case 'f': case 'd':
            return TypedStreamTypes::numberValue(type.code, value.integer, value.real);
        case '*': case '+': case ':': case '%':
            return value.kind == Kind::Nil ? QVariant() : QVariant(value.bytes);
        case '#':
            return value.cls ? QVariant(value.cls->name) : QVariant();
        case '@':
            return decoder.decodeObjectNode(value);
        case '!':
            return QVariant();
        default:
            break;
        }
        if (type.isByteArray())
            return QVariant(value.bytes);
        QVariantList list;
        list.reserve(qsizetype(value.elements.size()));
        for (size_t i = 0; i < value.elements.size(); ++i) {
            const TypedStreamType &member = type.code == '[' ? type.members.front() : type.members.at(i);
            auto element = variantOf(decoder, member, value.elements[i]);
            if (!element)
                return element;
            list.append(std::move(element).value());
        }
        return QVariant(list);
    }
};

TypedStreamDecoder::TypedStreamDecoder(const TypedStreamArchive &archive, const TypedStreamRegistry &registry,
                                       Options options)
    : m_ownedContext(new Context{&archive, nullptr, registry, options, {}, {}, {}, 0}),
      m_context(m_ownedContext.get()),
      m_groups(&archive.groups)
{
}

TypedStreamDecoder::TypedStreamDecoder(Context &context, TypedStreamObjectPtr object)
    : m_context(&context), m_groups(&object->groups), m_object(std::move(object))
{
}

TypedStreamDecoder::TypedStreamDecoder(TypedStreamUnarchiver &stream, const TypedStreamRegistry &registry,
                                       Options options)
    : m_ownedContext(new Context{nullptr, &stream, registry, options, {}, {}, {}, 0}),
      m_context(m_ownedContext.get()),
      m_stream(&stream)
{
}

TypedStreamDecoder::TypedStreamDecoder(Context &context, TypedStreamUnarchiver &stream, qint32 streamObject)
    : m_context(&context), m_stream(&stream), m_streamObject(streamObject)
{
}

TypedStreamDecoder::~TypedStreamDecoder() = default;

Result<QVariant> TypedStreamDecoder::unarchiveObjectWithData(const QByteArray &bytes,
                                                             const TypedStreamRegistry &registry, Options options)
{
    for (const bool keepUtf8 : {true, false}) {
        TypedStreamUnarchiver unarchiver(bytes, registry, options, keepUtf8);
        auto root = unarchiver.unarchiveRootObject();
        if (!root && unarchiver.needsWholeTree())
            break;
        // A string handed out as UTF-8 and also as a QString would be two
        // objects to the writer; rare enough to read everything again.
        if (!root || !unarchiver.utf8StringShared())
            return root;
    }
    // Something only the generic tree can represent: read that first.
    auto archive = TypedStreamReader::read(bytes);
    if (!archive)
        return Error{archive.errorMessage()};
    TypedStreamDecoder decoder(archive.value(), registry, options);
    if (decoder.atEnd())
        return Error{QStringLiteral("The archive holds no root object")};
    return decoder.decodeObject();
}

std::optional<qint64> TypedStreamDecoder::versionForClassName(QByteArrayView className) const
{
    if (m_context->stream)
        return m_context->stream->versionForClassName(className);
    return m_context->archive->versionForClassName(className);
}

bool TypedStreamDecoder::atEnd() const
{
    return streaming() ? m_stream->atEnd(*this) : m_next >= m_groups->size();
}

qsizetype TypedStreamDecoder::remainingGroups() const
{
    if (streaming())
        return m_streamEnded ? 0 : m_stream->remainingBytes();
    return qsizetype(m_groups->size() - m_next);
}

QByteArray TypedStreamDecoder::className() const
{
    if (streaming())
        return m_stream->className(m_streamObject);
    return m_object ? m_object->className() : QByteArray();
}

bool TypedStreamDecoder::isKindOf(QByteArrayView className) const
{
    if (streaming())
        return m_stream->isKindOf(m_streamObject, className);
    return m_object && m_object->isKindOf(className);
}

QByteArray TypedStreamDecoder::coderClassName() const
{
    if (streaming())
        return m_stream->coderClassName(m_streamObject);
    for (const TypedStreamClass *c = m_object ? m_object->cls.get() : nullptr; c; c = c->superclass.get()) {
        if (const TypedStreamCoder *coder = m_context->registry.coder(c->name))
            return coder->className;
    }
    return QByteArray();
}

const TypedStreamObjectPtr &TypedStreamDecoder::objectNode()
{
    if (streaming() && m_streamObject >= 0) {
        // From here on, the object's groups come from its node.
        auto node = m_stream->readWholeObject(*this);
        if (node) {
            m_object = std::move(node).value();
            m_groups = &m_object->groups;
            m_next = size_t(m_consumed);
            m_stream = nullptr;
        }
    }
    return m_object;
}

Result<const TypedStreamGroup *> TypedStreamDecoder::nextGroup()
{
    if (streaming())
        return m_stream->nextGroup(*this);
    return nextTreeGroup();
}

Result<const TypedStreamGroup *> TypedStreamDecoder::nextTreeGroup()
{
    if (atEnd()) {
        return Error{m_object ? QStringLiteral("An archived %1 ends before all its values were read")
                                    .arg(QString::fromLatin1(className()))
                              : QStringLiteral("The archive ends before all its values were read")};
    }
    return &(*m_groups)[m_next++];
}

Result<const TypedStreamGroup *> TypedStreamDecoder::nextSingleGroup(const char *expected)
{
    auto group = nextTreeGroup();
    if (!group)
        return group;
    const TypedStreamGroup *g = group.value();
    if (g->values.size() != 1)
        return groupError(expected, g->types);
    return g;
}

Result<TypedStreamGroupInfo> TypedStreamDecoder::peekGroup()
{
    if (streaming())
        return m_stream->peekGroup(*this);
    if (atEnd())
        return Error{nextTreeGroup().errorMessage()};
    const TypedStreamGroup &group = (*m_groups)[m_next];
    TypedStreamGroupInfo info{group.types, {}};
    if (group.types == "@" && group.values.front().kind == TypedStreamValue::Kind::Object) {
        if (const TypedStreamObjectPtr object = group.values.front().target()) {
            for (const TypedStreamClass *c = object->cls.get(); c; c = c->superclass.get())
                info.classChain.push_back(c->name);
        }
    }
    return info;
}

Status TypedStreamDecoder::skipGroup()
{
    if (streaming())
        return m_stream->skipGroup(*this);
    auto group = nextTreeGroup();
    return group ? Status() : Status(Error{group.errorMessage()});
}

Result<QVariant> TypedStreamDecoder::decodeObjectKeepingUtf8()
{
    return streaming() ? m_stream->decodeObject(*this, true) : decodeObject();
}

Result<std::optional<QVariant>> TypedStreamDecoder::decodeObjectIfKindOf(QByteArrayView className)
{
    if (streaming())
        return m_stream->decodeObjectIfKindOf(*this, className);
    auto group = nextSingleGroup("@");
    if (!group)
        return Error{group.errorMessage()};
    if (group.value()->types != "@")
        return groupError("@", group.value()->types);
    const TypedStreamValue &value = group.value()->values.front();
    const TypedStreamObjectPtr target = value.kind == TypedStreamValue::Kind::Object ? value.target() : nullptr;
    if (!target || !target->isKindOf(className))
        return std::optional<QVariant>();
    auto decoded = decodeObjectNode(value);
    if (!decoded)
        return Error{decoded.errorMessage()};
    return std::optional<QVariant>(std::move(decoded).value());
}

Result<QVariant> TypedStreamDecoder::decodeObjectWith(const TypedStreamCoder::Decode &decode)
{
    if (streaming())
        return m_stream->decodeObjectWith(*this, decode);
    auto group = nextSingleGroup("@");
    if (!group)
        return Error{group.errorMessage()};
    if (group.value()->types != "@")
        return groupError("@", group.value()->types);
    const TypedStreamValue &value = group.value()->values.front();
    if (value.kind == TypedStreamValue::Kind::Nil)
        return QVariant();
    const TypedStreamObjectPtr target = value.kind == TypedStreamValue::Kind::Object ? value.target() : nullptr;
    if (!target)
        return Error{QStringLiteral("Expected an object in the archive, found a class or plain value")};
    if (m_context->open.contains(target.get())) {
        return Error{QStringLiteral("An archived %1 contains a reference to itself, which has no Qt value form")
                         .arg(QString::fromLatin1(target->className()))};
    }
    if (m_context->depth >= TypedStreamReader::maxDepth)
        return Error{QStringLiteral("Archived objects nested too deeply")};
    ++m_context->depth;
    m_context->open.insert(target.get());
    TypedStreamDecoder inner(*m_context, target);
    auto result = decode(inner);
    m_context->open.remove(target.get());
    --m_context->depth;
    return result;
}

Result<TypedStreamObjectPtr> TypedStreamDecoder::decodeObjectAsRead()
{
    if (streaming())
        return m_stream->decodeObjectAsRead(*this);
    auto group = nextSingleGroup("@");
    if (!group)
        return Error{group.errorMessage()};
    if (group.value()->types != "@")
        return groupError("@", group.value()->types);
    const TypedStreamValue &value = group.value()->values.front();
    return value.kind == TypedStreamValue::Kind::Object ? value.target() : TypedStreamObjectPtr();
}

Result<QVariant> TypedStreamDecoder::decodeObject()
{
    if (streaming())
        return m_stream->decodeObject(*this, false);
    auto group = nextSingleGroup("@");
    if (!group)
        return Error{group.errorMessage()};
    if (group.value()->types != "@")
        return groupError("@", group.value()->types);
    return decodeObjectNode(group.value()->values.front());
}

Result<QByteArray> TypedStreamDecoder::decodeStringBytes()
{
    if (streaming())
        return m_stream->decodeStringBytes(*this);
    auto group = nextSingleGroup("@");
    if (!group)
        return Error{group.errorMessage()};
    const TypedStreamValue &value = group.value()->values.front();
    const TypedStreamObject *object = value.object ? value.object.get() : value.target().get();
    if (group.value()->types != "@" || !object || !object->isKindOf("NSString") || object->groups.empty()
        || object->groups.front().types != "+")
        return groupError("string", group.value()->types);
    return object->groups.front().values.front().bytes;
}

Result<qint64> TypedStreamDecoder::decodeInteger()
{
    if (streaming()) {
        auto item = m_stream->decodeScalar(*this, "integer", "cCBsSiIlLqQ");
        return item ? Result<qint64>(item.value().integer) : Result<qint64>(Error{item.errorMessage()});
    }
    auto group = nextSingleGroup("integer");
    if (!group)
        return Error{group.errorMessage()};
    const TypedStreamValue &value = group.value()->values.front();
    if (value.kind != TypedStreamValue::Kind::Integer && value.kind != TypedStreamValue::Kind::Char)
        return groupError("integer", group.value()->types);
    return value.integer;
}

Result<bool> TypedStreamDecoder::decodeBool()
{
    if (streaming()) {
        auto item = m_stream->decodeScalar(*this, "c", "cCB");
        return item ? Result<bool>(item.value().integer != 0) : Result<bool>(Error{item.errorMessage()});
    }
    auto group = nextSingleGroup("c");
    if (!group)
        return Error{group.errorMessage()};
    const TypedStreamValue &value = group.value()->values.front();
    if (value.kind != TypedStreamValue::Kind::Char)
        return groupError("c", group.value()->types);
    return value.integer != 0;
}

Result<double> TypedStreamDecoder::decodeReal()
{
    if (streaming()) {
        auto item = m_stream->decodeScalar(*this, "real", "fdsSiIlLqQ");
        if (!item)
            return Error{item.errorMessage()};
        return item.value().kind == TypedStreamScanner::Item::Kind::Real ? item.value().real
                                                                          : double(item.value().integer);
    }
    auto group = nextSingleGroup("real");
    if (!group)
        return Error{group.errorMessage()};
    const TypedStreamValue &value = group.value()->values.front();
    if (value.kind == TypedStreamValue::Kind::Real)
        return value.real;
    if (value.kind == TypedStreamValue::Kind::Integer)
        return double(value.integer);
    return groupError("real", group.value()->types);
}

Result<QVariant> TypedStreamDecoder::decodeValueOfObjCType(QByteArrayView type)
{
    if (streaming())
        return m_stream->decodeValueOfObjCType(*this, type);
    auto values = decodeValuesOfObjCTypes(type);
    if (!values)
        return Error{values.errorMessage()};
    if (values.value().size() != 1)
        return Error{QStringLiteral("decodeValueOfObjCType takes exactly one type")};
    return values.value().front();
}

Result<QVariantList> TypedStreamDecoder::decodeValuesOfObjCTypes(QByteArrayView types)
{
    if (streaming())
        return m_stream->decodeValuesOfObjCTypes(*this, types);
    const QByteArray wanted = types.toByteArray();
    auto group = nextGroup();
    if (!group)
        return Error{group.errorMessage()};
    const TypedStreamGroup &g = *group.value();
    if (g.types != wanted) {
        auto wantedTypes = m_context->typesOf(wanted);
        auto foundTypes = m_context->typesOf(g.types);
        if (!wantedTypes || !foundTypes || wantedTypes.value()->size() != foundTypes.value()->size())
            return groupError(wanted.constData(), g.types);
        for (size_t i = 0; i < wantedTypes.value()->size(); ++i) {
            const TypedStreamType &a = (*wantedTypes.value())[i];
            const TypedStreamType &b = (*foundTypes.value())[i];
            if (!TypedStreamTypes::standsFor(a.code, b.code) || a.code == '[' || a.code == '{')
                return groupError(wanted.constData(), g.types);
        }
    }
    QVariantList values;
    for (qsizetype i = 0; i < qsizetype(g.values.size()); ++i) {
        auto value = decodeValue(g, i);
        if (!value)
            return Error{value.errorMessage()};
        values.append(std::move(value).value());
    }
    return values;
}

Result<QVariant> TypedStreamDecoder::decodeValue(const TypedStreamGroup &group, qsizetype index)
{
    auto types = m_context->typesOf(group.types);
    if (!types)
        return Error{types.errorMessage()};
    if (index < 0 || size_t(index) >= types.value()->size() || size_t(index) >= group.values.size())
        return Error{QStringLiteral("No value %1 in a group of type \"%2\"")
                         .arg(index)
                         .arg(QString::fromLatin1(group.types.left(64)))};
    return m_context->variantOf(*this, (*types.value())[size_t(index)], group.values[size_t(index)]);
}

Result<QVariant> TypedStreamDecoder::decodeObjectNode(const TypedStreamValue &value)
{
    using Kind = TypedStreamValue::Kind;
    if (value.kind == Kind::Nil)
        return QVariant();
    const TypedStreamObjectPtr target = value.kind == Kind::Object ? value.target() : nullptr;
    if (!target)
        return Error{QStringLiteral("Expected an object in the archive, found a class or plain value")};
    if (m_context->stream) {
        if (auto decoded = m_context->stream->decodeNode(target.get()))
            return *decoded;
    }
    const TypedStreamObject &object = *target;
    // Only an object held by more than its one enclosing value can be met
    // again; remembering just those keeps a large tree's decoding from
    // filling a hash with every string and number it holds. The archive's
    // list of all objects is one holder more, and so is `target` itself.
    const long holders =
        target.use_count() - 1 - (m_context->archive && !m_context->archive->objects.empty() ? 1 : 0);
    const bool shared = holders > 1 || !value.object;
    if (shared) {
        if (auto it = m_context->decoded.constFind(&object); it != m_context->decoded.cend())
            return *it;
    }
    // A reference to an object still being read is held weakly; only such a
    // reference can point back at an enclosing object.
    if (!value.object && m_context->open.contains(&object)) {
        return Error{QStringLiteral("An archived %1 contains a reference to itself, which has no Qt value form")
                         .arg(QString::fromLatin1(object.className()))};
    }

    const TypedStreamCoder *coder = nullptr;
    QStringList chain;
    for (const TypedStreamClass *c = object.cls.get(); c && !coder; c = c->superclass.get()) {
        coder = m_context->registry.coder(c->name);
        chain.append(QString::fromLatin1(c->name));
    }
    if (!coder || !coder->decode) {
        return Error{QStringLiteral("Cannot decode archived class %1: no coder for it or its superclasses (%2)")
                         .arg(QString::fromLatin1(object.className()), chain.join(QStringLiteral(" → ")))};
    }
    if (m_context->depth >= TypedStreamReader::maxDepth)
        return Error{QStringLiteral("Archived objects nested too deeply")};
    ++m_context->depth;
    m_context->open.insert(&object);
    TypedStreamDecoder inner(*m_context, target);
    auto result = coder->decode(inner);
    m_context->open.remove(&object);
    --m_context->depth;
    if (!result)
        return result;

    QVariant decoded = std::move(result).value();
    if (m_context->options.keepClassNames && decoded.isValid()) {
        const QByteArray standard = m_context->registry.defaultClassName(decoded.metaType().id());
        if (!standard.isEmpty() && standard != object.className())
            decoded = QVariant::fromValue(ArchivedAs{object.className(), decoded});
    }
    if (shared)
        m_context->decoded.insert(&object, decoded);
    return decoded;
}
