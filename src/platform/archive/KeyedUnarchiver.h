#pragma once

#include "platform/base/Result.h"

#include <QByteArray>
#include <QVariant>
#include <QVariantMap>

/**
 * Reads keyed archives (binary or XML property lists) into Qt values, the
 * inverse of KeyedArchiver's table:
 *
 * - NSString/NSMutableString (plain or NS.string) → QString;
 *   NSData/NSMutableData (plain or NS.data) → QByteArray; NSNumber forms →
 *   qint64 (quint64 above its range), double, bool;
 * - NSArray, NSSet, NSOrderedSet and their mutable forms → QVariantList;
 * - NSDictionary/NSMutableDictionary → QVariantMap when every key is a
 *   string (a repeated key keeps its last value). Other keys cannot live in
 *   a QVariantMap, so such a dictionary comes back as an ArchivedObject of
 *   its class with inline "NS.keys" and "NS.objects" lists, which writes
 *   back unchanged;
 * - NSDate/NSCalendarDate → QDateTime in UTC (to the millisecond; the
 *   calendar date's zone and format are dropped); NSNull → a nullptr
 *   QVariant; nil (UID 0) → an invalid QVariant; NSURL → QUrl (relative
 *   part resolved against its base); NSUUID → QUuid;
 * - any other class → ArchivedObject with every field decoded. When the
 *   class itself is unknown but its "$classes" chain names a known class,
 *   the object is read as that class ("%"-prefixed names are skipped).
 *
 * An object reached from several places is decoded once and shared. A
 * reference from an object back to an object that contains it becomes an
 * ArchivedBackReference; any other cycle (an array inside itself) is an
 * error, as is every malformed archive: missing or mistyped "$objects",
 * UIDs out of range, a "$class" that is no class description, nesting
 * deeper than maximumDepth.
 */
class KeyedUnarchiver
{
public:
    /** Objects nested deeper than this are refused. */
    static constexpr int maximumDepth = 256;

    /** The root object: "$top"/"root", or "$0" for archives that have no "root". */
    [[nodiscard]] static Result<QVariant> unarchiveObjectWithData(const QByteArray &data);
    /** As above, refusing objects nested deeper than @p maximumDepth instead. */
    [[nodiscard]] static Result<QVariant> unarchiveObjectWithData(const QByteArray &data, int maximumDepth);

    /** Every "$top" entry, decoded. */
    [[nodiscard]] static Result<QVariantMap> unarchiveTopLevelObjectsWithData(const QByteArray &data);
};
