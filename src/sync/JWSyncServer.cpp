#include "JWSyncServer.h"

#include "ServiceType.h"

#include "platform/base/NotificationCenter.h"
#include "platform/base/NotificationNames.h"
#include "platform/settings/UserDefaults.h"

JWSyncServer::JWSyncServer(const QString &groupNameKey, QObject *parent)
    : BonjourDataServer(parent)
    , m_groupNameKey(groupNameKey)
    , m_groupName(groupNameKey.isEmpty() ? QString() : UserDefaults::standardUserDefaults().stringForKey(groupNameKey))
{
    setProtocolName(m_groupName.isEmpty() ? QStringLiteral("") : ServiceType::protocolName(m_groupName));
}

void JWSyncServer::reportSyncProgress()
{
    const int total = totalPacket();
    const int remaining = remainedPacket() != 0 ? remainedPacket() : packetsToSendCount();
    float progress = total == 0 ? 0.0F : float(total - remaining) / float(total) * 0.5F;
    if (m_syncPhase == Sending)
        progress += 0.5F;
    sendProgressReport(progress);
}

void JWSyncServer::sendProgressReport(float progress)
{
    NotificationCenter::defaultCenter().post(
        NotificationNames::JWSReportSyncProgress, this, {{QStringLiteral("progress"), progress}});
}

void JWSyncServer::syncWasCompleted()
{
    NotificationCenter::defaultCenter().post(NotificationNames::JWBonjourSyncWasCompleted, this);
}

bool JWSyncServer::sendNextPacket()
{
    reportSyncProgress();
    return BonjourDataServer::sendNextPacket();
}

void JWSyncServer::receivePacket(const QByteArray &frame)
{
    reportSyncProgress();
    BonjourDataServer::receivePacket(frame);
}
