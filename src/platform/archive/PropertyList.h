#pragma once

#include "platform/base/Result.h"

#include <QByteArray>
#include <QDateTime>
#include <QMetaType>
#include <QVariant>

#include <optional>

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
 * | integer    | qint64; quint64 for values above INT64_MAX |
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
    enum class Format
    {
        Xml,
        Binary
    };

    /** The plist type a Qt value is written as; None for values that have no plist form. */
    enum class Kind
    {
        None,
        Boolean,
        Integer,
        UnsignedInteger,
        Real,
        String,
        Data,
        Date,
        Array,
        Dictionary,
        Uid
    };

    /**
     * Parses XML or binary property-list bytes (the form is detected).
     * Hostile input (truncated, cyclic, absurdly nested) yields an Error, never a crash or a hang.
     */
    [[nodiscard]] static Result<QVariant> fromData(const QByteArray &bytes);

    /**
     * Serialises @p value; fails for values that have no plist form (null, other types).
     * XML keeps whole seconds of dates only, as the platform does; binary keeps milliseconds.
     */
    [[nodiscard]] static Result<QByteArray> toData(const QVariant &value, Format format);

    /** True if @p value and everything inside it can be written as a property list. */
    [[nodiscard]] static bool isPropertyListValue(const QVariant &value);

    /** How @p value itself (not its contents) is written. */
    [[nodiscard]] static Kind kindOf(const QVariant &value);

    /**
     * Seconds from 2001-01-01 00:00:00 UTC, the count that binary dates (and
     * keyed archives' NS.time) store; empty for invalid dates and for dates
     * more than about 31,000 years away, beyond which milliseconds would not
     * survive a round trip.
     */
    [[nodiscard]] static std::optional<double> secondsSinceReferenceDate(const QDateTime &date);

    /** The UTC date @p seconds after 2001-01-01, to the millisecond; empty if out of range or not finite. */
    [[nodiscard]] static std::optional<QDateTime> dateFromReferenceSeconds(double seconds);
};
