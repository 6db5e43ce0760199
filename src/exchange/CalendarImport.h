#pragma once

#include <QString>

#include <memory>
#include <optional>

class JWMemo;
using MemoPtr = std::shared_ptr<JWMemo>;

/**
 * Pages made from an iCalendar event and from an HTML file. Each answers a
 * new, unattached page marked edited, or null for a file it cannot read;
 * nothing is shown to the user.
 */
namespace CalendarImport {

/** What a calendar text gives a page, before its body is read as HTML. */
struct CalendarEvent
{
    /** The text after the first "SUMMARY:" up to the next line end; empty without one. */
    QString title;
    /**
     * The text after the first "DESCRIPTION:" up to the next "\nEND:", with
     * the localised "icsReturnCode", every "\n" escape and then every
     * remaining backslash removed; empty without one.
     */
    QString body;
};

/**
 * The first event of calendar @p text, read by markers rather than by the
 * calendar grammar: line ends are made "\n" first, markers are matched
 * without regard to case, and the body runs to the end of the event, so the
 * properties that follow the description (folded lines too) are part of it.
 * Nothing when the text has neither a summary nor a description.
 */
[[nodiscard]] std::optional<CalendarEvent> firstEvent(const QString &text);

/** The plain string (attachments as U+FFFC) of @p html read by the toolkit's HTML reader. */
[[nodiscard]] QString plainStringOfHtml(const QString &html);

/**
 * A plain page from the first event of the iCalendar file at @p path: its
 * text is the plain string of the event's body read as HTML, its title the
 * event's summary (the text's first line when there is none). Null when the
 * file cannot be read, is not UTF-8, or holds neither summary nor
 * description.
 */
[[nodiscard]] MemoPtr newMemoFrom_ics(const QString &path);

/**
 * A rich-text page from the HTML file at @p path, its text read by the
 * toolkit's HTML reader (the encoding from a byte-order mark or the meta
 * charset, UTF-8 otherwise), links and tables kept as far as RTFD holds
 * them. The title is the file's name without extension
 * (JWMemo::setMemoTitleIfNeeded). Null when the file cannot be read.
 */
[[nodiscard]] MemoPtr newMemoFrom_html(const QString &path);

/**
 * A rich-text page from the HTML @p html, as newMemoFrom_html() reads a
 * file, without a title of its own. Null when no rich text results.
 */
[[nodiscard]] MemoPtr memoFromHtml(const QByteArray &html);

} // namespace CalendarImport
