// Loading a page's text: flattened RTFD into a fresh document, as opening a
// page does. Inputs are made by our own writer, so they have the shape of
// what the application saves.
#include "platform/richtext/Rtfd.h"
#include "platform/richtext/TextAttachment.h"

#include <benchmark/benchmark.h>

#include <QBuffer>
#include <QImage>
#include <QTextCursor>
#include <QTextDocument>

namespace {

// A picture that does not compress: about width * height * 3 bytes as PNG.
QByteArray noisePicture(int width, int height, const char *format, quint32 seed)
{
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < width; ++x) {
            seed = seed * 1664525u + 1013904223u;
            line[x] = 0xFF000000u | (seed >> 8);
        }
    }
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format, 95);
    return bytes;
}

// Paragraphs of about 120 characters in changing fonts, sizes, weights and colours.
void appendFormattedText(QTextCursor &cursor, qsizetype characters)
{
    const QString words = QStringLiteral("The quick brown fox jumps over the lazy dog while the notes pile up. ");
    const QColor colours[] = {Qt::black, Qt::darkRed, Qt::darkBlue, Qt::darkGreen};
    const QString fonts[]
        = {QStringLiteral("Helvetica"), QStringLiteral("Helvetica-Bold"), QStringLiteral("Menlo-Regular")};
    qsizetype written = 0;
    for (int paragraph = 0; written < characters; ++paragraph) {
        for (int run = 0; run < 4; ++run) {
            QTextCharFormat format;
            format.setFontFamilies({fonts[(paragraph + run) % 3]});
            format.setFontPointSize(10 + (paragraph + run) % 8);
            format.setFontWeight(run % 2 ? QFont::Bold : QFont::Normal);
            format.setFontItalic(run == 2);
            format.setForeground(colours[(paragraph + run) % 4]);
            const QString text = words.left(30 + run);
            cursor.insertText(text, format);
            written += text.size();
        }
        cursor.insertBlock();
    }
}

QByteArray largeFlattenedRtfd()
{
    QTextDocument document;
    QTextCursor cursor(&document);
    appendFormattedText(cursor, 700'000);
    for (quint32 i = 0; i < 6; ++i) {
        const bool png = i % 2 == 0;
        const QByteArray bytes = png ? noisePicture(600, 560, "PNG", i + 1) : noisePicture(1400, 1000, "JPEG", i + 1);
        TextAttachments::insert(cursor, {QStringLiteral("Picture %1.%2").arg(i).arg(png ? "png" : "jpg"), bytes, {}});
        appendFormattedText(cursor, 20'000);
    }
    return Rtfd::writeFlattened(document, 0);
}

QByteArray memoFlattenedRtfd()
{
    QTextDocument document;
    QTextCursor cursor(&document);
    appendFormattedText(cursor, 38'000);
    TextAttachments::insert(cursor, {QStringLiteral("Pasted Graphic.png"), noisePicture(40, 30, "PNG", 7), {}});
    appendFormattedText(cursor, 18'000);
    return Rtfd::writeFlattened(document, 0);
}

void readInto(benchmark::State &state, const QByteArray &flat)
{
    for (auto _ : state) {
        QTextDocument document;
        const Status read = Rtfd::readFlattened(flat, document);
        if (!read) {
            state.SkipWithError(read.errorMessage().toStdString().c_str());
            return;
        }
        benchmark::DoNotOptimize(document.characterCount());
    }
    state.SetBytesProcessed(state.iterations() * flat.size());
    state.counters["bytes"] = double(flat.size());
}

void BM_RtfdRead10MB(benchmark::State &state)
{
    static const QByteArray flat = largeFlattenedRtfd();
    readInto(state, flat);
}
BENCHMARK(BM_RtfdRead10MB)->Unit(benchmark::kMillisecond);

void BM_RtfdLoad100kMemo(benchmark::State &state)
{
    static const QByteArray flat = memoFlattenedRtfd();
    readInto(state, flat);
}
BENCHMARK(BM_RtfdLoad100kMemo)->Unit(benchmark::kMillisecond);

} // namespace
