#pragma once

#include "JWMemo.h"

#include "platform/typedstream/TypedStreamRegistry.h"
#include "platform/typedstream/TypedStreamWriter.h"

/**
 * How a JWMemo is archived in typed streams: the data store holds the root
 * page, and every page holds its children, so one archive is the whole tree.
 *
 * In a QVariant a page travels as a MemoPtr; the same page archived twice is
 * written once and referenced afterwards.
 *
 * The class version decides how many values a page holds: below 2 the page
 * stops after its window record, 2 adds the image scaling, 3 the ruler, line
 * numbers and character colour, 4 the vertical layout, 5 the web clip's URL
 * and icon. Reading an older page leaves the missing fields at their
 * defaults; pages of versions 2 and 3 read their image scaling but do not keep
 * it, which is how data stores of those versions have always been read. The rich text and the plain-text flag are not archived: they
 * live in the page files.
 *
 * A page read from an archive is not edited and keeps the ID it was stored
 * with; no new ID is taken. It keeps its plain text in the archive's UTF-8
 * and its dates in UTC until they are asked for (JWMemo converts them then),
 * and the pages of one archive share their registration for the
 * application's notifications: reading a large tree costs little more than
 * its bytes.
 */
namespace MemoCoding {

/** The class name written into archives. */
inline constexpr char kClassName[] = "JWMemo";
/** The class version this program writes. */
inline constexpr qint64 kClassVersion = 5;

/**
 * The coder for class JWMemo at @p version (1 to 5): encoding writes the
 * values that version holds, decoding reads by the version the archive records.
 */
[[nodiscard]] TypedStreamCoder coder(qint64 version = kClassVersion);

/**
 * The page as the current version writes it, in two pieces around its
 * children: encodeHead() writes the '@' group up to the children's count,
 * encodeTail() the rest after the last child. A stream with the head, each
 * child's '@' group and the tail is the page's '@' group.
 */
[[nodiscard]] Status encodeHead(TypedStreamWriter &writer, const MemoPtr &memo);
[[nodiscard]] Status encodeTail(TypedStreamWriter &writer, const MemoPtr &memo);

/**
 * A copy of @p memo and its subtree with every value the archive holds,
 * sharing its strings, that no notification reaches: it archives to the same
 * bytes, and another thread may archive it while the pages change. The pages
 * change as archiving them would (see WindowAttributeCoding::settleAfterArchiving).
 */
[[nodiscard]] MemoPtr snapshot(JWMemo &memo);

/**
 * Registers the coder at the current version together with the window
 * record's coder it needs, and makes MemoPtr values archive as JWMemo.
 */
void registerWith(TypedStreamRegistry &registry);

/**
 * Registers with TypedStreamRegistry::shared() on the first call, and does
 * nothing afterwards: whatever reads or writes pages through the shared
 * registry (the data store, book files, tools) calls it first.
 */
void registerWithSharedRegistry();

} // namespace MemoCoding
