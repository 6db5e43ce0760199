// Large binary property lists of many small objects, the shape of a sync
// payload or an export of every page: reading and writing them must keep up
// with the disk and the network.
#include "platform/archive/PropertyList.h"

#include <benchmark/benchmark.h>

#include <QDateTime>
#include <QStringList>
#include <QtEndian>

#include <optional>

namespace {

constexpr int kPageCount = 200'000;

// Pages as the sync payload carries them: small dictionaries with a few
// shared values (keys, flags, tags) and mostly unique ones.
QVariantList pageDictionaries()
{
    const QStringList tags{
        QStringLiteral("inbox"), QStringLiteral("work"), QStringLiteral("home"), QStringLiteral("later")};
    const QString text
        = QStringLiteral("Call the printer about the invoice, then draft the agenda for Thursday: budget, hiring, "
                         "the move to the new office and whatever else comes up before lunch.");
    const QDateTime start(QDate(2024, 1, 1), QTime(9, 0), Qt::UTC);

    QVariantList pages;
    pages.reserve(kPageCount);
    for (int i = 0; i < kPageCount; ++i) {
        const QString title
            = i % 10 == 0 ? QStringLiteral("Gr\u00FC\u00DFe %1").arg(i) : QStringLiteral("Page %1").arg(i);
        QByteArray colour(8, '\0');
        qToBigEndian(quint64(i) * 2654435761u, colour.data());
        pages.append(QVariantMap{
            {QStringLiteral("memoID"), qint64(i + 1)},
            {QStringLiteral("title"), title},
            {QStringLiteral("locked"), i % 7 == 0},
            {QStringLiteral("createdAt"), start.addMSecs(qint64(i) * 37'001)},
            {QStringLiteral("plainText"), QString(QString::number(i) + u' ' + text)},
            {QStringLiteral("tags"), QVariantList{tags[i % 4], tags[(i + 1) % 4]}},
            {QStringLiteral("colour"), colour},
        });
    }
    return pages;
}

const QVariant &pages()
{
    static const QVariant value(pageDictionaries());
    return value;
}

const QByteArray &pagesAsBinary()
{
    static const QByteArray bytes = PropertyList::toData(pages(), PropertyList::Format::Binary).valueOr({});
    return bytes;
}

void BM_PlistDecodeSmallObjects(benchmark::State &state)
{
    const QByteArray &bytes = pagesAsBinary();
    std::optional<Result<QVariant>> decoded;
    for (auto _ : state) {
        decoded.emplace(PropertyList::fromData(bytes));
        if (!decoded->ok()) {
            state.SkipWithError("decoding failed");
            break;
        }
        // Freeing the result is the caller's business, not the decoder's.
        state.PauseTiming();
        decoded.reset();
        state.ResumeTiming();
    }
    state.SetBytesProcessed(state.iterations() * bytes.size());
    state.counters["objects"] = kPageCount;
}
BENCHMARK(BM_PlistDecodeSmallObjects)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_PlistEncodeSmallObjects(benchmark::State &state)
{
    const QVariant &value = pages();
    qint64 size = 0;
    for (auto _ : state) {
        const auto bytes = PropertyList::toData(value, PropertyList::Format::Binary);
        if (!bytes.ok()) {
            state.SkipWithError("encoding failed");
            break;
        }
        size = bytes.value().size();
    }
    state.SetBytesProcessed(state.iterations() * size);
    state.counters["objects"] = kPageCount;
}
BENCHMARK(BM_PlistEncodeSmallObjects)->Unit(benchmark::kMillisecond)->Iterations(3);

} // namespace
