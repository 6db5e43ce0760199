#pragma once

#include <QString>

/** Operations on file paths that Qt does not offer in one call. */
namespace PathUtility {

/**
 * A path near @p path that names no existing file: @p path itself when
 * nothing is there, otherwise "name_1.ext", "name_2.ext"… in the same folder,
 * the first one that is free. A name without an extension keeps a trailing
 * dot ("name_1.").
 */
[[nodiscard]] QString uniqueFileName(const QString &path);

} // namespace PathUtility
