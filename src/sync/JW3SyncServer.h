#pragma once

#include "JWSyncServer.h"

#include "model/JWMemo.h"

#include <QDateTime>

class SyncHost;

/**
 * The desktop's side of the exchange with the phone companion. The
 * companion connects and asks; the desktop answers:
 *
 * - "iPhoneRequestsSync" / "iPadRequestsSync": the desktop asks for the
 *   companion's tree ("requestSendingSyncData"), saves, backs the
 *   synchronised page up, merges the tree in, records the date under
 *   "LastSynchronizedDate" and sends the merged tree back;
 * - "iPhoneRequestsOverwriteSync" / "iPadRequestsOverwriteSync": the
 *   desktop's tree is sent and replaces the companion's;
 * - the desktop answers "syncMemoNotFoundError" when no page has the
 *   group's title, and serves nothing while the group name is empty.
 *
 * A device that has not synced before is asked about first (unless the user
 * default "SyncAskBeforeNewDevice" is off), and the answer is remembered
 * under "SyncDeviceAnswers". A payload arriving without having been asked
 * for, or one that is not a page tree, is refused and the store is left as
 * it was.
 */
class JW3SyncServer final : public JWSyncServer
{
    Q_OBJECT
public:
    explicit JW3SyncServer(SyncHost &host, QObject *parent = nullptr);

    void receiveMessage(const QString &message) override;
    /** Asks the companion for its tree. */
    void startSyncing();
    /** Sends the synchronised page's tree to the companion. */
    void sendDataToiPhone();

    [[nodiscard]] bool syncImages() const { return m_syncImages; }
    [[nodiscard]] bool syncWithiPad() const { return m_syncWithiPad; }
    /** When the last merge completed; invalid when there was none. */
    [[nodiscard]] static QDateTime lastSynchronizedDate();
    /** How the connected device is remembered: its address and the service it asked under. */
    [[nodiscard]] QString peerDeviceKey() const;

Q_SIGNALS:
    /** A sync finished: the merged tree (or the overwrite) went to the companion. */
    void syncFinished();

protected:
    void processReceivedPacketData() override;
    void startToSendPacket() override;
    void startToReceivePacket() override;

private:
    void handleRequest(const QString &request);
    void performRequest(const QString &request);
    [[nodiscard]] MemoPtr groupMemo() const;

    SyncHost &m_host;
    bool m_syncImages = false;
    bool m_syncWithiPad = false;
    bool m_awaitingPayload = false;
    bool m_sendingTree = false;
    QString m_pendingRequest;
    QString m_askingFor;
};
