#pragma once

#include <QJsonValue>
#include <QVariant>

struct TypedStreamArchive;

/**
 * Renders archived data as JSON for people to read: property-list values,
 * keyed-archive objects and the generic tree of typed streams.
 *
 * JSON has no bytes, dates, UIDs or NaN, so those become small tagged
 * objects: {"$data": base64}, {"$date": ISO 8601}, {"$uid": n},
 * {"$real": "nan"}. An archived object shows its class as "$class" (and, for
 * typed streams, "$version" and "$superclasses"); an object printed before is
 * shown again as {"$ref": n}.
 */
class ArchiveJson
{
public:
    /** A property-list or keyed-archive value. */
    [[nodiscard]] static QJsonValue fromVariant(const QVariant &value);
    /** A typed stream: its header facts and every top-level group. */
    [[nodiscard]] static QJsonValue fromTypedStream(const TypedStreamArchive &archive);
};
