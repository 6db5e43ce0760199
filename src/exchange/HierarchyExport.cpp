#include "HierarchyExport.h"

#include "ExportProgress.h"

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
    for (const Item &item : layout(memo, title.value_or(memo.title()), m_extension)) {
        const QString path = folderPath + u'/' + item.path;
        if (item.page) {
            if (Status written = m_writer(*item.page, m_uniqueFileNames ? PathUtility::uniqueFileName(path) : path);
                !written)
                return written;
            if (!ExportProgress::pageDone())
                return ExportProgress::cancelledError();
        } else if (!QFileInfo(path).isDir() && !QDir().mkdir(path)) {
            // mkdir rather than mkpath: a file of that name must fail here, not later.
            return Error{QStringLiteral("Cannot create the folder \"%1\"").arg(path)};
        }
    }
    return {};
}

namespace {

void addToLayout(std::vector<HierarchyExport::Item> &items, const JWMemo &memo, const QString &title,
    const QString &folder, const QString &extension)
{
    const QString path = folder + HierarchyExport::fileBaseName(title, extension);
    items.push_back({path + u'.' + extension, &memo});
    if (memo.children().empty())
        return;
    items.push_back({path, nullptr});
    for (const MemoPtr &child : memo.children())
        addToLayout(items, *child, child->title(), path + u'/', extension);
}

} // namespace

std::vector<HierarchyExport::Item> HierarchyExport::layout(
    const JWMemo &memo, const QString &title, const QString &extension)
{
    std::vector<Item> items;
    addToLayout(items, memo, title, QString(), extension);
    return items;
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
