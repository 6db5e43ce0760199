#include "Rtfd.h"

#include "platform/base/AtomicFileWriter.h"
#include "platform/base/FileContents.h"
#include "FileWrapper.h"
#include "RtfReader.h"
#include "RtfWriter.h"
#include "TextAttachment.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTextDocument>

namespace {

const QString kTextFileName = QStringLiteral("TXT.rtf");

// A name an attachment file can have inside a package without leaving the
// folder or taking the text's place.
bool isStorableName(const QString &name)
{
    return !name.isEmpty() && name != QLatin1String(".") && name != QLatin1String("..") && name != kTextFileName
        && !name.contains(u'/') && !name.contains(QChar(0));
}

// Each attachment's file once (a picture shown twice is one file), in text order.
QList<std::pair<QString, QByteArray>> attachmentFiles(const QTextDocument &document)
{
    QList<std::pair<QString, QByteArray>> files;
    QStringList seen;
    for (const auto &[position, attachment] : TextAttachments::all(document)) {
        Q_UNUSED(position)
        if (attachment.bytes.isEmpty() || seen.contains(attachment.fileName))
            continue;
        seen.append(attachment.fileName);
        files.append({attachment.fileName, attachment.bytes});
    }
    return files;
}

Status failAndClear(QTextDocument &document, const QString &message)
{
    document.clear();
    return Error{message};
}

bool removePath(const QString &path)
{
    const QFileInfo info(path);
    if (info.isDir() && !info.isSymLink())
        return QDir(path).removeRecursively();
    return QFile::remove(path);
}

} // namespace

bool Rtfd::isFlattenedRtfd(const QByteArray &bytes)
{
    return FileWrapper::isSerialized(bytes);
}

bool Rtfd::isRtf(const QByteArray &bytes)
{
    return bytes.startsWith("{\\rtf");
}

Status Rtfd::readFlattened(const QByteArray &bytes, QTextDocument &document)
{
    if (isRtf(bytes)) {
        const Status read = RtfReader::read(bytes, document);
        return read ? read : failAndClear(document, read.errorMessage());
    }
    if (!isFlattenedRtfd(bytes))
        return failAndClear(document, QStringLiteral("The data is neither RTFD nor RTF"));
    const auto wrapper = FileWrapper::fromSerialized(bytes);
    if (!wrapper)
        return failAndClear(document, wrapper.errorMessage());
    const auto text = wrapper.value().fileContents(kTextFileName);
    if (!text)
        return failAndClear(document, QStringLiteral("The RTFD data holds no TXT.rtf"));
    const FileWrapper &files = wrapper.value();
    const Status read = RtfReader::read(*text, document, [&files](const QString &fileName) {
        return fileName == kTextFileName ? std::nullopt : files.fileContents(fileName);
    });
    return read ? read : failAndClear(document, read.errorMessage());
}

Result<QString> Rtfd::plainTextOfFlattened(const QByteArray &bytes)
{
    if (isRtf(bytes))
        return RtfReader::readPlainText(bytes);
    if (!isFlattenedRtfd(bytes))
        return Error{QStringLiteral("The data is neither RTFD nor RTF")};
    const auto wrapper = FileWrapper::fromSerialized(bytes);
    if (!wrapper)
        return Error{wrapper.errorMessage()};
    const auto text = wrapper.value().fileContents(kTextFileName);
    if (!text)
        return Error{QStringLiteral("The RTFD data holds no TXT.rtf")};
    return RtfReader::readPlainText(*text);
}

QByteArray Rtfd::writeFlattened(const QTextDocument &document)
{
    const qint64 now = QDateTime::currentSecsSinceEpoch();
    return writeFlattened(document, quint32(qBound<qint64>(0, now, 0xFFFFFFFF)));
}

QByteArray Rtfd::writeFlattened(const QTextDocument &document, quint32 modificationTime)
{
    FileWrapper wrapper;
    wrapper.insert(
        kTextFileName, FileWrapper::regularFile(RtfWriter::write(document, RtfWriter::Attachments::NeXTGraphic)));
    for (const auto &[name, bytes] : attachmentFiles(document)) {
        // A name that would collide with the text or a path is left out:
        // reading it back gives the attachment in its place without bytes.
        if (isStorableName(name))
            wrapper.insert(name, FileWrapper::regularFile(bytes));
    }
    return wrapper.serialized(modificationTime);
}

Status Rtfd::readPackage(const QString &folderPath, QTextDocument &document)
{
    const QDir folder(folderPath);
    if (!QFileInfo(folderPath).isDir())
        return failAndClear(document, QStringLiteral("%1 is no RTFD folder").arg(folderPath));
    const auto text = FileContents::read(folder.filePath(kTextFileName));
    if (!text)
        return failAndClear(document, text.errorMessage());
    const Status read
        = RtfReader::read(text.value(), document, [&folder](const QString &fileName) -> std::optional<QByteArray> {
              if (!isStorableName(fileName) || !QFileInfo(folder.filePath(fileName)).isFile())
                  return std::nullopt;
              auto bytes = FileContents::read(folder.filePath(fileName));
              return bytes ? std::optional<QByteArray>(bytes.value()) : std::nullopt;
          });
    return read ? read : failAndClear(document, QStringLiteral("%1: %2").arg(folderPath, read.errorMessage()));
}

Status Rtfd::writePackage(const QTextDocument &document, const QString &folderPath)
{
    const QFileInfo target(folderPath);
    const QDir parent = target.absoluteDir();
    if (target.fileName().isEmpty() || !parent.exists())
        return Error{QStringLiteral("Cannot write %1: its folder does not exist").arg(folderPath)};

    const auto files = attachmentFiles(document);
    for (const auto &[name, bytes] : files) {
        Q_UNUSED(bytes)
        if (!isStorableName(name))
            return Error{QStringLiteral("Cannot write %1: \"%2\" cannot be a file name in it").arg(folderPath, name)};
    }

    // Hidden siblings on the same file system, so that the renames below
    // cannot turn into copies.
    QTemporaryDir staging(parent.filePath(u'.' + target.fileName() + QStringLiteral("-new-XXXXXX")));
    if (!staging.isValid())
        return Error{QStringLiteral("Cannot write %1: %2").arg(folderPath, staging.errorString())};
    const QDir stagingDir(staging.path());
    Status written = AtomicFileWriter::writeFile(
        stagingDir.filePath(kTextFileName), RtfWriter::write(document, RtfWriter::Attachments::NeXTGraphic));
    for (qsizetype i = 0; written && i < files.size(); ++i)
        written = AtomicFileWriter::writeFile(stagingDir.filePath(files[i].first), files[i].second);
    if (!written)
        return written;

    const QString finalPath = target.absoluteFilePath();
    QString oldPath;
    if (target.exists() || target.isSymLink()) {
        oldPath = staging.path() + QStringLiteral("-old");
        if (!QDir().rename(finalPath, oldPath))
            return Error{QStringLiteral("Cannot replace %1: it cannot be moved aside").arg(folderPath)};
    }
    if (!QDir().rename(staging.path(), finalPath)) {
        if (!oldPath.isEmpty())
            QDir().rename(oldPath, finalPath);
        return Error{QStringLiteral("Cannot write %1: the new package cannot take its place").arg(folderPath)};
    }
    staging.setAutoRemove(false);
    if (!oldPath.isEmpty())
        removePath(oldPath);
    return {};
}
