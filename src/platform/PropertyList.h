#pragma once

#include "Result.h"

#include <QByteArray>
#include <QMetaType>
#include <QVariant>

/** A keyed archive's object reference (a plist UID), kept apart from integers. */
struct PropertyListUid
{
    quint64 value = 0;
    friend bool operator==(PropertyListUid a, PropertyListUid b) { return a.value == b.value; }
};
Q_DECLARE_METATYPE(PropertyListUid)

/**
 * Property lists in XML and binary form, mapped to Qt values.
 *
 * | plist      | QVariant            |
 * |------------|---------------------|
 * | dict       | QVariantMap         |
 * | array      | QVariantList        |
 * | string     | QString             |
 * | integer    | qint64              |
 * | real       | double              |
 * | true/false | bool                |
 * | date       | QDateTime (UTC; the file counts seconds from 2001-01-01) |
 * | data       | QByteArray          |
 * | UID        | PropertyListUid     |
 *
 * Writing accepts the other integer, float and list types Qt values come in
 * and stores them as the nearest plist type.
 */
class PropertyList
{
public:
    enum class Format { Xml, Binary };

    /** Parses XML or binary property-list bytes (the form is detected). */
    [[nodiscard]] static Result<QVariant> fromData(const QByteArray &bytes);

    /** Serialises @p value; fails for values that have no plist form (null, other types). */
    [[nodiscard]] static Result<QByteArray> toData(const QVariant &value, Format format);

    /** True if @p value and everything inside it can be written as a property list. */
    [[nodiscard]] static bool isPropertyListValue(const QVariant &value);
};
