#pragma once

#include "platform/base/Result.h"
#include "TypedStreamNode.h"

#include <QByteArray>

/**
 * Reads a typed stream (the non-keyed archive format) into its generic tree.
 *
 * Accepts streamer version 4 with the signature "streamtyped" (little-endian
 * writer) or "typedstream" (big-endian writer). Every malformed input (short
 * data, absurd counts, references out of range or to the wrong table, nesting
 * deeper than maxDepth) yields an Error; nothing is allocated beyond what the
 * remaining bytes could describe. A reference from inside an object to an
 * object still being read is valid (platform archives contain them) and is
 * kept as a back-reference; decoding such a cycle into Qt values fails.
 *
 * Byte strings and data in the tree share the input's buffer instead of
 * copying it, so they stay valid after the input is gone but are not
 * NUL-terminated: use their size, never treat constData() as a C string.
 *
 * The tree is built from a TypedStreamScanner by a TypedStreamNodeBuilder, so
 * it accepts and refuses what decoding does. Decoding does without it
 * (TypedStreamDecoder::unarchiveObjectWithData reads the bytes as the coders
 * ask for them); the tree is for tools that show an archive as it is and for
 * re-writing archives generically.
 */
class TypedStreamReader
{
public:
    /** How deeply objects, arrays and structs may nest before reading gives up. */
    static constexpr int maxDepth = 500;

    /** Parses the whole stream: the header and every top-level group up to the end of @p bytes. */
    [[nodiscard]] static Result<TypedStreamArchive> read(const QByteArray &bytes);
};
