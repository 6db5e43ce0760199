#pragma once

#include <QString>

#include <optional>

class QWidget;
class iPodWriter;

/** Choosing the portable player's folder that iPodWriter writes into. */
namespace iPodFolderChooser {

/**
 * Asks for one existing folder in a dialog titled "Select iPod" (strings
 * table "iPodWriter"), starting where iPodWriter::initialFolderForChooser()
 * says for this system's removable volumes. The folder chosen is stored
 * with @p writer.setiPodPath() and returned; nothing when the dialog is
 * cancelled. Blocks until the dialog closes.
 */
std::optional<QString> selectiPodPath(iPodWriter &writer, QWidget *parent = nullptr);

} // namespace iPodFolderChooser
