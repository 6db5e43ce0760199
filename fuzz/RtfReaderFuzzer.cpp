// RTF comes from outside: pasted text, imported files and the text of every
// RTFD package or flattened RTFD a page was saved with. The reader's two
// outputs, a document and plain text, must agree on the text.
#include "platform/richtext/RtfReader.h"
#include "platform/richtext/TextAttachment.h"

#include <QGuiApplication>
#include <QTextBlock>
#include <QTextDocument>

#include <cstddef>
#include <cstdint>

namespace {

// QTextDocument needs a GUI application for its fonts; the offscreen
// platform needs no display.
// The font database is filled on first use; a first read does that up
// front, so that its lasting allocations are not taken for leaks of a run.
void ensureApplication()
{
    if (QGuiApplication::instance())
        return;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static int argc = 1;
    static char name[] = "fuzz-rtf-reader";
    static char *argv[] = {name, nullptr};
    static QGuiApplication application(argc, argv);
    QTextDocument document;
    (void)RtfReader::read("{\\rtf1{\\fonttbl\\f0 Helvetica;}\\f0\\b x}", document);
    (void)document.toPlainText();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    ensureApplication();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    ensureApplication();
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    QTextDocument document;
    // Every other name resolves, so that both the found and the missing path run.
    bool found = false;
    const auto resolver = [&found](const QString &name) -> std::optional<QByteArray> {
        found = !found;
        if (!found)
            return std::nullopt;
        return name.toUtf8();
    };
    if (!RtfReader::read(bytes, document, resolver).ok())
        return 0;
    // Every attachment must stand at an attachment character.
    for (const auto &[position, attachment] : TextAttachments::all(document)) {
        if (document.characterAt(position) != QChar::ObjectReplacementCharacter)
            __builtin_trap();
    }
    // The text read without a document must be the document's text.
    QString documentText;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next())
        documentText += (block == document.begin() ? QString() : QStringLiteral("\n")) + block.text();
    const auto plain = RtfReader::readPlainText(bytes);
    if (!plain.ok() || plain.value() != documentText)
        __builtin_trap();
    return 0;
}
