#pragma once

#include "BonjourDataServer.h"

/**
 * The sync protocol's server: the service named after the synchronised
 * page, the phase of the exchange, and its progress for a display.
 *
 * The service type is "_JotwellSync_<group name>._tcp", where the group name
 * is the title of the synchronised page kept in the user default
 * @p groupNameKey; it is read once, when the server is made, so a new name
 * needs a new server. An empty name gives an empty word.
 */
class JWSyncServer : public BonjourDataServer
{
    Q_OBJECT
public:
    enum Phase
    {
        Idle = 0,
        Receiving = 1,
        Sending = 2
    };

    explicit JWSyncServer(const QString &groupNameKey, QObject *parent = nullptr);

    /** The user default that holds the group name. */
    [[nodiscard]] QString abAddressBookGroupName() const { return m_groupNameKey; }
    /** The group name the server was made with. */
    [[nodiscard]] QString groupName() const { return m_groupName; }
    [[nodiscard]] int syncPhase() const { return m_syncPhase; }

    /**
     * Posts "JWSReportSyncProgress" with the transfer's progress: receiving
     * runs from 0 to 0.5; sending reports 0.5 throughout, as the progress of
     * a transfer out counts the packets of the transfer, not those sent.
     */
    void reportSyncProgress();
    void sendProgressReport(float progress);
    /** Posts "JWBonjourSyncWasCompleted". */
    void syncWasCompleted();

    bool sendNextPacket() override;
    void receivePacket(const QByteArray &frame) override;

protected:
    void setSyncPhase(int phase) { m_syncPhase = phase; }

private:
    QString m_groupNameKey;
    QString m_groupName;
    int m_syncPhase = Idle;
};
