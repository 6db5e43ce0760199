#pragma once

#include <QString>

class JWMemo;

/**
 * A page with its subtree as an OPML outline: the page tree is written as
 * the XML property list of JWMemo::dictionaryRepresentation() and
 * transformed by the style sheet "plist2opml" (XslTransform).
 */
namespace OpmlExport {

/**
 * Writes @p memo and its subtree through the compiled-in style sheet named
 * @p styleSheetName to @p path. The property list goes first to the
 * temporary file "temp_<name of @p path without extension>.jw3" beside
 * @p path, which is removed again afterwards. Without a style sheet of that
 * name nothing is written. Failures are logged, not reported: the result is
 * always true, as the export sheet expects of its writers.
 */
bool exportMemo(const JWMemo &memo, const QString &path, const QString &styleSheetName);

/** exportMemo() with the style sheet "plist2opml". Always true. */
bool exportMemoToOPML(const JWMemo &memo, const QString &path);

} // namespace OpmlExport
