#include "TypedStreamDecoder.h"

#include "ArchivedValues.h"
#include "TypedStreamReader.h"
#include "TypedStreamTypes.h"

#include <QSet>

namespace {

using Types = std::vector<TypedStreamType>;

bool isIntegerCode(char code)
{
    return QByteArrayView("cCBsSiIlLqQ").contains(code);
}

bool compatible(char wanted, char found)
{
    if (wanted == found)
        return true;
    if (isIntegerCode(wanted) && isIntegerCode(found))
        return true;
    return (wanted == 'f' || wanted == 'd') && (found == 'f' || found == 'd');
}

Error groupError(const char *expected, const QByteArray &found)
{
    return Error{QStringLiteral("Expected a value of type %1 in the archive, found \"%2\"")
                     .arg(QLatin1String(expected), QString::fromLatin1(found.left(64)))};
}

} // namespace

struct TypedStreamDecoder::Context
{
    const TypedStreamArchive &archive;
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
        const qint64 n = value.integer;
        switch (type.code) {
        case 'c': return QVariant::fromValue(qint8(n));
        case 'C': return QVariant::fromValue(quint8(n));
        case 'B': return QVariant(n != 0);
        case 's': return QVariant::fromValue(short(n));
        case 'S': return QVariant::fromValue(ushort(n));
        case 'i': return QVariant(int(n));
        case 'I': return QVariant(uint(n));
        case 'l': return QVariant::fromValue(long(n));
        case 'L': return QVariant::fromValue(ulong(n));
        case 'q': return QVariant(qlonglong(n));
        case 'Q': return QVariant(qulonglong(n));
        case 'f': return QVariant(float(value.real));
        case 'd': return QVariant(value.real);
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
    : m_ownedContext(new Context{archive, registry, options, {}, {}, {}, 0}),
      m_context(m_ownedContext.get()),
      m_groups(&archive.groups)
{
}

TypedStreamDecoder::TypedStreamDecoder(Context &context, TypedStreamObjectPtr object)
    : m_context(&context), m_groups(&object->groups), m_object(std::move(object))
{
}

TypedStreamDecoder::~TypedStreamDecoder() = default;

Result<QVariant> TypedStreamDecoder::unarchiveObjectWithData(const QByteArray &bytes,
                                                             const TypedStreamRegistry &registry, Options options)
{
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
    return m_context->archive.versionForClassName(className);
}

Result<const TypedStreamGroup *> TypedStreamDecoder::nextGroup()
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
    auto group = nextGroup();
    if (!group)
        return group;
    const TypedStreamGroup *g = group.value();
    if (g->values.size() != 1)
        return groupError(expected, g->types);
    return g;
}

Result<QVariant> TypedStreamDecoder::decodeObject()
{
    auto group = nextSingleGroup("@");
    if (!group)
        return Error{group.errorMessage()};
    if (group.value()->types != "@")
        return groupError("@", group.value()->types);
    return decodeObjectNode(group.value()->values.front());
}

Result<QByteArray> TypedStreamDecoder::decodeStringBytes()
{
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
    auto values = decodeValuesOfObjCTypes(type);
    if (!values)
        return Error{values.errorMessage()};
    if (values.value().size() != 1)
        return Error{QStringLiteral("decodeValueOfObjCType takes exactly one type")};
    return values.value().front();
}

Result<QVariantList> TypedStreamDecoder::decodeValuesOfObjCTypes(QByteArrayView types)
{
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
            if (!compatible(a.code, b.code) || a.code == '[' || a.code == '{')
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
    const TypedStreamObject &object = *target;
    // Only an object held by more than its one enclosing value can be met
    // again; remembering just those keeps a large tree's decoding from
    // filling a hash with every string and number it holds. The archive's
    // list of all objects is one holder more, and so is `target` itself.
    const long holders = target.use_count() - 1 - (m_context->archive.objects.empty() ? 0 : 1);
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
