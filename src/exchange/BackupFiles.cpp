#include "BackupFiles.h"

#include "ExchangeLog.h"
#include "TarGzWriter.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

Result<QString> compressFile(const QString &path)
{
    const QFileInfo source(path);
    if (!source.exists() && !source.isSymLink())
        return Error{QStringLiteral("Cannot pack \"%1\": there is no such file").arg(path)};
    QString name = source.fileName();
    const qsizetype dot = name.lastIndexOf(u'.');
    if (dot > 0)
        name.truncate(dot);

    TarGzWriter archive(source.absolutePath() + u'/' + name + QStringLiteral(".tar.gz"));
    Status written = archive.open();
    if (written)
        written = archive.addPath(source.absoluteFilePath(), source.fileName());
    if (written)
        written = archive.finish();
    if (!written)
        return Error{written.errorMessage()};
    return archive.path();
}

void removeOldFilesInDirectory(const QString &folderPath, int limit)
{
    QDir folder(folderPath);
    QStringList names = folder.entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    if (names.size() <= limit)
        return;
    std::sort(names.begin(), names.end(), [](const QString &a, const QString &b) { return a.compare(b) < 0; });
    names.removeAll(QStringLiteral(".DS_Store"));
    for (qsizetype i = 0; i < names.size() - limit; ++i) {
        const QString path = folder.filePath(names.at(i));
        const QFileInfo entry(path);
        const bool removed = entry.isDir() && !entry.isSymLink() ? QDir(path).removeRecursively() : QFile::remove(path);
        if (!removed)
            qCWarning(lcExchange) << "Cannot remove the old backup" << path;
    }
}
