#pragma once

#include "platform/base/Result.h"

#include <QString>
#include <QStringList>

class JWMemo;
class QTextDocument;

/**
 * Pages as rich text (".rtfd" packages), plain UTF-8 text and PDF files:
 * one page alone, one page joined with its whole subtree into one file, or
 * one file per page in folders (see HierarchyExport for the names).
 *
 * Every file appears complete under its final name or not at all: each is
 * built under a temporary name beside its target and then renamed.
 *
 * None of these stops at the first problem. Everything that can be written
 * is, and the pages that could not be are named together in the one Error
 * returned. A page whose rich text cannot be read is written with its kept
 * plain text, as a note window would show it, and is named in that Error
 * too, since its formatting and pictures are missing from the file.
 */
namespace PageExport {

/**
 * One ".rtfd" package per page below the existing @p folderPath: "<title>.rtfd",
 * made unique when the name is taken ("<title>_1.rtfd"), and, when the page
 * has children, theirs in the folder "<title>" beside it, named by the title
 * before that step, so that a second export reuses the folder. A folder that
 * cannot be made leaves its subtree unwritten.
 */
[[nodiscard]] Status exportMemosASRTFD(const JWMemo &memo, const QString &folderPath);
/** @p memo alone as the package @p path, replacing what is there. */
[[nodiscard]] Status exportSingleMemoASRTFD(const JWMemo &memo, const QString &path);
/** @p memo joined with its subtree (see appendMemo()) as the package @p path. */
[[nodiscard]] Status exportMemoToJoinedRTFD(const JWMemo &memo, const QString &path);

/** @p memo's text (TextExport::string) alone as the UTF-8 file @p path. */
[[nodiscard]] Status exportSingleMemoASPlainText(const JWMemo &memo, const QString &path);
/** The text of @p memo joined with its subtree, as appendMemo() joins it, as the UTF-8 file @p path. */
[[nodiscard]] Status exportMemoToJoinedPlainText(const JWMemo &memo, const QString &path);

/** @p memo alone as the PDF @p path (TextExport::saveAsPDFToFile). */
[[nodiscard]] Status exportSingleMemoASPDF(const JWMemo &memo, const QString &path);
/** @p memo joined with its subtree as the PDF @p path. */
[[nodiscard]] Status exportMemoToJoinedPDF(const JWMemo &memo, const QString &path);
/**
 * One PDF per page below @p folderPath, named and nested as
 * exportMemosASRTFD() does with the extension "pdf"; @p folderPath and the
 * folders above it are made first when missing.
 */
[[nodiscard]] Status exportMemoToPDF(const JWMemo &memo, const QString &folderPath);

/**
 * Appends @p memo and its subtree to the end of @p document, depth first,
 * each page after a paragraph break. Pictures and other attachments come
 * along, renamed when a name is already used in @p document. The names of
 * pages whose rich text could not be read are added to @p unreadable.
 */
void appendMemo(const JWMemo &memo, QTextDocument &document, QStringList &unreadable);

} // namespace PageExport
