#pragma once

#include "platform/base/Result.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

class UserDefaults;

/**
 * The data folder's settings file ("JW3Data.jw3settings"): an archived
 * dictionary with the IDs of the open windows' root pages under "windowIDs"
 * and a copy of the main preferences, so that a data folder moved to another
 * machine or account brings them along.
 */
namespace SettingsFile {

/** The preferences kept in the settings file; the same list is read and written. */
[[nodiscard]] const QStringList &preferenceKeys();

/**
 * The dictionary saving writes: "windowIDs" in the given order, and every
 * preference of the list that @p defaults have a value for.
 */
[[nodiscard]] QVariantMap dictionaryFromDefaults(const UserDefaults &defaults, const QList<qint64> &windowIDs);

/**
 * Copies the preferences of the list that @p dictionary holds into
 * @p defaults; keys it does not hold keep their values. A value that
 * cannot be a preference is skipped with a warning.
 */
void copyPreferencesTo(const QVariantMap &dictionary, UserDefaults &defaults);

/** The window IDs of @p dictionary, in order; numbers only. */
[[nodiscard]] QList<qint64> windowIDs(const QVariantMap &dictionary);

/**
 * Reads the settings file at @p path: nothing when there is no file, an
 * error when it exists but does not hold an archived dictionary.
 */
[[nodiscard]] Result<std::optional<QVariantMap>> read(const QString &path);

/** Archives @p dictionary and writes it to @p path atomically, unless the file holds those bytes already. */
[[nodiscard]] Status write(const QString &path, const QVariantMap &dictionary);

} // namespace SettingsFile
