#include "PageLinks.h"

#include "util/StringMarkers.h"

#include <QUrl>

#include <cmath>

namespace PageLinks {

QString memoLinkHeader()
{
    return QStringLiteral("Jotwell3://pageid/");
}

QString memoLinkNewWindow()
{
    return QStringLiteral("/OpenWithNewWindow");
}

QString mailLinkHeader()
{
    return QStringLiteral("message:");
}

QString mailIDLinkHeader()
{
    return QStringLiteral("mailMessageID:");
}

QString pageLink(qint64 memoID, bool openInNewWindow)
{
    return memoLinkHeader() + QString::number(memoID) + (openInNewWindow ? memoLinkNewWindow() : QStringLiteral("/"));
}

bool isPageLink(const QString &link)
{
    return link.startsWith(memoLinkHeader());
}

std::optional<qint64> memoIDFromText(const QString &idText)
{
    bool ok = false;
    const double value = idText.toDouble(&ok);
    // 2^63 is exact as a double; every double below it converts without overflow.
    constexpr double kLimit = 9223372036854775808.0;
    if (!ok || !std::isfinite(value) || value != std::trunc(value) || value >= kLimit || value < -kLimit)
        return std::nullopt;
    return qint64(value);
}

std::optional<QString> memoIDTextOfLink(const QString &link)
{
    if (!isPageLink(link))
        return std::nullopt;
    return StringUtility::substringFrom(link, memoLinkHeader(), QStringLiteral("/"));
}

std::optional<qint64> memoIDOfLink(const QString &link)
{
    const std::optional<QString> idText = memoIDTextOfLink(link);
    return idText ? memoIDFromText(*idText) : std::nullopt;
}

bool opensInNewWindow(const QString &link)
{
    return link.contains(memoLinkNewWindow());
}

QString mailLocation(const QString &link)
{
    // The added line end marks the end of the text, so that only a closing
    // escape right at the end becomes a bracket.
    QString location = link + u'\n';
    location.replace(QStringLiteral("message:%3C"), QStringLiteral("message:<"));
    location.replace(QStringLiteral("%3E\n"), QStringLiteral(">"));
    if (location.endsWith(u'\n'))
        location.chop(1);
    return location;
}

std::optional<LinkDescription> describeLink(const QString &link)
{
    if (link.isEmpty() || !QUrl(link, QUrl::TolerantMode).isValid())
        return std::nullopt;
    LinkDescription description;
    if (isPageLink(link)) {
        description.linkKind = LinkDescription::Kind::Page;
        description.memoID = memoIDOfLink(link);
        description.openInNewWindow = opensInNewWindow(link);
    } else if (link.startsWith(QLatin1String("file://"))) {
        description.linkKind = LinkDescription::Kind::File;
        description.filePath = StringUtility::removeString(
            StringUtility::removeString(link, QStringLiteral("file://")), QStringLiteral("localhost"));
    } else {
        description.linkKind = LinkDescription::Kind::URL;
        description.URLStr = link;
    }
    return description;
}

} // namespace PageLinks
