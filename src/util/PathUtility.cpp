#include "PathUtility.h"

#include <QFileInfo>

namespace {

// A dangling link counts as taken too: writing to the name would follow it.
bool isTaken(const QString &path)
{
    const QFileInfo info(path);
    return info.exists() || info.isSymLink();
}

} // namespace

namespace PathUtility {

QString uniqueFileName(const QString &path)
{
    if (path.isEmpty() || !isTaken(path))
        return path;

    // A folder named with a trailing slash is the same folder without it.
    QString stem = path;
    while (stem.size() > 1 && stem.endsWith(u'/'))
        stem.chop(1);
    // The extension is what follows the last dot of the last component, as
    // long as that dot does not start the name (".profile" has none).
    const qsizetype nameStart = stem.lastIndexOf(u'/') + 1;
    const qsizetype dot = stem.lastIndexOf(u'.');
    QString extension;
    if (dot > nameStart) {
        extension = stem.mid(dot + 1);
        stem.truncate(dot);
    }
    for (int counter = 1;; ++counter) {
        QString candidate = stem + u'_' + QString::number(counter) + u'.' + extension;
        if (!isTaken(candidate))
            return candidate;
    }
}

} // namespace PathUtility
