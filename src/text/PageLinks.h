#pragma once

#include <QString>
#include <QtGlobal>

#include <optional>

/**
 * The texts of link URLs: how a link to a page, a file, a mail message or
 * anything else is written, and how such a text is read back. Every place
 * that builds or takes apart a link uses these, so that they agree.
 *
 * All tests of a header are prefix tests, case-sensitive: a text is a page
 * link only when it starts with memoLinkHeader() exactly. None of these
 * functions fails on bad input; they answer an empty optional instead.
 */
namespace PageLinks {

/** "Jotwell3://pageid/": the start of every page link. */
[[nodiscard]] QString memoLinkHeader();
/** "/OpenWithNewWindow": ends a page link that opens the page in a window of its own. */
[[nodiscard]] QString memoLinkNewWindow();
/** "message:": a mail message named by its Message-ID, the brackets escaped. */
[[nodiscard]] QString mailLinkHeader();
/** "mailMessageID:": a mail message named by the base name of its file. */
[[nodiscard]] QString mailIDLinkHeader();

/**
 * The link to page @p memoID: "Jotwell3://pageid/42/", or
 * "Jotwell3://pageid/42/OpenWithNewWindow" with @p openInNewWindow.
 */
[[nodiscard]] QString pageLink(qint64 memoID, bool openInNewWindow);

/** Whether @p link starts with memoLinkHeader(). */
[[nodiscard]] bool isPageLink(const QString &link);

/**
 * The page ID written as @p idText: read as a floating-point number, so "12",
 * "12.0" and "1.2e1" all name page 12. Nothing for text that is no number,
 * for a number that is not whole (no page has the ID 12.5) and for one that
 * does not fit a qint64.
 */
[[nodiscard]] std::optional<qint64> memoIDFromText(const QString &idText);

/**
 * The text between memoLinkHeader() and the next "/" of the page link
 * @p link, as written; nothing when @p link is no page link or that text is
 * missing or empty ("Jotwell3://pageid//", "Jotwell3://pageid/42").
 */
[[nodiscard]] std::optional<QString> memoIDTextOfLink(const QString &link);

/** The page ID of the page link @p link (memoIDFromText() of memoIDTextOfLink()). */
[[nodiscard]] std::optional<qint64> memoIDOfLink(const QString &link);

/** Whether @p link contains memoLinkNewWindow() anywhere. */
[[nodiscard]] bool opensInNewWindow(const QString &link);

/**
 * The location that a "message:" link hands to the mail program: the
 * escaped opening bracket after "message:" and a closing one that ends the
 * text are written as "<" and ">". Only those: "message:%3Ca%3Eb" becomes
 * "message:<a%3Eb", with no closing bracket.
 */
[[nodiscard]] QString mailLocation(const QString &link);

/** What a link is, for the link dialog to show it again. */
struct LinkDescription
{
    /** The kinds, numbered as the link dialog numbers its choices. */
    enum class Kind
    {
        URL = 1,
        File = 2,
        Page = 3
    };

    Kind linkKind = Kind::URL;
    /** Page links only; empty when the link names no page ID that can be read. */
    std::optional<qint64> memoID;
    /** Page links only: whether the link contains memoLinkNewWindow(). */
    bool openInNewWindow = false;
    /** URL links only: the whole link text. */
    QString URLStr;
    /**
     * File links only: the link text with every "file://" and every
     * "localhost" taken out. Percent escapes stay: a space reads "%20".
     */
    QString filePath;

    friend bool operator==(const LinkDescription &, const LinkDescription &) = default;
};

/**
 * Describes the link text @p link: a page link (memoLinkHeader()), a file
 * link ("file://"), or else a URL link, mail links included. Nothing for
 * empty text or text that is no URL.
 */
[[nodiscard]] std::optional<LinkDescription> describeLink(const QString &link);

} // namespace PageLinks
