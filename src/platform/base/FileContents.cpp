#include "FileContents.h"

#include <QFile>

Result<QByteArray> FileContents::read(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return Error{QStringLiteral("Cannot read %1: %2").arg(path, file.errorString())};
    QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return Error{QStringLiteral("Cannot read %1: %2").arg(path, file.errorString())};
    return bytes;
}
