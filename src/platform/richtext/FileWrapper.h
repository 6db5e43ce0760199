#pragma once

#include "platform/base/Result.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

/**
 * A tree of named files in one block of bytes: the serialized file wrapper
 * the platform's text system uses for flattened RTFD ("rtfd", 0, then one
 * node). A node is a regular file or a directory of named nodes; all numbers
 * are 32-bit little-endian.
 *
 * Reading checks every count and length against the bytes that remain,
 * caps nesting at maxDepth and rejects a directory whose recorded node sizes
 * disagree with its nodes, so hostile data gives an Error and never
 * allocates more than its own size. The bookkeeping entries ("." with its
 * modification times, the preferred-name entries) are dropped; a directory
 * that holds nothing but ".." is the single regular file it wraps.
 *
 * Writing produces what the platform writes: a directory's names, then its
 * node sizes, then its nodes, with a "." entry last that records, for every
 * other entry, a modification time and the permissions 0666.
 */
class FileWrapper
{
public:
    /** How deeply directories may nest before reading gives up. */
    static constexpr int maxDepth = 32;

    /** An empty directory. */
    FileWrapper() = default;
    /** A regular file holding @p contents. */
    [[nodiscard]] static FileWrapper regularFile(QByteArray contents);

    /** Whether the data starts like a serialized wrapper ("rtfd" and a zero word). */
    [[nodiscard]] static bool isSerialized(const QByteArray &bytes);
    /** Parses a serialized wrapper. */
    [[nodiscard]] static Result<FileWrapper> fromSerialized(const QByteArray &bytes);
    /**
     * The serialized form. Every "." entry records @p modificationTime (Unix
     * seconds) for its entries, so equal trees written with equal times give
     * equal bytes.
     */
    [[nodiscard]] QByteArray serialized(quint32 modificationTime) const;

    [[nodiscard]] bool isDirectory() const { return m_isDirectory; }
    /** A regular file's bytes; empty for a directory. */
    [[nodiscard]] const QByteArray &contents() const { return m_contents; }

    /** A directory's entry names, in the order stored. */
    [[nodiscard]] QStringList entryNames() const { return m_names; }
    /** The entry called @p name (the first, should a name repeat), or null. */
    [[nodiscard]] const FileWrapper *entry(const QString &name) const;
    /** The bytes of the regular file called @p name, or nothing when there is none. */
    [[nodiscard]] std::optional<QByteArray> fileContents(const QString &name) const;
    /**
     * Adds @p wrapper to this directory as @p name, replacing an entry of that
     * name. Has no effect on a regular file, nor for the reserved names
     * ("", ".", "..") that the serialized form gives a meaning of its own.
     */
    void insert(const QString &name, FileWrapper wrapper);

private:
    bool m_isDirectory = true;
    QByteArray m_contents;
    QStringList m_names;
    std::vector<FileWrapper> m_entries;
};
