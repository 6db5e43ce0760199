#pragma once

#include "platform/base/Result.h"

#include <QByteArrayView>
#include <QVariant>

#include <vector>

/**
 * One type of a type-encoding string, parsed: a simple type character, an
 * array `[Nt]` or a struct `{name=...}`.
 */
struct TypedStreamType
{
    char code = 0;                        ///< the type character; '[' for arrays, '{' for structs
    qint64 count = 0;                     ///< element count of an array
    std::vector<TypedStreamType> members; ///< an array's element type, or a struct's fields

    /** True for [Nc] and [NC], whose elements are stored as one run of raw bytes. */
    [[nodiscard]] bool isByteArray() const
    {
        return code == '[' && (members.front().code == 'c' || members.front().code == 'C');
    }
    /** The fewest bytes one value of this type can take in a stream (0 for '!'). */
    [[nodiscard]] qint64 minimumSize() const;
};

namespace TypedStreamTypes {

/**
 * Splits a type-encoding string such as "@i", "ffff" or "{_NSSize=ff}" into its
 * types. Type qualifiers (const, in, out...) are skipped. Fails on types that
 * have no typed-stream form (pointers, unions, bit fields) and on malformed text.
 */
[[nodiscard]] Result<std::vector<TypedStreamType>> parse(QByteArrayView types);

/**
 * True when a value written as type @p found may be read as type @p wanted:
 * the same type, any two integer types (chars included), or 'f' and 'd'.
 */
[[nodiscard]] bool standsFor(char wanted, char found);

/**
 * The Qt value of a number of type @p code (c C B s S i I l L q Q f d), as
 * read: @p integer for the integer and char types, @p real for f and d.
 * A null QVariant for any other type.
 */
[[nodiscard]] QVariant numberValue(char code, qint64 integer, double real);
/** Whether @p code is one of the number types numberValue() reads (c C B s S i I l L q Q f d). */
[[nodiscard]] bool isNumberCode(char code);

} // namespace TypedStreamTypes
