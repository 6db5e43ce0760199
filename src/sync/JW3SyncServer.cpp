#include "JW3SyncServer.h"

#include "Server.h"
#include "SyncDictionary.h"
#include "SyncHost.h"
#include "SyncLog.h"
#include "SyncMerge.h"
#include "SyncPayload.h"

#include "model/MemoTree.h"
#include "platform/base/NotificationCenter.h"
#include "platform/base/NotificationNames.h"
#include "platform/base/PreferenceKeys.h"
#include "platform/settings/UserDefaults.h"

#include <QPointer>

namespace {

const QString iPhoneRequestsSync = QStringLiteral("iPhoneRequestsSync");
const QString iPadRequestsSync = QStringLiteral("iPadRequestsSync");
const QString iPhoneRequestsOverwriteSync = QStringLiteral("iPhoneRequestsOverwriteSync");
const QString iPadRequestsOverwriteSync = QStringLiteral("iPadRequestsOverwriteSync");
const QString iPhoneSyncWasCompleted = QStringLiteral("iPhoneSyncWasCompleted");

} // namespace

JW3SyncServer::JW3SyncServer(SyncHost &host, QObject *parent)
    : JWSyncServer(PreferenceKeys::abGroupName, parent)
    , m_host(host)
{
    connect(this, &BonjourDataServer::finishedSendingData, this, [this] {
        if (std::exchange(m_sendingTree, false))
            Q_EMIT syncFinished();
    });
    connect(this, &BonjourDataServer::stateChanged, this, [this] {
        // A device that leaves takes its unanswered question with it.
        if (!server() || !server()->hasPeer()) {
            m_pendingRequest.clear();
            m_awaitingPayload = false;
            m_sendingTree = false;
        }
    });
}

QDateTime JW3SyncServer::lastSynchronizedDate()
{
    return UserDefaults::standardUserDefaults().objectForKey(PreferenceKeys::LastSynchronizedDate).toDateTime();
}

QString JW3SyncServer::peerDeviceKey() const
{
    const QHostAddress address = server() ? server()->peerAddress() : QHostAddress();
    return address.toString() + u' ' + (server() ? server()->serviceType() : QString());
}

MemoPtr JW3SyncServer::groupMemo() const
{
    if (groupName().isEmpty())
        return nullptr;
    MemoTree &tree = m_host.syncMemoTree();
    return tree.memoWithTitle(groupName(), tree.root());
}

void JW3SyncServer::receiveMessage(const QString &message)
{
    JWSyncServer::receiveMessage(message);
    if (message == iPhoneRequestsSync || message == iPadRequestsSync || message == iPhoneRequestsOverwriteSync
        || message == iPadRequestsOverwriteSync)
        handleRequest(message);
    else if (message == iPhoneSyncWasCompleted)
        qCInfo(lcSync) << "the device finished its sync";
}

void JW3SyncServer::handleRequest(const QString &request)
{
    if (groupName().isEmpty()) {
        qCInfo(lcSync) << "no page is chosen for sync: ignoring" << request;
        return;
    }
    UserDefaults &defaults = UserDefaults::standardUserDefaults();
    if (!defaults.boolForKey(PreferenceKeys::SyncAskBeforeNewDevice)) {
        performRequest(request);
        return;
    }
    const QString device = peerDeviceKey();
    const QVariant answer = defaults.dictionaryForKey(PreferenceKeys::SyncDeviceAnswers).value(device);
    if (answer.isValid()) {
        if (answer.toBool())
            performRequest(request);
        else
            refuseTransfer(tr("A device that was not allowed to sync asked again (%1).").arg(device));
        return;
    }
    // The companion waits while the user decides; a second request replaces the first.
    m_pendingRequest = request;
    if (m_askingFor == device)
        return;
    m_askingFor = device;
    QPointer<JW3SyncServer> self(this);
    const QString address = server() ? server()->peerAddress().toString() : QString();
    m_host.askToAllowDevice(address, groupName(), [self, device](bool allowed) {
        if (!self)
            return;
        self->m_askingFor.clear();
        UserDefaults &defaults = UserDefaults::standardUserDefaults();
        QVariantMap answers = defaults.dictionaryForKey(PreferenceKeys::SyncDeviceAnswers);
        answers.insert(device, allowed);
        defaults.setValue(PreferenceKeys::SyncDeviceAnswers, answers);
        const QString request = std::exchange(self->m_pendingRequest, QString());
        if (request.isEmpty() || self->peerDeviceKey() != device)
            return;
        if (allowed)
            self->performRequest(request);
        else
            self->refuseTransfer(tr("The device at %1 is not allowed to sync.").arg(device));
    });
}

void JW3SyncServer::performRequest(const QString &request)
{
    m_syncImages = false;
    m_syncWithiPad = request.startsWith(u"iPad");
    if (request == iPhoneRequestsSync || request == iPadRequestsSync)
        startSyncing();
    else
        sendDataToiPhone();
}

void JW3SyncServer::startSyncing()
{
    if (groupName().isEmpty())
        return;
    m_awaitingPayload = true;
    sendMessage(QStringLiteral("requestSendingSyncData"));
}

void JW3SyncServer::sendDataToiPhone()
{
    if (groupName().isEmpty())
        return;
    const SyncDictionary builder(
        m_host.syncMemoTree(), m_syncWithiPad ? SyncDictionary::Device::iPad : SyncDictionary::Device::iPhone);
    const std::optional<QVariantMap> tree = builder.dictionaryForGroup(groupName());
    if (!tree) {
        sendMessage(QStringLiteral("syncMemoNotFoundError"));
        return;
    }
    Result<QByteArray> payload = SyncPayload::encode(*tree);
    if (!payload) {
        refuseTransfer(tr("The pages could not be prepared for the device: %1").arg(payload.errorMessage()));
        return;
    }
    m_sendingTree = true;
    sendData(payload.value());
}

void JW3SyncServer::processReceivedPacketData()
{
    if (!std::exchange(m_awaitingPayload, false)) {
        refuseTransfer(tr("The device sent pages that were not asked for."));
        return;
    }
    Result<QVariantMap> tree = SyncPayload::decode(receivedPacket());
    if (!tree) {
        refuseTransfer(tree.errorMessage());
        return;
    }
    if (Status saved = m_host.saveBeforeSync(); !saved) {
        refuseTransfer(tr("The notes could not be saved before the sync: %1").arg(saved.errorMessage()));
        return;
    }
    if (const MemoPtr group = groupMemo()) {
        if (Status backedUp = m_host.backUpBeforeMerge(group); !backedUp) {
            refuseTransfer(tr("The synchronised page could not be backed up: %1").arg(backedUp.errorMessage()));
            return;
        }
    }
    const QDateTime last = lastSynchronizedDate();
    SyncMerge merge(m_host.syncMemoTree(), groupName(), last.isValid() ? std::optional(last) : std::nullopt);
    const MemoPtr merged = merge.syncWithDictionary(tree.value());
    NotificationCenter::defaultCenter().post(NotificationNames::JW3ReloadOutlineData, this);
    if (merged)
        m_host.syncMerged(merged);
    UserDefaults::standardUserDefaults().setValue(
        PreferenceKeys::LastSynchronizedDate, QDateTime::currentDateTimeUtc());
    qCInfo(lcSync) << "merged the tree of" << peerDeviceKey();
    sendDataToiPhone();
}

void JW3SyncServer::startToSendPacket()
{
    setSyncPhase(Sending);
    JWSyncServer::startToSendPacket();
}

void JW3SyncServer::startToReceivePacket()
{
    setSyncPhase(Receiving);
    JWSyncServer::startToReceivePacket();
}
