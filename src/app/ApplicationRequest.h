#pragma once

#include <QStringList>

/**
 * What one start of the program asks of the running application, besides
 * starting it: files to open, text, a URL or a file to clip, an export, an
 * import. A second start hands this to the first one; the first one carries
 * it out itself.
 */
struct ApplicationRequest
{
    QStringList filesToOpen; ///< absolute paths
    QStringList linksToOpen; ///< page links ("Jotwell3://pageid/12/")
    QString clipText;        ///< clipped when not null
    QString clipURL;         ///< clipped when not empty
    QString clipFile;        ///< absolute path; clipped when not empty

    /** An export (see ExportFormat::names()), carried out when not empty. */
    QString exportFormat;
    qint64 exportPageID = 0; ///< the page to export, with its subtree
    bool exportAll = false;  ///< every page, instead of one
    QString exportPath;      ///< absolute; the file or folder to write

    /** Files and folders to import (absolute paths), below importParentID or at the top level when 0. */
    QStringList importPaths;
    qint64 importParentID = 0;
    /** The previous version's preferences file (absolute) whose pages to import, and its folder of texts. */
    QString legacyPreferencesPath;
    QString legacyTextFolder;

    [[nodiscard]] bool isEmpty() const
    {
        return filesToOpen.isEmpty() && linksToOpen.isEmpty() && clipText.isNull() && clipURL.isEmpty()
            && clipFile.isEmpty() && exportFormat.isEmpty() && importPaths.isEmpty() && legacyPreferencesPath.isEmpty();
    }

    /** Whether the request only writes or reads files, with nothing to show. */
    [[nodiscard]] bool isErrandOnly() const
    {
        return filesToOpen.isEmpty() && linksToOpen.isEmpty() && clipText.isNull() && clipURL.isEmpty()
            && clipFile.isEmpty()
            && (!exportFormat.isEmpty() || !importPaths.isEmpty() || !legacyPreferencesPath.isEmpty());
    }
};
