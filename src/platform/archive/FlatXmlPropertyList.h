#pragma once

#include "platform/base/Result.h"

#include <QByteArray>
#include <QVariant>

/**
 * Large XML property lists with few containers, such as a book (one
 * dictionary of thousands of data entries), read by libplist's parser,
 * which takes a fraction of the time of the general reader on 100 MB of
 * base64. Values map as PropertyList documents.
 *
 * libplist recurses on nesting, aborts on strings holding a NUL and fails on
 * some forms the general reader accepts, so documents with more than
 * kMaximumContainers dictionaries and arrays, with character references or
 * NUL bytes, and anything libplist refuses, are left to
 * PropertyList::fromData, whose error messages then apply.
 */
namespace FlatXmlPropertyList {

/** The most dictionaries and arrays a document may open to be read here. */
inline constexpr qsizetype kMaximumContainers = 1024;

/** The value of @p bytes, read by libplist when it qualifies, else by PropertyList::fromData. */
[[nodiscard]] Result<QVariant> read(const QByteArray &bytes);

} // namespace FlatXmlPropertyList
