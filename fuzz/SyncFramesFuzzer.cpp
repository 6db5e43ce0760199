// What a phone (or anything else on the network) sends the sync server is
// read by the frame state machine: the input is a series of reads, each a
// length byte and that many bytes (a length of 255 means 1024), fed in order
// as the socket would deliver them. The machine must never accept more than
// it announced nor lose count of its packets, whatever arrives.
#include "sync/BonjourDataServer.h"
#include "sync/Frames.h"

#include <QCoreApplication>
#include <QLoggingCategory>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

void require(bool condition, const char *what)
{
    if (!condition) {
        std::fprintf(stderr, "sync frames fuzzer: %s\n", what);
        std::abort();
    }
}

class Receiver final : public BonjourDataServer
{
public:
    qint64 largestPayload = 0;

protected:
    void processReceivedPacketData() override
    {
        largestPayload = qMax(largestPayload, qint64(receivedPacket().size()));
    }
};

void ensureApplication()
{
    static int argc = 1;
    static char name[] = "fuzz-sync-frames";
    static char *argv[] = {name, nullptr};
    if (QCoreApplication::instance())
        return;
    static QCoreApplication application(argc, argv);
    // With no peer every answer fails to send; that is expected here.
    QLoggingCategory::setFilterRules(QStringLiteral("jw.sync=false"));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    ensureApplication();
    Receiver receiver;
    size_t at = 0;
    while (at < size) {
        const size_t length = qMin<size_t>(data[at] == 255 ? 1024 : data[at], size - at - 1);
        ++at;
        receiver.receiveData(QByteArray(reinterpret_cast<const char *>(data + at), qsizetype(length)));
        at += length;
        require(receiver.remainedPacket() >= 0 && receiver.remainedPacket() <= receiver.totalPacket(),
            "packet count out of range");
        require(qint64(receiver.totalPacket()) * Frames::sliceSize <= BonjourDataServer::maximumPayload,
            "a transfer larger than the limit was accepted");
        require(receiver.largestPayload <= qint64(receiver.totalPacket() + 1) * Frames::sliceSize
                || receiver.totalPacket() == 0,
            "more bytes than announced");
    }
    return 0;
}
