#include "PathUtility.h"

#include "platform/base/FreeFileName.h"

namespace PathUtility {

QString uniqueFileName(const QString &path)
{
    if (path.isEmpty() || !FreeFileName::isTaken(path))
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
    // The path itself is taken, so the series starts at once.
    return FreeFileName::firstFree(
        path, [&](int n) -> QString { return stem + u'_' + QString::number(n) + u'.' + extension; }, 1);
}

} // namespace PathUtility
