#include "ArchiveJson.h"

#include "platform/archive/ArchivedObject.h"
#include "platform/archive/PropertyList.h"
#include "platform/typedstream/TypedStreamNode.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QStringDecoder>
#include <QUrl>
#include <QUuid>

#include <cmath>
#include <unordered_map>
#include <unordered_set>

namespace {

QJsonValue dataValue(const QByteArray &bytes)
{
    return QJsonObject{{QStringLiteral("$data"), QString::fromLatin1(bytes.toBase64())}};
}

QJsonValue realValue(double value)
{
    if (std::isnan(value))
        return QJsonObject{{QStringLiteral("$real"), QStringLiteral("nan")}};
    if (std::isinf(value))
        return QJsonObject{{QStringLiteral("$real"), value > 0 ? QStringLiteral("inf") : QStringLiteral("-inf")}};
    return value;
}

// Text when the bytes are UTF-8, as archived strings are; data otherwise.
QJsonValue textOrData(const QByteArray &bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder(bytes);
    return decoder.hasError() ? dataValue(bytes) : QJsonValue(text);
}

// 64-bit integers beyond 2^53 lose digits as JSON numbers; print them as text.
QJsonValue integerValue(qint64 value)
{
    constexpr qint64 exactLimit = qint64(1) << 53;
    if (value > exactLimit || value < -exactLimit)
        return QString::number(value);
    return double(value);
}

class TypedStreamPrinter
{
public:
    explicit TypedStreamPrinter(const TypedStreamArchive &archive)
    {
        for (size_t i = 0; i < archive.objects.size(); ++i)
            m_numbers.emplace(archive.objects[i].get(), qint64(i));
    }

    // Each group as {"<type string>": value}, or a list of values when the
    // group holds several: {"i": 3}, {"@": {...}}, {"ff": [1, 1]}.
    QJsonArray groups(const std::vector<TypedStreamGroup> &groups)
    {
        QJsonArray result;
        for (const TypedStreamGroup &group : groups) {
            QJsonValue content;
            if (group.values.size() == 1) {
                content = value(group.values.front());
            } else {
                QJsonArray values;
                for (const TypedStreamValue &value : group.values)
                    values.append(this->value(value));
                content = values;
            }
            result.append(QJsonObject{{QString::fromLatin1(group.types), content}});
        }
        return result;
    }

private:
    QJsonValue value(const TypedStreamValue &value)
    {
        switch (value.kind) {
        case TypedStreamValue::Kind::Nil:
            return QJsonValue::Null;
        case TypedStreamValue::Kind::Integer:
        case TypedStreamValue::Kind::Char:
            return integerValue(value.integer);
        case TypedStreamValue::Kind::Real:
            return realValue(value.real);
        case TypedStreamValue::Kind::Bytes:
        case TypedStreamValue::Kind::SharedString:
        case TypedStreamValue::Kind::CString:
            return textOrData(value.bytes);
        case TypedStreamValue::Kind::Object:
            return object(value.target());
        case TypedStreamValue::Kind::Class:
            return classValue(value.cls);
        case TypedStreamValue::Kind::Array:
        case TypedStreamValue::Kind::Struct: {
            QJsonArray elements;
            for (const TypedStreamValue &element : value.elements)
                elements.append(this->value(element));
            return elements;
        }
        }
        return QJsonValue::Null;
    }

    QJsonValue object(const TypedStreamObjectPtr &object)
    {
        if (!object)
            return QJsonValue::Null;
        const auto number = m_numbers.find(object.get());
        const qint64 index = number == m_numbers.end() ? -1 : number->second;
        if (!m_printed.insert(object.get()).second)
            return QJsonObject{{QStringLiteral("$ref"), double(index)}};

        QJsonObject result = classValue(object->cls).toObject();
        result.insert(QStringLiteral("$object"), double(index));
        result.insert(QStringLiteral("groups"), groups(object->groups));
        return result;
    }

    static QJsonValue classValue(const TypedStreamClassPtr &cls)
    {
        if (!cls)
            return QJsonValue::Null;
        QJsonArray superclasses;
        for (const TypedStreamClass *super = cls->superclass.get(); super; super = super->superclass.get())
            superclasses.append(QStringLiteral("%1 %2").arg(QString::fromUtf8(super->name)).arg(super->version));
        return QJsonObject{{QStringLiteral("$class"), QString::fromUtf8(cls->name)},
            {QStringLiteral("$version"), double(cls->version)}, {QStringLiteral("$superclasses"), superclasses}};
    }

    std::unordered_map<const TypedStreamObject *, qint64> m_numbers;
    std::unordered_set<const TypedStreamObject *> m_printed;
};

} // namespace

QJsonValue ArchiveJson::fromVariant(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        return QJsonValue::Null;
    case QMetaType::Nullptr:
        return QJsonObject{{QStringLiteral("$class"), QStringLiteral("NSNull")}};
    case QMetaType::Bool:
        return value.toBool();
    case QMetaType::Int:
    case QMetaType::LongLong:
        return integerValue(value.toLongLong());
    case QMetaType::UInt:
    case QMetaType::ULongLong: {
        const quint64 unsignedValue = value.toULongLong();
        return unsignedValue > (quint64(1) << 53) ? QJsonValue(QString::number(unsignedValue))
                                                  : QJsonValue(double(unsignedValue));
    }
    case QMetaType::Float:
    case QMetaType::Double:
        return realValue(value.toDouble());
    case QMetaType::QString:
        return value.toString();
    case QMetaType::QByteArray:
        return dataValue(value.toByteArray());
    case QMetaType::QDateTime:
        return QJsonObject{{QStringLiteral("$date"), value.toDateTime().toUTC().toString(Qt::ISODateWithMs)}};
    case QMetaType::QUrl:
        return QJsonObject{{QStringLiteral("$url"), value.toUrl().toString()}};
    case QMetaType::QUuid:
        return QJsonObject{{QStringLiteral("$uuid"), value.toUuid().toString(QUuid::WithoutBraces)}};
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        QJsonArray array;
        const QVariantList items = value.toList();
        for (const QVariant &item : items)
            array.append(fromVariant(item));
        return array;
    }
    case QMetaType::QVariantMap: {
        QJsonObject object;
        const QVariantMap items = value.toMap();
        for (auto it = items.cbegin(); it != items.cend(); ++it)
            object.insert(it.key(), fromVariant(it.value()));
        return object;
    }
    default:
        break;
    }
    if (value.metaType() == QMetaType::fromType<PropertyListUid>())
        return QJsonObject{{QStringLiteral("$uid"), double(value.value<PropertyListUid>().value)}};
    if (value.metaType() == QMetaType::fromType<ArchivedBackReference>())
        return QJsonObject{{QStringLiteral("$ref"), double(value.value<ArchivedBackReference>().uid)}};
    if (value.metaType() == QMetaType::fromType<ArchivedObject>()) {
        const auto object = value.value<ArchivedObject>();
        QJsonObject result{{QStringLiteral("$class"), object.className()},
            {QStringLiteral("$classes"), QJsonArray::fromStringList(object.classChain())}};
        if (object.archiveUid() != 0)
            result.insert(QStringLiteral("$object"), double(object.archiveUid()));
        for (auto it = object.fields().cbegin(); it != object.fields().cend(); ++it)
            result.insert(it.key(), fromVariant(it.value()));
        return result;
    }
    return QJsonObject{{QStringLiteral("$unprintable"), QString::fromLatin1(value.metaType().name())}};
}

QJsonValue ArchiveJson::fromTypedStream(const TypedStreamArchive &archive)
{
    QJsonObject classVersions;
    for (auto it = archive.classVersions.cbegin(); it != archive.classVersions.cend(); ++it)
        classVersions.insert(QString::fromUtf8(it.key()), double(it.value()));
    TypedStreamPrinter printer(archive);
    return QJsonObject{
        {QStringLiteral("$typedstream"),
            QJsonObject{
                {QStringLiteral("byteOrder"), archive.bigEndian ? QStringLiteral("big") : QStringLiteral("little")},
                {QStringLiteral("systemVersion"), double(archive.systemVersion)},
                {QStringLiteral("classVersions"), classVersions}}},
        {QStringLiteral("groups"), printer.groups(archive.groups)},
    };
}
