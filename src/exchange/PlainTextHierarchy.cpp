#include "PlainTextHierarchy.h"

#include "HierarchyExport.h"

#include "model/JWMemo.h"
#include "platform/base/AtomicFileWriter.h"
#include "platform/richtext/TextConverter.h"
#include "text/TextExport.h"

namespace PlainTextHierarchy {

QString pageText(const JWMemo &memo)
{
    // The kept plain text is not always the rich text's: readers that set
    // the rich text alone (a book import, for one) leave the plain text of
    // the archive beside it. The rich text is what the page shows.
    const QByteArray data = memo.memoData();
    if (data.isEmpty())
        return memo.plainText();
    TextConverter converter;
    if (!converter.setRTFDData(data))
        return memo.plainText();
    return TextExport::string(converter.document());
}

Status exportMemosASPlainText(const JWMemo &memo, const QString &folderPath, const std::optional<QString> &title)
{
    const HierarchyExport writer(QStringLiteral("txt"), [](const JWMemo &page, const QString &path) {
        return AtomicFileWriter::writeFile(path, pageText(page).toUtf8());
    });
    return writer.exportMemo(memo, folderPath, title);
}

} // namespace PlainTextHierarchy
