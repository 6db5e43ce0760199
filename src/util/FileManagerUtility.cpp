#include "FileManagerUtility.h"

#include "platform/base/FreeFileName.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

namespace FileManagerUtility {

Status copyFolderAndContents(const QString &from, const QString &to)
{
    const QFileInfo source(from);
    if (!source.isDir())
        return Error{QStringLiteral("%1 is not a folder").arg(from)};
    if (QFileInfo::exists(to))
        return Error{QStringLiteral("%1 exists already").arg(to)};
    if (!QDir().mkpath(to))
        return Error{QStringLiteral("Cannot create the folder %1").arg(to)};

    const QDir sourceDir(from);
    QDirIterator it(
        from, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        const QFileInfo entry = it.fileInfo();
        const QString target = to + u'/' + sourceDir.relativeFilePath(entry.filePath());
        if (entry.isSymLink()) {
            if (!QFile::link(entry.symLinkTarget(), target))
                return Error{QStringLiteral("Cannot copy the link %1").arg(entry.filePath())};
        } else if (entry.isDir()) {
            if (!QDir().mkpath(target))
                return Error{QStringLiteral("Cannot create the folder %1").arg(target)};
        } else if (!QFile::copy(entry.filePath(), target)) {
            return Error{QStringLiteral("Cannot copy %1 to %2").arg(entry.filePath(), target)};
        }
    }
    return {};
}

Result<QString> changeFileNameOfPath(const QString &path, const QString &newName)
{
    const QFileInfo info(path);
    const QString folder = info.absolutePath();
    const QString wanted = folder + u'/' + newName;
    const QString target
        = FreeFileName::firstFree(wanted, [&wanted](int n) -> QString { return wanted + u' ' + QString::number(n); });
    if (!QFile::rename(path, target) && !QDir().rename(path, target))
        return Error{QStringLiteral("Cannot rename %1 to %2").arg(path, target)};
    return target;
}

double leadingNumber(const QString &text)
{
    qsizetype i = 0;
    while (i < text.size() && text.at(i).isSpace())
        ++i;
    const qsizetype start = i;
    if (i < text.size() && (text.at(i) == u'+' || text.at(i) == u'-'))
        ++i;
    const auto digits = [&] {
        const qsizetype from = i;
        while (i < text.size() && text.at(i) >= u'0' && text.at(i) <= u'9')
            ++i;
        return i - from;
    };
    qsizetype count = digits();
    if (i < text.size() && text.at(i) == u'.') {
        ++i;
        count += digits();
    }
    if (count == 0)
        return 0;
    qsizetype end = i;
    if (i < text.size() && (text.at(i) == u'e' || text.at(i) == u'E')) {
        ++i;
        if (i < text.size() && (text.at(i) == u'+' || text.at(i) == u'-'))
            ++i;
        if (digits() > 0)
            end = i;
    }
    bool ok = false;
    const double value = text.mid(start, end - start).toDouble(&ok);
    return ok ? value : 0;
}

} // namespace FileManagerUtility
