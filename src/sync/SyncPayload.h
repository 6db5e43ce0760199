#pragma once

#include "platform/base/Result.h"

#include <QByteArray>
#include <QColor>
#include <QString>
#include <QVariantMap>

#include <optional>

/**
 * The page tree exchanged with the phone: a keyed archive whose root is the
 * dictionary of the synchronised page, its subtree under "children".
 *
 * A page dictionary holds, each key optional:
 *
 * | Key                                       | Value                          |
 * |-------------------------------------------|--------------------------------|
 * | "memoID", "referenceNumber"               | integer                        |
 * | "locked", "protectWithPassword", "hasImage" | bool (integers are taken too) |
 * | "title", "titleLabelColorString", "webURLStr", "plainText" | string        |
 * | "createdAt", "modifiedAt"                 | QDateTime                      |
 * | "webArchive"                              | QByteArray                     |
 * | "imageDataArray"                          | list of QByteArray (JPEG)      |
 * | "children"                                | list of page dictionaries      |
 */
namespace SyncPayload {

/** Pages nested deeper than this (the synchronised page counting as 1) are refused. */
inline constexpr int maximumPageDepth = 256;

/** The name of the page that collects the pages the phone deleted; it never travels. */
[[nodiscard]] QString removedMemoTitle();

/**
 * The tree in @p data. Refuses, with a message saying what was wrong, data
 * that is no keyed archive, a root that is no dictionary, "children" that is
 * not a list of dictionaries, a known key holding a value of the wrong kind,
 * and pages nested deeper than maximumPageDepth.
 */
[[nodiscard]] Result<QVariantMap> decode(const QByteArray &data);

/**
 * Checks @p tree as decode() does once the archive is read; walks the tree
 * without recursion, so any depth is safe to check.
 */
[[nodiscard]] Status validate(const QVariantMap &tree);

/**
 * The archive the phone expects of @p tree: binary, mutable dictionaries
 * and arrays, dates as plain NSDate (the phone's platform knows no other
 * date class).
 */
[[nodiscard]] Result<QByteArray> encode(const QVariantMap &tree);

/** "r g b a", components from 0 to 1: how the exchanged tree writes a colour. */
[[nodiscard]] QString colorString(const QColor &color);
/** The colour of "r g b" or "r g b a" (components 0 to 1); nothing when the text is no colour. */
[[nodiscard]] std::optional<QColor> colorFromString(const QString &text);
/**
 * The colour a page's title label is painted with, as a string: clear for a
 * black or white title colour, one without alpha or one without any red,
 * green and blue; otherwise the title colour at an alpha of 0.65.
 */
[[nodiscard]] QString labelColorString(const QColor &titleColor);

} // namespace SyncPayload
