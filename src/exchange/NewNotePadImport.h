#pragma once

#include <QString>

#include <memory>

class JWMemo;
using MemoPtr = std::shared_ptr<JWMemo>;

/**
 * The NTP2 text outline: a plain-text file that carries a tree of notes and
 * groups between marker lines. A file starts with the signature line; a note
 * starts with the note marker, a group with the group marker and ends with
 * the group end marker; the header of both (a label, a colon and the title)
 * ends with the header end marker. Markers count only as whole lines.
 *
 * Reading runs once over the text with an explicit stack of open groups, so
 * any text is read in linear time and without deep recursion. Groups nested
 * deeper than kMaxGroupDepth make the whole text unreadable: the page tree
 * that other code walks recursively stays shallow enough for the stack.
 */
namespace NewNotePadImport {

/** The deepest nesting of groups that is read. */
constexpr int kMaxGroupDepth = 256;

/**
 * How far into a group its title is looked for: a group whose colon or
 * header end marker lies further in gets no title from its text, so that
 * nested groups without headers do not search the file once per level.
 */
constexpr qsizetype kGroupTitleWindow = 4096;

/** Whether @p text is an NTP2 outline: it begins with the signature, at its very first character. */
[[nodiscard]] bool isNewNotePad(const QString &text);

/**
 * The outline in @p text as an unattached page tree: every signature line
 * removed, line ends made "\n", then read as a group titled "ImportedMemo".
 * Null when @p text is not an outline or nests groups too deeply.
 */
[[nodiscard]] MemoPtr newMemoFrom_NewNotePad(const QString &text);

/**
 * The group whose text (after its group marker) is @p text: a page titled
 * @p title, or when that is empty the text between the first colon and the
 * next header end marker when there is any. Its children are the notes and
 * groups of @p text in order; lines before the first note are dropped. A
 * group with no children keeps isLeaf as a new page has it. Null when
 * groups nest deeper than kMaxGroupDepth.
 */
[[nodiscard]] MemoPtr memoWithNNPGroup(const QString &text, const QString &title);

/**
 * The note whose text (starting with its note marker) is @p text: a page
 * with the text after the first header end marker line, titled with the
 * text between the first colon and the next header end marker (a new
 * page's title when there is none).
 */
[[nodiscard]] MemoPtr memoWithNNPNote(const QString &text);

} // namespace NewNotePadImport
