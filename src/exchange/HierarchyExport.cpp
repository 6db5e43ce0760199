#include "HierarchyExport.h"

#include "model/JWMemo.h"
#include "platform/base/Localization.h"
#include "util/PathUtility.h"

#include <QDir>
#include <QFileInfo>

#include <utility>

namespace {

// The file systems Linux uses allow 255 bytes in a name; the rest is room
// for the suffix of an atomic write's temporary file ("<name>.<random>")
// and for the number a unique name adds.
constexpr qsizetype kMaxNameBytes = 240;

} // namespace

HierarchyExport::HierarchyExport(QString extension, PageWriter writer)
    : m_extension(std::move(extension))
    , m_writer(std::move(writer))
{ }

Status HierarchyExport::exportMemo(
    const JWMemo &memo, const QString &folderPath, const std::optional<QString> &title) const
{
    if (!QFileInfo(folderPath).isDir())
        return Error{QStringLiteral("Cannot export into \"%1\": there is no such folder").arg(folderPath)};
    return exportPage(memo, folderPath, title.value_or(memo.title()));
}

Status HierarchyExport::exportPage(const JWMemo &memo, const QString &folderPath, const QString &title) const
{
    const QString base = fileBaseName(title, m_extension);
    QString filePath = folderPath + u'/' + base + u'.' + m_extension;
    if (m_uniqueFileNames)
        filePath = PathUtility::uniqueFileName(filePath);
    if (Status written = m_writer(memo, filePath); !written)
        return written;

    if (memo.children().empty())
        return {};
    const QString childFolder = folderPath + u'/' + base;
    // mkdir rather than mkpath: a file of that name must fail here, not later.
    if (!QFileInfo(childFolder).isDir() && !QDir().mkdir(childFolder))
        return Error{QStringLiteral("Cannot create the folder \"%1\"").arg(childFolder)};
    for (const MemoPtr &child : memo.children()) {
        if (Status written = exportPage(*child, childFolder, child->title()); !written)
            return written;
    }
    return {};
}

QString HierarchyExport::fileBaseName(const QString &title, const QString &extension)
{
    QString name = title;
    name.replace(u'/', u'-');
    name.remove(QChar(u'\0'));
    if (name.isEmpty() || name == u"." || name == u"..")
        name = localizedString(QStringLiteral("Untitled"));

    const qsizetype room = kMaxNameBytes - 1 - extension.toUtf8().size();
    if (name.toUtf8().size() <= room)
        return name;
    // Cut whole characters (never half of a surrogate pair) until it fits.
    qsizetype bytes = 0;
    qsizetype end = 0;
    while (end < name.size()) {
        const qsizetype length = name.at(end).isHighSurrogate() && end + 1 < name.size() ? 2 : 1;
        const qsizetype size = name.mid(end, length).toUtf8().size();
        if (bytes + size > room)
            break;
        bytes += size;
        end += length;
    }
    return name.left(end);
}
