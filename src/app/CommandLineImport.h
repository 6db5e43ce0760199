#pragma once

#include "ApplicationRequest.h"

#include <QStringList>

class MemoTree;

/**
 * The import a command line asks for when no application runs: the data
 * folder is loaded, the files are imported into it and it is saved, without
 * a window.
 */
namespace CommandLineImport {

/** What perform() added and what it could not. */
struct Outcome
{
    qsizetype pages = 0;  ///< added, those below the imported pages included
    QStringList problems; ///< in words for the user
};

/**
 * Imports @p request's earlier version's pages and import paths into
 * @p tree, below the page importParentID or at the top level; everything is
 * read before anything is inserted. Saving is the caller's.
 */
[[nodiscard]] Outcome perform(MemoTree &tree, const ApplicationRequest &request);

} // namespace CommandLineImport
