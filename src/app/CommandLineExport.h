#pragma once

#include "ApplicationRequest.h"

#include <QString>

class MemoTree;

/**
 * The export a command line asks for, carried out on a loaded tree: by the
 * running application when there is one, otherwise by the starting process
 * itself without opening a window.
 */
namespace CommandLineExport {

/**
 * Writes what @p request's export fields ask for from @p tree. "--page ID"
 * exports that page with its subtree; "--all" exports every top-level page
 * into the folder, which only the formats writing folders can. Answers the
 * problems in words for the user, empty when all was written.
 */
[[nodiscard]] QString perform(MemoTree &tree, const ApplicationRequest &request);

} // namespace CommandLineExport
