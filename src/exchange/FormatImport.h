#pragma once

#include "platform/base/Result.h"

#include <QByteArray>
#include <QString>

#include <memory>

class JWMemo;
using MemoPtr = std::shared_ptr<JWMemo>;

/**
 * One reader per kind of file that import turns into pages. Each answers a
 * new, unattached page (or page tree) marked edited, or an error saying why
 * the file gives none; nothing is shown to the user and nothing is inserted.
 * Pages titled "from the file" take the file's name without its extension.
 */
namespace FormatImport {

/** Files larger than this are no page's text: they are refused before being read. */
inline constexpr qint64 kMaximumTextFileSize = 64 * 1024 * 1024;

/** A book: its tree with new IDs, the links between its pages following them. */
[[nodiscard]] Result<MemoPtr> newMemoFrom_jw3book(const QString &path);

/** A page file: its rich text and title, protected when it was ("open"), never plain. */
[[nodiscard]] Result<MemoPtr> newMemoFrom_jw3page(const QString &path);

/** A note of the previous version: its "title" and "memoData"; refused while it is "open". */
[[nodiscard]] Result<MemoPtr> newMemoFrom_jw2note(const QString &path);

/**
 * A page tree of the previous version (its memo dictionary, as OPML import
 * writes it too), with new IDs and the links between its pages following
 * them; rich text throughout.
 */
[[nodiscard]] Result<MemoPtr> newMemoFrom_jw2(const QString &path);

/** An OPML outline, one page per outline. */
[[nodiscard]] Result<MemoPtr> newMemoFrom_opml(const QString &path);

/**
 * Plain text or source code, its encoding guessed: an NTP2 outline when it
 * starts with the outline's signature, else one page with the text.
 */
[[nodiscard]] Result<MemoPtr> newMemoFrom_txt(const QString &path);

/** RTF. */
[[nodiscard]] Result<MemoPtr> newMemoFrom_rtf(const QString &path);

/** RTFD, a package folder or its flattened single-file form. */
[[nodiscard]] Result<MemoPtr> newMemoFrom_rtfd(const QString &path);

/** An HTML file, read by the toolkit's HTML reader. */
[[nodiscard]] Result<MemoPtr> newMemoFrom_html(const QString &path);

/** The first event of an iCalendar file. */
[[nodiscard]] Result<MemoPtr> newMemoFrom_ics(const QString &path);

/** A picture: a page holding it as an attachment under the file's name. */
[[nodiscard]] Result<MemoPtr> newMemoFrom_imageFile(const QString &path);

/**
 * Any other document: RTF or HTML recognised by their contents, a Word
 * document through DocConverter; other packages are refused.
 */
[[nodiscard]] Result<MemoPtr> newMemoFrom_variousFormat(const QString &path);

} // namespace FormatImport
