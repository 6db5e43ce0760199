#pragma once

#include "platform/base/Result.h"

#include <QByteArray>
#include <QVariant>

/**
 * The binary property-list form ("bplist00"), read into Qt values and written
 * from them directly, in time and memory linear in the size of the data.
 *
 * Values map as described at PropertyList. Reading shares what the file
 * shares: an object referenced from many places (the writer stores equal
 * strings, numbers, dates and data once) comes back as one implicitly shared
 * Qt value.
 */
class BinaryPropertyList
{
public:
    /** Deepest nesting of arrays and dictionaries that is read or written. */
    static constexpr int kMaxDepth = 512;

    /** True if @p bytes begin with the binary form's signature ("bplist"). */
    [[nodiscard]] static bool hasSignature(const QByteArray &bytes);

    /**
     * Parses a binary property list. Every offset, count and reference is
     * checked against the file; damaged or hostile input (truncation, absurd
     * counts, reference cycles, nesting deeper than kMaxDepth, keys that are
     * not strings) yields an Error that says what is wrong.
     */
    [[nodiscard]] static Result<QVariant> read(const QByteArray &bytes);

    /**
     * Serialises @p value the way the platform lays out the format: objects
     * numbered depth first from the root (a dictionary's keys before its
     * values), equal scalars stored once, arrays and dictionaries never
     * shared, the smallest reference and offset sizes, integers in their
     * smallest form, reals as 64-bit floats, dates with milliseconds.
     * Fails for values with no plist form or nested deeper than kMaxDepth.
     */
    [[nodiscard]] static Result<QByteArray> write(const QVariant &value);
};
