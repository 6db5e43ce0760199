#include "iPodFolderChooser.h"

#include "exchange/iPodWriter.h"
#include "platform/base/Localization.h"

#include <QFileDialog>

namespace iPodFolderChooser {

std::optional<QString> selectiPodPath(iPodWriter &writer, QWidget *parent)
{
    QFileDialog dialog(parent, localizedString(QStringLiteral("Select iPod"), "iPodWriter"),
        writer.initialFolderForChooser(iPodWriter::removableVolumeRoots()));
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOption(QFileDialog::ShowDirsOnly);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return std::nullopt;
    const QString path = dialog.selectedFiles().constFirst();
    writer.setiPodPath(path);
    return path;
}

} // namespace iPodFolderChooser
