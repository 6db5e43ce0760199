#pragma once

#include <QString>

#include <functional>

/**
 * Choosing a name that nothing uses yet, for a file that is set aside,
 * renamed, exported or attached: the wanted name when it is free, else the
 * first free one of a numbered series. Each caller keeps its own numbering
 * form ("name 2", "name_1.ext", "<path>-2"…), since users and other programs
 * see those names.
 */
namespace FreeFileName {

/**
 * Forms the candidate numbered @p n. A lambda needs the explicit return type
 * "-> QString": a concatenation returned as it is still refers to the
 * lambda's temporaries when it is turned into a string.
 */
using Numbered = std::function<QString(int n)>;
/** True when @p name is in use. */
using IsTaken = std::function<bool(const QString &name)>;

/**
 * True when something is at @p path, a dangling symbolic link included:
 * writing to its name would follow the link, renaming onto it would replace it.
 */
[[nodiscard]] bool isTaken(const QString &path);

/**
 * @p wanted when @p taken says it is free, else the first free one of
 * numbered(first), numbered(first + 1)… The series must eventually leave
 * the taken names, as any series with the number in it does.
 */
[[nodiscard]] QString firstFree(
    const QString &wanted, const Numbered &numbered, int first = 2, const IsTaken &taken = isTaken);

} // namespace FreeFileName
