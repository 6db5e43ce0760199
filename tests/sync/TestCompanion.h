#pragma once

#include "sync/BonjourDataServer.h"

#include <QVariantMap>

/**
 * The phone's side of the exchange, as the companion speaks it: it connects
 * to the desktop, asks for a sync or an overwrite, sends its tree when asked
 * ("requestSendingSyncData") and keeps the tree the desktop sends back.
 */
class TestCompanion final : public BonjourDataServer
{
    Q_OBJECT
public:
    /** Connects to the desktop on @p port and waits until it is connected. */
    [[nodiscard]] bool connectTo(quint16 port);

    /** The tree sent when the desktop asks for it. */
    QVariantMap tree;
    /** Sent instead of the tree when not empty: what a broken phone might send. */
    QByteArray rawPayload;
    /** The last tree the desktop sent; empty before one came. */
    QVariantMap received;
    /** Messages of the exchange that came from the desktop. */
    QStringList messages;

    /** Sends @p request ("iPhoneRequestsSync"...) and waits for the desktop's tree or an answer. */
    [[nodiscard]] bool request(const QString &request);
    /** Waits until the desktop drops the connection. */
    [[nodiscard]] bool waitForDisconnect();

protected:
    void processReceivedPacketData() override;
    void receiveMessage(const QString &message) override;

private:
    bool m_answered = false;
};
