#include "PlainTextHierarchy.h"

#include "HierarchyExport.h"

#include "model/JWMemo.h"
#include "platform/base/AtomicFileBatch.h"

namespace PlainTextHierarchy {

QString pageText(const JWMemo &memo)
{
    // Every writer of a page's rich text sets the plain text with it, so the
    // kept plain text is the rich text's string, without reading the page
    // file and parsing its RTFD: that would cost an export of the whole tree
    // a thousand times more.
    return memo.plainText();
}

Status exportMemosASPlainText(const JWMemo &memo, const QString &folderPath, const std::optional<QString> &title)
{
    AtomicFileBatch files;
    const HierarchyExport writer(QStringLiteral("txt"),
        [&files](const JWMemo &page, const QString &path) { return files.add(path, page.plainTextUtf8()); });
    const Status written = writer.exportMemo(memo, folderPath, title);
    // What was written before a failure is kept, as it would have been file by file.
    const Status committed = files.commit();
    return written ? committed : written;
}

} // namespace PlainTextHierarchy
