#include "CommandLineImport.h"

#include "exchange/FileImport.h"
#include "exchange/ImportIdentifiers.h"
#include "exchange/LegacyImport.h"
#include "model/JWMemo.h"
#include "model/MemoTree.h"

#include <QCoreApplication>

namespace CommandLineImport {

Outcome perform(MemoTree &tree, const ApplicationRequest &request)
{
    Outcome outcome;
    MemoPtr parent = tree.root();
    if (request.importParentID != 0) {
        parent = tree.noteDataWithID(request.importParentID);
        if (!parent) {
            outcome.problems.append(
                QCoreApplication::translate("CommandLineImport", "There is no page with the ID %1 to import into.")
                    .arg(request.importParentID));
            return outcome;
        }
    }
    if (!request.legacyPreferencesPath.isEmpty()) {
        Result<MemoPtr> older
            = LegacyImport::importEarlierVersionPages(request.legacyPreferencesPath, request.legacyTextFolder);
        if (!older)
            outcome.problems.append(older.errorMessage());
        else if (tree.insertNewMemo(older.value(), parent, -1))
            outcome.pages += qsizetype(ImportIdentifiers::pagesOf(older.value()).size());
    }
    FileImport import;
    QList<MemoPtr> pages;
    for (const QString &path : request.importPaths) {
        if (MemoPtr page = import.newMemoWithContentOfFile(path))
            pages.append(std::move(page));
    }
    for (const MemoPtr &page : pages) {
        if (tree.insertNewMemo(page, parent, -1))
            outcome.pages += qsizetype(ImportIdentifiers::pagesOf(page).size());
    }
    if (const QString skipped = import.skippedSummary(); !skipped.isEmpty())
        outcome.problems.append(skipped);
    return outcome;
}

} // namespace CommandLineImport
