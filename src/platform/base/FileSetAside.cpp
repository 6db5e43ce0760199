#include "FileSetAside.h"

#include "FreeFileName.h"

#include <QDateTime>
#include <QFile>

namespace FileSetAside {

std::optional<QString> moveAside(const QString &path, const QString &label)
{
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    const QString base = path + u'.' + label + u'-' + stamp;
    const QString asidePath
        = FreeFileName::firstFree(base, [&base](int n) -> QString { return base + u'-' + QString::number(n); });
    if (!QFile::rename(path, asidePath))
        return std::nullopt;
    return asidePath;
}

} // namespace FileSetAside
