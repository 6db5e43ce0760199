#pragma once

#include "platform/base/Result.h"

#include <QByteArray>
#include <QVariant>

/**
 * Reads XML property lists into Qt values (mapped as described at
 * PropertyList), accepting what the platform and other tools write:
 * either DOCTYPE, comments, entities and character references, CDATA,
 * integers in decimal or 0x hex with a sign (above INT64_MAX as quint64),
 * reals including nan and infinities, dates with or without fractional
 * seconds, base64 data with white space, UIDs written as a dictionary with
 * the single key "CF$UID" — and the raw control characters the platform
 * leaves unescaped inside strings.
 */
class XmlPropertyListReader
{
public:
    /** Deepest nesting of arrays and dictionaries that is read. */
    static constexpr int kMaxDepth = 512;

    /**
     * Parses @p bytes. Malformed XML, unknown elements, values that do not
     * parse, and nesting deeper than kMaxDepth yield an Error naming the
     * line where reading stopped.
     */
    [[nodiscard]] static Result<QVariant> read(const QByteArray &bytes);
};
