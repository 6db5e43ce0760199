// Outline files from anyone go through XSL style sheets: any bytes given as
// the source must fail cleanly or transform, never crash, hang or reach
// outside. A source that transforms with the outline sheet gives an OPML
// document that reads as XML.
#include "exchange/XslTransform.h"

#include <QLoggingCategory>
#include <QXmlStreamReader>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

void require(bool condition, const char *what)
{
    if (!condition) {
        std::fprintf(stderr, "xsl-transform fuzzer: %s\n", what);
        std::abort();
    }
}

// The root element of @p xml when the whole document reads; empty otherwise.
QString rootElement(const QByteArray &xml)
{
    QXmlStreamReader reader(xml);
    QString root;
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement() && root.isEmpty())
            root = reader.name().toString();
    }
    return reader.hasError() ? QString() : root;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const QString sheet = [] {
        // Every rejected input logs its errors; thousands of runs would drown the fuzzer's own output.
        QLoggingCategory::setFilterRules(QStringLiteral("jw.*.warning=false"));
        return XslTransform::styleSheetPath(QStringLiteral("plist2opml"));
    }();
    require(!sheet.isEmpty(), "the outline style sheet is not among the resources");

    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const Result<QByteArray> opml = XslTransform::transformedData(bytes, sheet);
    if (opml)
        require(rootElement(opml.value()) == QLatin1StringView("opml"), "the result is not an OPML document");
    return 0;
}
