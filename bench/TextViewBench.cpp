// The page editor with long texts: showing a rich page, typing into a long
// one with the counters running, and pasting a very long text.
#include "RealisticText.h"
#include "common/TestImages.h"
#include "model/JWMemo.h"
#include "model/MemoCreation.h"
#include "platform/richtext/TextAttachment.h"
#include "text/TextExport.h"
#include "text/TextLinks.h"
#include "text/TextStyling.h"
#include "windows/NoteTextView.h"

#include <benchmark/benchmark.h>

#include <QAbstractTextDocumentLayout>
#include <QApplication>
#include <QClipboard>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QMimeData>
#include <QTextCursor>
#include <QTextDocument>

namespace {

// About @p utf8Bytes of notes as a page keeps them: flattened RTFD with
// bold and coloured words, links and a picture.
QByteArray richPage(qsizetype utf8Bytes)
{
    QTextDocument document;
    document.setPlainText(realisticText(utf8Bytes));
    const int length = document.characterCount() - 1;
    for (int at = 0; at + 40 < length; at += 997) {
        TextStyling::setAttribute(document, QTextFormat::FontWeight, int(QFont::Bold), {at, 12});
        TextStyling::changeTextColor(document, Qt::darkRed, {at + 20, 8});
        TextLinks::setLink(document, {at + 30, 6}, QStringLiteral("https://example.org/notes"));
    }
    QTextCursor cursor(&document);
    cursor.setPosition(length / 2);
    TextAttachments::insert(cursor, {QStringLiteral("photo.png"), encodedImage({640, 480}, Qt::darkGreen), {}});
    return TextExport::RTFDData(document);
}

// Everything the event loop owes the view: layout, painting, timers due.
void settle()
{
    QCoreApplication::processEvents();
}

void BM_ShowMemo100k(benchmark::State &state)
{
    const QByteArray rtfd = richPage(100 * 1024);
    const MemoPtr memo = MemoCreation::initWithString(QStringLiteral("page"));
    memo->setMemoData(rtfd);
    NoteTextView view;
    view.resize(800, 600);
    view.show();
    settle();
    for (auto _ : state) {
        // What selecting the page does: the page fills the view...
        memo->setText(&view);
        // ...which is shown once its visible part is laid out and painted
        // (the rest of a long text is laid out in the background).
        view.viewport()->repaint();
        state.PauseTiming();
        memo->resignText(&view);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        state.ResumeTiming();
    }
    if (view.string().size() < 50'000)
        state.SkipWithError("the page was not shown");
    state.counters["rtfd_kB"] = double(rtfd.size()) / 1024;
}
BENCHMARK(BM_ShowMemo100k)->Unit(benchmark::kMillisecond);

void BM_Keystroke1MB(benchmark::State &state)
{
    NoteTextView view;
    view.resize(800, 600);
    if (!TextExport::setRTFDData(*view.document(), richPage(1 << 20)).ok())
        state.SkipWithError("the page could not be read");
    view.show();
    int counted = 0;
    // The counters of a page window: they recount whenever the view says the counts changed.
    QObject::connect(&view, &NoteTextView::textSummaryChanged, &view, [&] {
        benchmark::DoNotOptimize(view.textSummaryDictionary());
        ++counted;
    });
    QTextCursor middle(view.document());
    middle.setPosition(view.document()->characterCount() / 2);
    view.setTextCursor(middle);
    view.setFocus();
    settle();
    for (auto _ : state) {
        QKeyEvent press(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier, QStringLiteral("a"));
        QKeyEvent release(QEvent::KeyRelease, Qt::Key_A, Qt::NoModifier, QStringLiteral("a"));
        QApplication::sendEvent(&view, &press);
        QApplication::sendEvent(&view, &release);
        settle();
        view.viewport()->repaint();
    }
    state.counters["characters"] = double(view.document()->characterCount());
    state.counters["recounts"] = counted;
}
BENCHMARK(BM_Keystroke1MB)->Unit(benchmark::kMillisecond);

// Not a goal of its own: how long the view is busy when 10 MB are pasted.
void BM_Paste10MB(benchmark::State &state)
{
    const QString text = realisticText(10 << 20);
    NoteTextView view;
    view.resize(800, 600);
    view.show();
    settle();
    for (auto _ : state) {
        state.PauseTiming();
        view.clear();
        auto *data = new QMimeData;
        data->setText(text);
        QGuiApplication::clipboard()->setMimeData(data);
        settle();
        state.ResumeTiming();
        view.paste();
        settle();
        view.viewport()->repaint();
    }
    state.counters["characters"] = double(view.document()->characterCount());
}
BENCHMARK(BM_Paste10MB)->Unit(benchmark::kMillisecond)->Iterations(3);

} // namespace
