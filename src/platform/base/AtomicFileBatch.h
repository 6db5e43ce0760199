#pragma once

#include "Result.h"

#include <QByteArray>
#include <QString>

#include <vector>

/**
 * Many files written atomically at the cost of a few disk syncs rather than
 * one per file: what an export of thousands of pages needs.
 *
 * add() writes each file's bytes to a temporary file beside its target at
 * once; commit() brings all of them to the disk with one sync of each file
 * system involved and only then renames them over their targets, in the
 * order they were added, and syncs again so that the new names are on the
 * disk. As with AtomicFileWriter, no target ever holds part of its new bytes,
 * even after a crash: a target is the old file or the complete new one.
 * A batch destroyed without commit() removes its temporary files and leaves
 * every target as it was.
 */
class AtomicFileBatch
{
public:
    AtomicFileBatch() = default;
    ~AtomicFileBatch();
    AtomicFileBatch(const AtomicFileBatch &) = delete;
    AtomicFileBatch &operator=(const AtomicFileBatch &) = delete;

    /** Writes @p bytes to a temporary file for @p path, whose folder must exist. */
    [[nodiscard]] Status add(const QString &path, const QByteArray &bytes);

    /**
     * Puts every file added so far under its name. On failure the files
     * renamed before it stay renamed and the others are removed; the message
     * names the file that failed.
     */
    [[nodiscard]] Status commit();

    /** The number of files added and not yet committed. */
    [[nodiscard]] qsizetype size() const { return qsizetype(m_pending.size()); }

private:
    struct Pending
    {
        QByteArray temporary;
        QByteArray target;
    };
    std::vector<Pending> m_pending;
};
