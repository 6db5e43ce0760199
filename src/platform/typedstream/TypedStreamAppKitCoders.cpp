#include "TypedStreamStandardCoders.h"

#include "ArchivedValues.h"
#include "TypedStreamDecoder.h"
#include "TypedStreamRegistry.h"
#include "TypedStreamWriter.h"

#include <QSet>

namespace {

QByteArray componentTypes(ArchivedColor::Kind kind)
{
    switch (kind) {
    case ArchivedColor::CalibratedRGB:
    case ArchivedColor::DeviceRGB:
        return QByteArrayLiteral("ffff");
    case ArchivedColor::CalibratedWhite:
    case ArchivedColor::DeviceWhite:
        return QByteArrayLiteral("ff");
    case ArchivedColor::DeviceCMYK:
        return QByteArrayLiteral("fffff");
    case ArchivedColor::Catalog:
        return QByteArrayLiteral("@@@");
    }
    return QByteArray();
}

Status encodeColor(TypedStreamWriter &writer, const QVariant &value)
{
    const auto color = value.value<ArchivedColor>();
    const QByteArray types = componentTypes(color.kind);
    if (types.isEmpty())
        return Error{QStringLiteral("Cannot archive a colour of kind %1").arg(int(color.kind))};
    if (Status s = writer.encodeValueOfObjCType("c", int(color.kind)); !s)
        return s;
    if (color.kind == ArchivedColor::Catalog)
        return writer.encodeValuesOfObjCTypes(types, {color.catalogName, color.colorName, color.fallback});
    QVariantList components;
    for (float component : color.components)
        components.append(component);
    return writer.encodeValuesOfObjCTypes(types, components);
}

Result<QVariant> decodeColor(TypedStreamDecoder &decoder)
{
    auto kind = decoder.decodeInteger();
    if (!kind)
        return Error{kind.errorMessage()};
    ArchivedColor color;
    color.kind = ArchivedColor::Kind(kind.value());
    const QByteArray types = kind.value() >= 1 && kind.value() <= 6 ? componentTypes(color.kind) : QByteArray();
    if (types.isEmpty())
        return Error{QStringLiteral("Archived colour of unknown kind %1").arg(kind.value())};
    auto values = decoder.decodeValuesOfObjCTypes(types);
    if (!values)
        return Error{values.errorMessage()};
    if (color.kind == ArchivedColor::Catalog) {
        color.catalogName = values.value().at(0).toString();
        color.colorName = values.value().at(1).toString();
        color.fallback = values.value().at(2);
    } else {
        for (const QVariant &component : values.value())
            color.components.append(component.toFloat());
    }
    return QVariant::fromValue(color);
}

bool isImageData(const QByteArray &bytes)
{
    return bytes.startsWith("\x89PNG\r\n\x1a\n") || bytes.startsWith("\xff\xd8\xff") || bytes.startsWith("II*\0")
        || bytes.startsWith("MM\0*");
}

// Depth-first through everything the image holds; each shared object is visited once.
QByteArray findImageData(const TypedStreamObject &object, QSet<const TypedStreamObject *> &seen)
{
    if (seen.contains(&object))
        return QByteArray();
    seen.insert(&object);
    std::vector<const TypedStreamValue *> pending;
    for (const auto &group : object.groups) {
        for (const auto &value : group.values)
            pending.push_back(&value);
    }
    for (size_t i = 0; i < pending.size(); ++i) {
        const TypedStreamValue &value = *pending[i];
        if (value.kind == TypedStreamValue::Kind::Bytes && isImageData(value.bytes))
            return value.bytes;
        if (value.kind == TypedStreamValue::Kind::Object && value.target()) {
            const QByteArray found = findImageData(*value.target(), seen);
            if (!found.isEmpty())
                return found;
        }
        for (const auto &element : value.elements)
            pending.push_back(&element);
    }
    return QByteArray();
}

Result<QVariant> decodeImage(TypedStreamDecoder &decoder)
{
    ArchivedImage image;
    image.object = decoder.objectNode();
    if (!image.object)
        return Error{QStringLiteral("The archived image could not be read")};
    QSet<const TypedStreamObject *> seen;
    image.imageData = findImageData(*image.object, seen);
    return QVariant::fromValue(image);
}

} // namespace

void TypedStreamStandardCoders::registerAppKit(TypedStreamRegistry &registry)
{
    TypedStreamCoder color;
    color.className = "NSColor";
    color.encode = encodeColor;
    color.decode = decodeColor;
    registry.registerCoder(std::move(color));
    registry.setDefaultClassName(qMetaTypeId<ArchivedColor>(), "NSColor");

    // Images are written back from the object they were read as (TypedStreamWriter handles ArchivedImage).
    TypedStreamCoder image;
    image.className = "NSImage";
    image.decode = decodeImage;
    registry.registerCoder(std::move(image));
}
