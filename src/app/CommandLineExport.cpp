#include "CommandLineExport.h"

#include "exchange/ExportFormat.h"
#include "model/JWMemo.h"
#include "model/MemoTree.h"

#include <QCoreApplication>
#include <QStringList>

namespace CommandLineExport {

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("CommandLineExport", text);
}

} // namespace

QString perform(MemoTree &tree, const ApplicationRequest &request)
{
    const std::optional<ExportFormat::Format> format = ExportFormat::fromName(request.exportFormat);
    if (!format) {
        return tr("Unknown export format \"%1\"; the formats are: %2")
            .arg(request.exportFormat, ExportFormat::names().join(QLatin1String(", ")));
    }
    QList<MemoPtr> pages;
    if (request.exportAll) {
        if (!ExportFormat::writesFolder(*format))
            return tr("The format \"%1\" writes one page with its subtree: give --page ID").arg(request.exportFormat);
        const MemoPtr root = tree.root();
        for (const MemoPtr &page : root ? root->children() : std::vector<MemoPtr>{})
            pages << page;
    } else {
        const MemoPtr page = request.exportPageID > 0 ? tree.noteDataWithID(request.exportPageID) : MemoPtr();
        if (!page || page == tree.root())
            return tr("There is no page with the ID %1").arg(request.exportPageID);
        pages << page;
    }

    QStringList problems;
    for (const MemoPtr &page : pages) {
        if (auto written = ExportFormat::exportMemo(*format, page, request.exportPath); !written)
            problems << written.errorMessage();
    }
    return problems.join(u'\n');
}

} // namespace CommandLineExport
