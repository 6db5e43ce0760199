#include "FreeFileName.h"

#include <QFileInfo>

namespace FreeFileName {

bool isTaken(const QString &path)
{
    const QFileInfo info(path);
    return info.exists() || info.isSymLink();
}

QString firstFree(const QString &wanted, const Numbered &numbered, int first, const IsTaken &taken)
{
    if (!taken(wanted))
        return wanted;
    for (int n = first;; ++n) {
        QString candidate = numbered(n);
        if (!taken(candidate))
            return candidate;
    }
}

} // namespace FreeFileName
