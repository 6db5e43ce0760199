#pragma once

#include "platform/base/Result.h"

#include <QString>

#include <functional>
#include <optional>
#include <vector>

class JWMemo;

/**
 * Writes a page and its subtree as one file per page in a folder hierarchy:
 * the page becomes "<title>.<extension>" in the given folder and, when it has
 * children, the folder "<title>" beside that file holds theirs, in order, in
 * the same way. A second export into the same folder reuses the child
 * folders. The format of each file is the writer's; this class only decides
 * names and folders, so every hierarchical export (text, rich text, PDF)
 * shares them.
 *
 * Titles become names by fileBaseName(): a title that cannot name a file on
 * this system is changed as little as possible.
 */
class HierarchyExport
{
public:
    /**
     * Writes @p memo's own file at @p path, whose folder exists; an existing
     * file there is to be replaced. Must write atomically.
     */
    using PageWriter = std::function<Status(const JWMemo &memo, const QString &path)>;

    /** A file or folder of an export, in the order the export makes them. */
    struct Item
    {
        /** Relative to the export's folder, components separated by "/". */
        QString path;
        /** The page whose file this is; null for a folder. */
        const JWMemo *page = nullptr;
    };

    /** @p extension without the dot ("txt"). */
    HierarchyExport(QString extension, PageWriter writer);

    /**
     * With @p unique on, a page whose file name is taken gets the first free
     * one of "name_1.ext", "name_2.ext"… instead (PathUtility::uniqueFileName);
     * its child folder keeps the name before that step. Off by default: files
     * of the same name are replaced.
     */
    void setUniqueFileNames(bool unique) { m_uniqueFileNames = unique; }

    /**
     * Writes @p memo and everything below it into @p folderPath, which must
     * exist. @p title, when given, stands in for @p memo's own title (its
     * children keep theirs); the page itself is not changed. Stops at the
     * first failure, leaving what was written so far.
     */
    [[nodiscard]] Status exportMemo(
        const JWMemo &memo, const QString &folderPath, const std::optional<QString> &title = std::nullopt) const;

    /**
     * The files and folders an export of @p memo titled @p title makes, before
     * any unique naming: each page's file, then, when it has children, its
     * folder followed by what its children make. Pages of the same title in
     * one folder give the same path, the later replacing the earlier.
     */
    [[nodiscard]] static std::vector<Item> layout(const JWMemo &memo, const QString &title, const QString &extension);

    /**
     * The name, without extension, of the file and folder of a page titled
     * @p title: the title with every "/" made "-" and every NUL dropped;
     * "Untitled" (localised) when that leaves "", "." or ".."; cut at a
     * character boundary so that the name with "." and @p extension stays
     * within 240 bytes, leaving room below the 255 bytes a file name may have
     * for a temporary file's suffix and a unique name's number.
     */
    [[nodiscard]] static QString fileBaseName(const QString &title, const QString &extension);

private:
    QString m_extension;
    PageWriter m_writer;
    bool m_uniqueFileNames = false;
};
