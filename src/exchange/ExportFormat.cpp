#include "ExportFormat.h"

#include "BookFile.h"
#include "OpmlExport.h"
#include "PageExport.h"
#include "PlainTextHierarchy.h"

#include "model/JWMemo.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace ExportFormat {

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("ExportFormat", text);
}

struct Description
{
    Format format;
    const char *name;
    const char *fileType;
    bool folder;
};

constexpr Description kFormats[] = {
    {Format::Book, "book", "jw3book", false},
    {Format::RtfdTree, "rtfd-tree", "rtfd", true},
    {Format::Rtfd, "rtfd", "rtfd", false},
    {Format::RtfdJoined, "rtfd-joined", "rtfd", false},
    {Format::Pdf, "pdf", "pdf", false},
    {Format::PdfJoined, "pdf-joined", "pdf", false},
    {Format::PdfTree, "pdf-tree", "pdf", true},
    {Format::Opml, "opml", "opml", false},
    {Format::TextTree, "text-tree", "txt", true},
    {Format::Text, "text", "txt", false},
    {Format::TextJoined, "text-joined", "txt", false},
};

const Description &describe(Format format)
{
    return kFormats[static_cast<int>(format)];
}

// "a/b.c" without ".c"; a name that only starts with a dot keeps it.
QString withoutExtension(const QString &path)
{
    const QFileInfo info(path);
    const QString name = info.fileName();
    const qsizetype dot = name.lastIndexOf(u'.');
    if (dot <= 0)
        return path;
    return path.left(path.size() - (name.size() - dot));
}

Status write(Format format, const JWMemo &memo, const MemoPtr &shared, const QString &path)
{
    switch (format) {
    case Format::Book:
        return BookFile::write(shared, path);
    case Format::RtfdTree:
        return PageExport::exportMemosASRTFD(memo, path);
    case Format::Rtfd:
        return PageExport::exportSingleMemoASRTFD(memo, path);
    case Format::RtfdJoined:
        return PageExport::exportMemoToJoinedRTFD(memo, path);
    case Format::Pdf:
        return PageExport::exportSingleMemoASPDF(memo, path);
    case Format::PdfJoined:
        return PageExport::exportMemoToJoinedPDF(memo, path);
    case Format::PdfTree:
        return PageExport::exportMemoToPDF(memo, path);
    case Format::Opml:
        // The transformation logs its failures rather than reporting them;
        // the file it leaves, or not, is what tells.
        (void)OpmlExport::exportMemoToOPML(memo, path);
        if (!QFileInfo(path).isFile())
            return Error{tr("The outline \"%1\" could not be written").arg(path)};
        return {};
    case Format::TextTree:
        return PlainTextHierarchy::exportMemosASPlainText(memo, path);
    case Format::Text:
        return PageExport::exportSingleMemoASPlainText(memo, path);
    case Format::TextJoined:
        return PageExport::exportMemoToJoinedPlainText(memo, path);
    }
    return Error{tr("Unknown export format")};
}

} // namespace

Format fromTag(int tag)
{
    return tag >= 0 && tag <= static_cast<int>(Format::Opml) ? static_cast<Format>(tag) : Format::Book;
}

QStringList names()
{
    QStringList list;
    for (const Description &format : kFormats)
        list << QLatin1String(format.name);
    return list;
}

std::optional<Format> fromName(const QString &name)
{
    for (const Description &format : kFormats) {
        if (name == QLatin1String(format.name))
            return format.format;
    }
    return std::nullopt;
}

QString fileType(Format format)
{
    return QLatin1String(describe(format).fileType);
}

bool writesFolder(Format format)
{
    return describe(format).folder;
}

QString targetPath(Format format, const QString &chosen)
{
    if (format == Format::Book)
        return chosen;
    const QString bare = withoutExtension(chosen);
    return writesFolder(format) ? bare : bare + u'.' + fileType(format);
}

Result<QString> exportMemo(Format format, const MemoPtr &memo, const QString &target)
{
    if (!memo)
        return Error{tr("There is no page to export")};
    const QString path = QFileInfo(target).absoluteFilePath();
    if (writesFolder(format) && !QDir().mkpath(path))
        return Error{tr("Cannot create the folder \"%1\"").arg(path)};
    if (!writesFolder(format) && !QFileInfo(path).dir().exists())
        return Error{tr("Cannot export to \"%1\": its folder does not exist").arg(path)};
    if (Status written = write(format, *memo, memo, path); !written)
        return Error{written.errorMessage()};
    return path;
}

} // namespace ExportFormat
