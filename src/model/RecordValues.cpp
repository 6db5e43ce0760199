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

} // namespace RecordValues
