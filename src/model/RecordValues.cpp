#include "RecordValues.h"

#include "platform/typedstream/ArchivedValues.h"

#include <QMetaProperty>
#include <QObject>

namespace RecordValues {

bool setValueForKey(QObject &record, const QString &key, const QVariant &value)
{
    const int index = record.metaObject()->indexOfProperty(key.toLatin1().constData());
    if (index < 0)
        return false;
    return record.metaObject()->property(index).write(&record, value);
}

QVariant valueForKey(const QObject &record, const QString &key)
{
    const int index = record.metaObject()->indexOfProperty(key.toLatin1().constData());
    return index < 0 ? QVariant() : record.metaObject()->property(index).read(&record);
}

QVariant unwrapped(QVariant value)
{
    while (value.metaType() == QMetaType::fromType<ArchivedAs>())
        value = value.value<ArchivedAs>().value;
    return value;
}

bool isInteger(const QVariant &value)
{
    switch (value.metaType().id()) {
    case QMetaType::Bool:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return true;
    default:
        return false;
    }
}

bool isNumber(const QVariant &value)
{
    const int type = value.metaType().id();
    return isInteger(value) || type == QMetaType::Float || type == QMetaType::Double;
}

} // namespace RecordValues
