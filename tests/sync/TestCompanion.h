#pragma once

#include "sync/BonjourDataServer.h"

#include <QVariantMap>

/**
 * The phone's side of the exchange: it connects to the desktop, asks for a
 * sync or an overwrite, sends @c tree (or @c rawPayload, what a broken phone
 * might send, when not empty) when asked ("requestSendingSyncData") and keeps
 * the tree the desktop sends back in @c received.
 */
class TestCompanion final : public BonjourDataServer
{
    Q_OBJECT
public:
    /** Connects to the desktop on @p port and waits until it is connected. */
    [[nodiscard]] bool connectTo(quint16 port);
    /** Sends @p request ("iPhoneRequestsSync"...) and waits for the desktop's tree or an answer. */
    [[nodiscard]] bool request(const QString &request);
    /** Waits until the desktop drops the connection. */
    [[nodiscard]] bool waitForDisconnect();

    QVariantMap tree;
    QByteArray rawPayload;
    QVariantMap received;
    /** Messages of the exchange that came from the desktop. */
    QStringList messages;

protected:
    void processReceivedPacketData() override;
    void receiveMessage(const QString &message) override;

private:
    bool m_answered = false;
};
