#include "AttachmentExport.h"

#include "AttributedText.h"
#include "platform/base/AtomicFileWriter.h"
#include "util/PathUtility.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>

namespace {

// The name a file gets in the export folder: only the last part of the
// attachment's name, so that a name read from a file ("../x") cannot lead
// outside the folder.
QString exportName(const QString &fileName)
{
    const QString name = QFileInfo(fileName).fileName();
    return name.isEmpty() || name == u"." || name == u".." ? QStringLiteral("Attachment") : name;
}

} // namespace

namespace AttachmentExport {

Status exportAttachment(const TextAttachment &attachment, const QString &path)
{
    if (attachment.bytes.isEmpty())
        return Error{QStringLiteral("The attachment \"%1\" has no file to export.").arg(attachment.fileName)};
    return AtomicFileWriter::writeFile(path, attachment.bytes);
}

Result<QStringList> exportEveryAttachment(const QTextDocument &document, const QString &folder)
{
    if (!QFileInfo(folder).isDir())
        return Error{QStringLiteral("Cannot export attachments to \"%1\": it is no folder.").arg(folder)};
    QStringList written;
    QSet<QString> done;
    for (const TextAttachment &attachment : AttributedText::attachments(document)) {
        if (attachment.bytes.isEmpty() || done.contains(attachment.fileName))
            continue;
        done.insert(attachment.fileName);
        const QString path = PathUtility::uniqueFileName(QDir(folder).filePath(exportName(attachment.fileName)));
        if (const Status status = exportAttachment(attachment, path); !status)
            return Error{status.errorMessage()};
        written.append(path);
    }
    return written;
}

} // namespace AttachmentExport
