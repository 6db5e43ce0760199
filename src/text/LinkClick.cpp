#include "LinkClick.h"

#include "PageLinks.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QUrl>

Q_LOGGING_CATEGORY(lcLinks, "jw.text.links", QtWarningMsg)

namespace {

// Link texts come from documents of any origin: the log gets their start only.
QString shortened(const QString &text)
{
    constexpr qsizetype kShown = 200;
    return text.size() <= kShown ? text : text.left(kShown) + QStringLiteral("...");
}

} // namespace

bool LinkClickHost::openLocation(const QString &location)
{
    return openUrl(QUrl(location, QUrl::TolerantMode));
}

namespace LinkClick {

namespace {

Outcome resolvePageLink(LinkClickHost &host, const QString &link)
{
    const std::optional<qint64> memoID = PageLinks::memoIDOfLink(link);
    if (!memoID) {
        qCWarning(lcLinks) << "Page link without a page ID:" << shortened(link);
        return Outcome::NoPageID;
    }
    const MemoPtr memo = host.noteDataWithID(*memoID);
    if (!memo) {
        qCWarning(lcLinks) << "Page link to a page that does not exist:" << *memoID;
        return Outcome::MissingPage;
    }
    if (PageLinks::opensInNewWindow(link)) {
        host.openWindowAndShowMemo(memo);
        return Outcome::OpenedPageWindow;
    }
    host.showMemoInThisWindow(memo);
    return Outcome::ShowedPage;
}

Outcome resolveMailFile(LinkClickHost &host, const QString &link)
{
    const QString baseName
        = QUrl::fromPercentEncoding(QStringView(link).sliced(PageLinks::mailIDLinkHeader().size()).toUtf8());
    const std::optional<QString> path = findMailMessage(baseName, mailFolders());
    if (!path) {
        qCWarning(lcLinks) << "No mail message file found for" << shortened(baseName);
        return Outcome::MissingMailFile;
    }
    if (!host.openUrl(QUrl::fromLocalFile(*path)))
        qCWarning(lcLinks) << "The desktop did not open the mail message" << *path;
    return Outcome::OpenedMailFile;
}

} // namespace

Outcome resolve(LinkClickHost &host, const QString &link)
{
    if (PageLinks::isPageLink(link))
        return resolvePageLink(host, link);
    if (link.startsWith(PageLinks::mailLinkHeader())) {
        const QString location = PageLinks::mailLocation(link);
        if (!host.openLocation(location))
            qCWarning(lcLinks) << "The desktop did not open the mail location" << shortened(location);
        return Outcome::OpenedMailLocation;
    }
    if (link.startsWith(PageLinks::mailIDLinkHeader()))
        return resolveMailFile(host, link);

    const QUrl url(link, QUrl::TolerantMode);
    if (!url.isValid() || url.scheme().isEmpty()) {
        qCWarning(lcLinks) << "Link text that is no URL:" << shortened(link);
        return Outcome::NotALink;
    }
    if (!host.openUrl(url))
        qCWarning(lcLinks) << "The desktop did not open" << shortened(link);
    return Outcome::OpenedUrl;
}

QStringList mailFolders()
{
    const QString home = QDir::homePath();
    QStringList candidates = {
        home + QStringLiteral("/.local/share/evolution/mail"),
        home + QStringLiteral("/.thunderbird"),
        home + QStringLiteral("/Mail"),
        home + QStringLiteral("/.mail"),
    };
    const QString maildir = qEnvironmentVariable("MAILDIR");
    if (!maildir.isEmpty())
        candidates.append(maildir);
    QStringList folders;
    for (const QString &candidate : std::as_const(candidates)) {
        if (QFileInfo(candidate).isDir() && !folders.contains(candidate))
            folders.append(candidate);
    }
    return folders;
}

std::optional<QString> findMailMessage(const QString &baseName, const QStringList &folders, int limit)
{
    if (baseName.isEmpty())
        return std::nullopt;
    int seen = 0;
    for (const QString &folder : folders) {
        // Every entry counts, folders included, so that a deep or wide tree
        // ends the search as surely as a folder full of messages.
        QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
            QDirIterator::Subdirectories);
        while (it.hasNext()) {
            if (seen >= limit)
                return std::nullopt;
            ++seen;
            const QFileInfo entry = it.nextFileInfo();
            if (entry.fileName().startsWith(baseName) && entry.isFile())
                return entry.filePath();
        }
    }
    return std::nullopt;
}

} // namespace LinkClick
