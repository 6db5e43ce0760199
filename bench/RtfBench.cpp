// Reading and writing RTF of about 1 MB: pasting or importing a long text,
// and saving a page's text.
#include "platform/richtext/RtfReader.h"

#include <benchmark/benchmark.h>

#include <QTextDocument>

namespace {

/**
 * About @p bytes of RTF shaped like real notes: paragraphs with tab stops,
 * runs of bold, italic, colour and size, \u escapes, \'xx bytes, tabs and
 * links.
 */
QByteArray makeMixedRtf(qsizetype bytes)
{
    QByteArray rtf = "{\\rtf1\\ansi\\ansicpg1252\\cocoartf1038\\cocoasubrtf350\n"
                     "{\\fonttbl\\f0\\fswiss\\fcharset0 Helvetica;\\f1\\fswiss\\fcharset0 Helvetica-Bold;"
                     "\\f2\\fmodern\\fcharset0 Courier;}\n"
                     "{\\colortbl;\\red255\\green255\\blue255;\\red200\\green20\\blue20;\\red0\\green0\\blue238;}\n";
    rtf.reserve(bytes + 1024);
    int paragraph = 0;
    while (rtf.size() < bytes) {
        ++paragraph;
        rtf += "\\pard\\tx560\\tx1120\\tx1680\\tx2240\\tx2800\\tx3360\\ql\\qnatural\\pardirnatural\n"
               "\\f0\\fs24 \\cf0 Paragraph ";
        rtf += QByteArray::number(paragraph);
        rtf += " starts plainly, then \\b bold words\\b0  and \\i some italic ones\\i0 , a \\cf2 red remark\\cf0 ,\t"
               "a tab, \\fs36 larger text\\fs24 , caf\\'e9 cr\\'e8me \\uc0\\u8364  \\u8212  and "
               "{\\field{\\*\\fldinst{HYPERLINK \"https://example.com/page/";
        rtf += QByteArray::number(paragraph);
        rtf += "\"}}{\\fldrslt \\cf3 \\ul \\ulc3 a link}}\\cf0 \\ulnone  in the middle. \\f1\\b Heading-like "
               "run\\f0\\b0 "
               "followed by an ordinary sentence that is long enough to look like prose in a note.\\\n";
    }
    rtf += "}";
    return rtf;
}

// ---- reading -------------------------------------------------------------

void BM_RtfRead1MB(benchmark::State &state)
{
    const QByteArray rtf = makeMixedRtf(1 << 20);
    for (auto _ : state) {
        QTextDocument document;
        const Status status = RtfReader::read(rtf, document);
        if (!status.ok())
            state.SkipWithError("RTF did not read");
        benchmark::DoNotOptimize(document.characterCount());
    }
    state.SetBytesProcessed(state.iterations() * rtf.size());
}
BENCHMARK(BM_RtfRead1MB)->Unit(benchmark::kMillisecond);

// ---- writing ---------------------------------------------------------------

} // namespace

// ---- writing: RtfWriter ------------------------------------------------------
// The document is read once from the same generated text; only writing is timed.

#include "platform/richtext/RtfWriter.h"

namespace {

void BM_RtfWrite1MB(benchmark::State &state)
{
    QTextDocument document;
    if (!RtfReader::read(makeMixedRtf(1 << 20), document).ok()) {
        state.SkipWithError("RTF did not read");
        return;
    }
    qsizetype written = 0;
    for (auto _ : state) {
        const QByteArray rtf = RtfWriter::write(document);
        written = rtf.size();
        benchmark::DoNotOptimize(rtf.constData());
    }
    state.SetBytesProcessed(state.iterations() * written);
}
BENCHMARK(BM_RtfWrite1MB)->Unit(benchmark::kMillisecond);

} // namespace
