// Folders to import come from anywhere: any names, nesting, pairs of files
// and folders, links back up or to nothing. The walk must end, stay inside
// the folder, and give a tree no larger than what the folder holds.
//
// The input describes a folder, one entry per line: "path" makes a file (its
// contents are the path), "path/" a folder, "path>target" a symbolic link.
#include "FuzzSupport.h"
#include "exchange/FileImport.h"
#include "model/JWMemo.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QTemporaryDir>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

constexpr int kMaximumEntries = 48;

const FuzzSupport::Requirement require{"folder import"};

// @p path cut into names that stay inside the folder: no empty, "." or ".." parts.
QString safeRelativePath(const QString &path)
{
    QStringList parts;
    for (const QString &part : path.split(u'/', Qt::SkipEmptyParts)) {
        if (part != QLatin1String(".") && part != QLatin1String("..") && !part.contains(QChar(0)))
            parts.append(part.left(48));
    }
    return parts.mid(0, 8).join(u'/');
}

qsizetype countPages(const MemoPtr &root)
{
    qsizetype pages = 0;
    std::vector<const JWMemo *> pending{root.get()};
    while (!pending.empty()) {
        const JWMemo *page = pending.back();
        pending.pop_back();
        ++pages;
        for (const MemoPtr &child : page->children())
            pending.push_back(child.get());
    }
    return pages;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzSupport::ensureApplication("fuzz-folder-import");
    QTemporaryDir work;
    require(work.isValid(), "no temporary folder");
    const QString root = work.filePath(QStringLiteral("Imported"));
    QDir().mkpath(root);

    const QStringList lines = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size)).split(u'\n');
    for (qsizetype i = 0; i < lines.size() && i < kMaximumEntries; ++i) {
        const QString line = lines[i];
        const qsizetype arrow = line.indexOf(u'>');
        const QString relative = safeRelativePath(arrow >= 0 ? line.left(arrow) : line);
        if (relative.isEmpty())
            continue;
        const QString path = root + u'/' + relative;
        QDir().mkpath(QFileInfo(path).absolutePath());
        if (arrow >= 0) {
            // Links may point anywhere inside the folder, or at nothing.
            QFile::link(root + u'/' + safeRelativePath(line.mid(arrow + 1)), path);
        } else if (line.endsWith(u'/')) {
            QDir().mkpath(path);
        } else {
            QFile file(path);
            if (file.open(QIODevice::WriteOnly))
                file.write(relative.toUtf8());
        }
    }
    qsizetype entries = 0;
    for (QDirIterator it(
             root, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
         it.hasNext(); it.next())
        ++entries;

    FileImport import;
    const MemoPtr memo = import.newMemoWithContentOfFile(root);
    for (const FileImport::Skipped &skipped : import.skipped())
        require(QDir::fromNativeSeparators(skipped.path).startsWith(root), "a skipped path lies outside the folder");
    // Each folder is walked once and title files are read twice: links
    // cannot make the tree larger than that, however they cross.
    if (memo)
        require(countPages(memo) <= 2 * entries + 1, "more pages than the folder holds");
    (void)import.memoArrayWithContentsOfFolder(root);
    return 0;
}
