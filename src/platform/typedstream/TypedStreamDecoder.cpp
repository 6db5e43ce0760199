#include "TypedStreamDecoder.h"

#include "TypedStreamTypes.h"
#include "TypedStreamUnarchiver.h"

namespace {

using Types = std::vector<TypedStreamType>;

} // namespace

struct TypedStreamDecoder::Context
{
    TypedStreamUnarchiver &stream;
    const TypedStreamRegistry &registry;
    Options options;
    QHash<QByteArray, std::shared_ptr<const Types>> types;

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
        if (TypedStreamTypes::isNumberCode(type.code))
            return TypedStreamTypes::numberValue(type.code, value.integer, value.real);
        switch (type.code) {
        case '*':
        case '+':
        case ':':
        case '%':
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

TypedStreamDecoder::TypedStreamDecoder(
    TypedStreamUnarchiver &stream, const TypedStreamRegistry &registry, Options options)
    : m_ownedContext(new Context{stream, registry, options, {}})
    , m_context(m_ownedContext.get())
    , m_stream(&stream)
{ }

TypedStreamDecoder::TypedStreamDecoder(Context &context, TypedStreamUnarchiver &stream, qint32 streamObject)
    : m_context(&context)
    , m_stream(&stream)
    , m_streamObject(streamObject)
{ }

TypedStreamDecoder::~TypedStreamDecoder() = default;

Result<QVariant> TypedStreamDecoder::unarchiveObjectWithData(
    const QByteArray &bytes, const TypedStreamRegistry &registry, Options options)
{
    const auto root = [](TypedStreamDecoder &decoder) -> Result<QVariant> {
        if (decoder.atEnd())
            return Error{QStringLiteral("The archive holds no root object")};
        return decoder.decodeObject();
    };
    return unarchiveWithData(bytes, root, registry, options);
}

Result<QVariant> TypedStreamDecoder::unarchiveWithData(const QByteArray &bytes, const TypedStreamCoder::Decode &decode,
    const TypedStreamRegistry &registry, Options options)
{
    bool keepUtf8 = true;
    bool wholeTree = false;
    for (;;) {
        TypedStreamUnarchiver unarchiver(bytes, registry, options, keepUtf8, wholeTree);
        auto root = unarchiver.unarchive(decode);
        // Something only the nodes of every object can represent: make them first.
        if (!root && !wholeTree && unarchiver.needsWholeTree()) {
            wholeTree = true;
            continue;
        }
        // A string handed out as UTF-8 and also as a QString would be two
        // objects to the writer; rare enough to read everything again.
        if (root && keepUtf8 && unarchiver.utf8StringShared()) {
            keepUtf8 = false;
            continue;
        }
        return root;
    }
}

std::optional<qint64> TypedStreamDecoder::versionForClassName(QByteArrayView className) const
{
    return m_stream->versionForClassName(className);
}

bool TypedStreamDecoder::atEnd() const
{
    return m_stream->atEnd(*this);
}

qsizetype TypedStreamDecoder::remainingGroups() const
{
    return m_streamEnded ? 0 : m_stream->remainingBytes();
}

QByteArray TypedStreamDecoder::className() const
{
    return m_stream->className(m_streamObject);
}

bool TypedStreamDecoder::isKindOf(QByteArrayView className) const
{
    return m_stream->isKindOf(m_streamObject, className);
}

QByteArray TypedStreamDecoder::coderClassName() const
{
    return m_stream->coderClassName(m_streamObject);
}

const TypedStreamObjectPtr &TypedStreamDecoder::objectNode()
{
    if (!m_object && m_streamObject >= 0)
        m_object = m_stream->readWholeObject(*this).valueOr(nullptr);
    return m_object;
}

Result<const TypedStreamGroup *> TypedStreamDecoder::nextGroup()
{
    return m_stream->nextGroup(*this);
}

Result<TypedStreamGroupInfo> TypedStreamDecoder::peekGroup()
{
    return m_stream->peekGroup(*this);
}

Status TypedStreamDecoder::skipGroup()
{
    return m_stream->skipGroup(*this);
}

Result<QVariant> TypedStreamDecoder::decodeObjectKeepingUtf8()
{
    return m_stream->decodeObject(*this, true);
}

Result<std::optional<QVariant>> TypedStreamDecoder::decodeObjectIfKindOf(QByteArrayView className)
{
    return m_stream->decodeObjectIfKindOf(*this, className);
}

Result<QVariant> TypedStreamDecoder::decodeObjectWith(const TypedStreamCoder::Decode &decode)
{
    return m_stream->decodeObjectWith(*this, decode);
}

Result<TypedStreamObjectPtr> TypedStreamDecoder::decodeObjectAsRead()
{
    return m_stream->decodeObjectAsRead(*this);
}

Result<QVariant> TypedStreamDecoder::decodeObject()
{
    return m_stream->decodeObject(*this, false);
}

Result<QByteArray> TypedStreamDecoder::decodeStringBytes()
{
    return m_stream->decodeStringBytes(*this);
}

Result<qint64> TypedStreamDecoder::decodeInteger()
{
    auto item = m_stream->decodeScalar(*this, "integer", "cCBsSiIlLqQ");
    return item ? Result<qint64>(item.value().integer) : Result<qint64>(Error{item.errorMessage()});
}

Result<bool> TypedStreamDecoder::decodeBool()
{
    auto item = m_stream->decodeScalar(*this, "c", "cCB");
    return item ? Result<bool>(item.value().integer != 0) : Result<bool>(Error{item.errorMessage()});
}

Result<double> TypedStreamDecoder::decodeReal()
{
    auto item = m_stream->decodeScalar(*this, "real", "fdsSiIlLqQ");
    if (!item)
        return Error{item.errorMessage()};
    return item.value().kind == TypedStreamScanner::Item::Kind::Real ? item.value().real : double(item.value().integer);
}

Result<QVariant> TypedStreamDecoder::decodeValueOfObjCType(QByteArrayView type)
{
    return m_stream->decodeValueOfObjCType(*this, type);
}

Result<QVariantList> TypedStreamDecoder::decodeValuesOfObjCTypes(QByteArrayView types)
{
    return m_stream->decodeValuesOfObjCTypes(*this, types);
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
    if (auto decoded = m_stream->decodeNode(target.get()))
        return *decoded;
    return Error{
        QStringLiteral("An archived %1 was not read from this archive").arg(QString::fromLatin1(target->className()))};
}
