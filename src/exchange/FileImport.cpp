#include "FileImport.h"

#include "FormatImport.h"
#include "ImportFileTypes.h"

#include "model/JWMemo.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>

namespace {

QString tr(const char *text, int n = -1)
{
    return QCoreApplication::translate("FileImport", text, nullptr, n);
}

// The entries of a folder in listing order: by name as a file manager sorts
// them, without regard to case; hidden ones left out (a ".git" or ".cache"
// folder holds no notes of the user's).
QFileInfoList entriesOf(const QString &folder)
{
    return QDir(folder).entryInfoList(
        QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System, QDir::Name | QDir::IgnoreCase);
}

} // namespace

FileImport::FileImport(Watcher watcher)
    : m_watcher(std::move(watcher))
{ }

bool FileImport::isPackage(const QString &path)
{
    static const QStringList kPackageTypes{QStringLiteral("rtfd"), QStringLiteral("pages"), QStringLiteral("key"),
        QStringLiteral("numbers"), QStringLiteral("app"), QStringLiteral("bundle")};
    const QFileInfo info(path);
    return info.isDir() && kPackageTypes.contains(info.suffix().toLower());
}

MemoPtr FileImport::newMemoWithContentOfFile(const QString &path)
{
    return importPath(path, 0);
}

MemoPtr FileImport::newMemoFrom_folder(const QString &path)
{
    return importFolder(path, 0);
}

std::optional<QList<MemoPtr>> FileImport::memoArrayWithContentsOfFolder(const QString &path)
{
    QList<MemoPtr> memos;
    if (!QFileInfo(path).isDir())
        return memos;
    for (const QFileInfo &entry : entriesOf(path)) {
        if (!entry.exists() || (!entry.isDir() && !ImportFileTypes::isImportable(entry.suffix())))
            return std::nullopt;
        const QString entryPath = entry.filePath();
        MemoPtr memo = entry.isDir() && !isPackage(entryPath) ? importFolder(entryPath, 1) : importPath(entryPath, 1);
        if (m_cancelled)
            return std::nullopt;
        if (memo)
            memos.append(std::move(memo));
    }
    return memos;
}

MemoPtr FileImport::importPath(const QString &path, int depth)
{
    if (m_cancelled)
        return nullptr;
    const QFileInfo info(path);
    if (!info.exists()) {
        skip(path, info.isSymLink() ? tr("it is a link to nothing") : tr("there is no such file"));
        return nullptr;
    }
    if (!info.isDir() && !ImportFileTypes::isImportable(info.suffix())) {
        skip(path, tr("this kind of file cannot be imported"));
        return nullptr;
    }
    if (info.isDir() && !isPackage(path))
        return importFolder(path, depth);

    Result<MemoPtr> memo = importFileByExtension(path);
    if (!fileRead(path))
        return nullptr;
    if (!memo) {
        skip(path, memo.errorMessage());
        return nullptr;
    }
    return std::move(memo).value();
}

Result<MemoPtr> FileImport::importFileByExtension(const QString &path)
{
    const QString type = QFileInfo(path).suffix().toLower();
    if (type == QLatin1String("jw3book"))
        return FormatImport::newMemoFrom_jw3book(path);
    if (type == QLatin1String("jw3page"))
        return FormatImport::newMemoFrom_jw3page(path);
    if (type == QLatin1String("jw2note"))
        return FormatImport::newMemoFrom_jw2note(path);
    if (type == QLatin1String("jw2"))
        return FormatImport::newMemoFrom_jw2(path);
    if (type == QLatin1String("opml"))
        return FormatImport::newMemoFrom_opml(path);
    if (ImportFileTypes::htmlFileTypes().contains(type))
        return FormatImport::newMemoFrom_html(path);
    if (ImportFileTypes::plaintextFileTypes().contains(type))
        return FormatImport::newMemoFrom_txt(path);
    if (type == QLatin1String("rtf"))
        return FormatImport::newMemoFrom_rtf(path);
    if (type == QLatin1String("rtfd"))
        return FormatImport::newMemoFrom_rtfd(path);
    if (type == QLatin1String("doc"))
        return FormatImport::newMemoFrom_variousFormat(path);
    if (type == QLatin1String("ics"))
        return FormatImport::newMemoFrom_ics(path);
    if (ImportFileTypes::imageFileTypes().contains(type))
        return FormatImport::newMemoFrom_imageFile(path);
    return FormatImport::newMemoFrom_variousFormat(path);
}

MemoPtr FileImport::importFolder(const QString &path, int depth)
{
    if (m_cancelled)
        return nullptr;
    const QFileInfo folderInfo(path);
    const QString canonical = folderInfo.canonicalFilePath();
    if (m_openFolders.contains(canonical)) {
        skip(path, tr("it leads back into a folder that holds it"));
        return nullptr;
    }
    // Links can reach one folder many ways, and a few folders linking to
    // each other many times over: each folder is read once per import.
    if (m_walkedFolders.contains(canonical)) {
        skip(path, tr("it was imported already, through another link"));
        return nullptr;
    }
    if (depth > kMaximumFolderDepth) {
        skip(path, tr("it lies more than %1 folders deep").arg(kMaximumFolderDepth));
        return nullptr;
    }
    m_openFolders.insert(canonical);
    m_walkedFolders.insert(canonical);
    const QString name = folderInfo.completeBaseName();
    const QFileInfoList entries = entriesOf(path);

    // The folder's own page: the first importable file named like the folder.
    MemoPtr memo;
    bool fromTitleFile = false;
    for (const QFileInfo &entry : entries) {
        if (entry.completeBaseName() == name && !entry.isDir() && ImportFileTypes::isImportable(entry.suffix())) {
            memo = importPath(entry.filePath(), depth + 1);
            fromTitleFile = memo != nullptr;
            break;
        }
    }
    if (!memo) {
        memo = JWMemo::memo();
        memo->setTitle(name);
    }

    QList<QFileInfo> folders;
    QList<QFileInfo> files;
    for (const QFileInfo &entry : entries)
        (entry.isDir() && !isPackage(entry.filePath()) ? folders : files).append(entry);

    for (const QFileInfo &file : files) {
        MemoPtr child = importPath(file.filePath(), depth + 1);
        if (!child)
            continue;
        // A file and a folder of the same name are one page with its pages
        // below it. When the file gives no page, the folder stays in the
        // list and is imported on its own, so its pages are not lost.
        const QString base = file.completeBaseName();
        const auto pair = std::find_if(
            folders.cbegin(), folders.cend(), [&](const QFileInfo &folder) { return folder.fileName() == base; });
        if (pair != folders.cend()) {
            if (MemoPtr below = importFolder(file.dir().filePath(base), depth + 1)) {
                for (const MemoPtr &grandchild : std::vector<MemoPtr>(below->children()))
                    child->appendChild(grandchild);
            }
            folders.erase(pair);
        }
        memo->appendChild(child);
    }
    for (const QFileInfo &folder : folders) {
        if (MemoPtr child = importPath(folder.filePath(), depth + 1))
            memo->appendChild(child);
    }
    m_openFolders.remove(canonical);

    if (m_cancelled)
        return nullptr;
    if (!memo->children().empty() || fromTitleFile)
        return memo;
    skip(path, tr("nothing in it can be imported"));
    return nullptr;
}

bool FileImport::fileRead(const QString &path)
{
    ++m_files;
    m_bytes += QFileInfo(path).size();
    if (m_watcher && !m_watcher(m_files, m_bytes))
        m_cancelled = true;
    return !m_cancelled;
}

void FileImport::skip(const QString &path, const QString &reason)
{
    m_skipped.append({QDir::toNativeSeparators(path), reason});
}

QString FileImport::skippedSummary(int limit) const
{
    if (m_skipped.isEmpty())
        return {};
    QStringList lines;
    for (qsizetype i = 0; i < m_skipped.size() && i < limit; ++i)
        lines.append(QStringLiteral("%1: %2").arg(m_skipped[i].path, m_skipped[i].reason));
    if (m_skipped.size() > limit)
        lines.append(tr("… and %n more.", int(m_skipped.size() - limit)));
    return tr("%n file(s) could not be imported:", int(m_skipped.size())) + u'\n' + lines.join(u'\n');
}

FileImport::Size FileImport::measure(const QStringList &paths)
{
    Size size;
    for (const QString &path : paths) {
        const QFileInfo info(path);
        if (!info.isDir()) {
            ++size.files;
            size.bytes += info.size();
            continue;
        }
        QDirIterator it(path, QDir::Files | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            it.next();
            ++size.files;
            size.bytes += it.fileInfo().size();
        }
    }
    return size;
}
