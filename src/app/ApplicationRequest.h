#pragma once

#include <QStringList>

/**
 * What one start of the program asks of the running application, besides
 * starting it: files to open, text, a URL or a file to clip. A second start
 * hands this to the first one; the first one carries it out itself.
 */
struct ApplicationRequest
{
    QStringList filesToOpen; ///< absolute paths
    QStringList linksToOpen; ///< page links ("Jotwell3://pageid/12/")
    QString clipText;        ///< clipped when not null
    QString clipURL;         ///< clipped when not empty
    QString clipFile;        ///< absolute path; clipped when not empty

    [[nodiscard]] bool isEmpty() const
    {
        return filesToOpen.isEmpty() && linksToOpen.isEmpty() && clipText.isNull() && clipURL.isEmpty()
            && clipFile.isEmpty();
    }
};
