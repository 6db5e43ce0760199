#pragma once

#include "platform/base/Result.h"

#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

class JWMemo;
using MemoPtr = std::shared_ptr<JWMemo>;

/**
 * The formats a page and its subtree can be exported in, and the one place
 * that turns a chosen path into the writer's call. The export dialog and the
 * command line both go through exportMemo(), so they name files alike.
 */
namespace ExportFormat {

/** The first eight values are the tags of the export dialog's format pop-up. */
enum class Format
{
    Book = 0,       ///< "jw3book" file of the page and its subtree
    RtfdTree = 1,   ///< one RTFD per page, in folders
    Rtfd = 2,       ///< the page alone as RTFD
    RtfdJoined = 3, ///< the page joined with its subtree as one RTFD
    Pdf = 4,        ///< the page alone as PDF
    PdfJoined = 5,  ///< the page joined with its subtree as one PDF
    PdfTree = 6,    ///< one PDF per page, in folders
    Opml = 7,       ///< OPML outline
    TextTree,       ///< one UTF-8 text file per page, in folders
    Text,           ///< the page alone as UTF-8 text
    TextJoined,     ///< the page joined with its subtree as one UTF-8 text file
};

/** The format of dialog tag @p tag; any other tag is the book, as the pop-up treats it. */
[[nodiscard]] Format fromTag(int tag);

/** The command line's names, in Format's order: "book", "rtfd-tree", … "text-joined". */
[[nodiscard]] QStringList names();
/** The format called @p name on the command line. */
[[nodiscard]] std::optional<Format> fromName(const QString &name);

/** The file type the format writes ("jw3book", "rtfd", "pdf", "opml", "txt"). */
[[nodiscard]] QString fileType(Format format);
/** Whether the format writes a folder of files rather than one file. */
[[nodiscard]] bool writesFolder(Format format);

/**
 * Where the writer puts the export of a path chosen as @p chosen: the path as
 * chosen for a book; without its extension for the folder formats; otherwise
 * with its extension replaced by fileType().
 */
[[nodiscard]] QString targetPath(Format format, const QString &chosen);

/**
 * Writes @p memo and, as the format says, its subtree to @p path: the file,
 * or for the folder formats the folder, made when missing, that holds the
 * page's file and the folder of its children. Answers the written path, made
 * absolute, or what went wrong in words for the user.
 */
[[nodiscard]] Result<QString> exportMemo(Format format, const MemoPtr &memo, const QString &path);

} // namespace ExportFormat
