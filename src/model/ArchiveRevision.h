#pragma once

#include <QtGlobal>

/**
 * Stamps that tell whether a page or window record still archives as it did:
 * every change of an archived value takes a new stamp, and a new object starts
 * with one, so an equal stamp means equal archived values (no two objects,
 * nor two states of one, ever share a stamp).
 */
namespace ArchiveRevision {

/** A stamp no object has had before. */
[[nodiscard]] quint64 next();
/** The last stamp taken: while it stays the same, no archived value changed anywhere. */
[[nodiscard]] quint64 latest();

/** Stores @p value in @p field; a change takes a new stamp into @p revision. True when it changed. */
template<typename T> bool assign(T &field, const T &value, quint64 &revision)
{
    if (field == value)
        return false;
    field = value;
    revision = next();
    return true;
}

} // namespace ArchiveRevision
