#include "ServiceType.h"

#include <QCoreApplication>

#include <avahi-common/domain.h>

namespace {

const QString kProtocolPrefix = QStringLiteral("JotwellSync_");

QString tr(const char *text)
{
    return QCoreApplication::translate("ServiceType", text);
}

// A lone surrogate would silently become "?" or U+FFFD in UTF-8, so that the
// announced name differs from the typed one.
bool survivesUtf8(const QString &text)
{
    return QString::fromUtf8(text.toUtf8()) == text;
}

} // namespace

namespace ServiceType {

QString protocolName(const QString &groupName)
{
    return kProtocolPrefix + groupName;
}

QString escapeLabel(const QString &label)
{
    QString escaped;
    escaped.reserve(label.size());
    for (const QChar c : label) {
        if (c == u'.' || c == u'\\')
            escaped += u'\\';
        escaped += c;
    }
    return escaped;
}

int maxGroupNameBytes()
{
    // The label is "_" + prefix + group.
    return MaxLabelBytes - 1 - int(kProtocolPrefix.toUtf8().size());
}

Result<QString> forProtocol(const QString &protocolName)
{
    if (protocolName.isEmpty())
        return Error{tr("A service needs a name to be announced on the network.")};
    if (!survivesUtf8(protocolName) || protocolName.contains(QChar(0)))
        return Error{
            tr("The name “%1” contains characters that cannot be announced on the network.").arg(protocolName)};
    const qsizetype bytes = protocolName.toUtf8().size();
    if (bytes > MaxLabelBytes - 1)
        return Error{tr("The name “%1” is too long to be announced on the network: at most %2 bytes are allowed, "
                        "and it takes %3.")
                         .arg(protocolName)
                         .arg(MaxLabelBytes - 1)
                         .arg(bytes)};
    const QString type = u'_' + escapeLabel(protocolName) + QStringLiteral("._tcp");
    // Avahi's own verdict catches what the checks above do not name, such as
    // Unicode noncharacters.
    if (!avahi_is_valid_service_type_strict(type.toUtf8().constData()))
        return Error{
            tr("The name “%1” contains characters that cannot be announced on the network.").arg(protocolName)};
    return type;
}

Result<QString> forGroup(const QString &groupName)
{
    if (groupName.isEmpty())
        return Error{tr("The synchronised page has no title, so it cannot be announced on the network. "
                        "Type the title of the page to synchronise.")};
    const qsizetype bytes = groupName.toUtf8().size();
    if (survivesUtf8(groupName) && bytes > maxGroupNameBytes())
        return Error{tr("The name “%1” is too long to be announced on the network: at most %2 bytes are allowed, "
                        "and it takes %3 (letters outside the English alphabet take two to four bytes each).")
                         .arg(groupName)
                         .arg(maxGroupNameBytes())
                         .arg(bytes)};
    Result<QString> type = forProtocol(protocolName(groupName));
    if (!type)
        return Error{tr("The name “%1” contains characters that cannot be announced on the network.").arg(groupName)};
    return type;
}

} // namespace ServiceType
