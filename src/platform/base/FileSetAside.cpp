#include "FileSetAside.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>

namespace FileSetAside {

std::optional<QString> moveAside(const QString &path, const QString &label)
{
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    const QString base = path + u'.' + label + u'-' + stamp;
    QString asidePath = base;
    for (int n = 2; QFileInfo::exists(asidePath); ++n)
        asidePath = base + u'-' + QString::number(n);
    if (!QFile::rename(path, asidePath))
        return std::nullopt;
    return asidePath;
}

} // namespace FileSetAside
