#pragma once

#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <memory>
#include <optional>

class JWMemo;
class QUrl;
using MemoPtr = std::shared_ptr<JWMemo>;

/**
 * What a click on a link needs from the application: finding pages, showing
 * them, and handing URLs to the desktop. The note view implements it; tests
 * record the calls.
 */
class LinkClickHost
{
public:
    virtual ~LinkClickHost() = default;

    /** The page with ID @p memoID, or null when there is none. */
    [[nodiscard]] virtual MemoPtr noteDataWithID(qint64 memoID) = 0;
    /** Opens a new note window showing @p memo (never null). */
    virtual void openWindowAndShowMemo(const MemoPtr &memo) = 0;
    /** Selects and shows @p memo (never null) in the window that was clicked. */
    virtual void showMemoInThisWindow(const MemoPtr &memo) = 0;
    /** Hands @p url to the desktop (a browser, a file's program); whether that worked. */
    virtual bool openUrl(const QUrl &url) = 0;
    /**
     * Hands @p location to the desktop as the very text given. A QUrl
     * would escape the brackets of a "message:" location again, so a host
     * that can pass text on (xdg-open does) overrides this; by default the
     * text goes to openUrl() as a URL read leniently.
     */
    virtual bool openLocation(const QString &location);
};

/**
 * Resolving a click on a link: a page in this or a new window, a mail
 * message, or any other URL for the desktop. Whatever the link text, a click
 * never fails loudly: a link that leads nowhere does nothing visible and
 * writes one line to the log category "jw.text.links".
 */
namespace LinkClick {

/** What a click did. */
enum class Outcome
{
    /** The page was shown in the window that was clicked. */
    ShowedPage,
    /** The page was shown in a new window. */
    OpenedPageWindow,
    /** A page link without a readable ID: nothing happened. */
    NoPageID,
    /** A page link to a page that does not exist (any more): nothing happened. */
    MissingPage,
    /** A "message:" link went to the desktop as its mailLocation(). */
    OpenedMailLocation,
    /** A "mailMessageID:" link's message file was found and went to the desktop. */
    OpenedMailFile,
    /** A "mailMessageID:" link whose message file was not found: nothing happened. */
    MissingMailFile,
    /** Any other link went to the desktop. */
    OpenedUrl,
    /** The text is no URL with a scheme: nothing happened. */
    NotALink,
};

/** At most this many folder entries are looked at in one search for a mail message. */
inline constexpr int kMailSearchLimit = 5000;

/**
 * Resolves a click on the link text @p link, in this order: a page link
 * (PageLinks::memoLinkHeader()) shows its page in this window, or in a new
 * one when it contains PageLinks::memoLinkNewWindow(); "message:" opens
 * PageLinks::mailLocation() of the link through openLocation();
 * "mailMessageID:" opens the message file found by findMailMessage() for the
 * rest of the text, percent escapes decoded; every other URL goes to
 * openUrl(), whether or not a file it names exists. A host that fails to
 * open something is logged, and the outcome stays that of the branch taken.
 */
Outcome resolve(LinkClickHost &host, const QString &link);

/**
 * The user's mail folders that exist, in the order searched:
 * ~/.local/share/evolution/mail, ~/.thunderbird, ~/Mail, ~/.mail and the
 * folder $MAILDIR names.
 */
[[nodiscard]] QStringList mailFolders();

/**
 * The path of the first file under @p folders (in order, with their
 * subfolders, symbolic links not followed) whose name starts with
 * @p baseName; nothing for an empty name or when no such file shows up
 * within the first @p limit entries.
 */
[[nodiscard]] std::optional<QString> findMailMessage(
    const QString &baseName, const QStringList &folders, int limit = kMailSearchLimit);

} // namespace LinkClick
