#pragma once

#include "model/JWMemo.h"
#include "platform/base/Result.h"

#include <QString>
#include <QStringList>

/**
 * Carries over the data of the application's earlier versions: the
 * preferences and page tree of the previous major version (its preferences
 * file "Jotwell2.plist" beside ours, its texts in the data folder
 * "Jotwell2"), and the page list of the version before it ("Jotwell.plist").
 * The old files are only read, never changed.
 */
namespace LegacyImport {

/**
 * Whether a conversion copies the old preferences: on the first start it
 * does; importing the old pages into a tree in use leaves the preferences
 * (the page password among them) as they are.
 */
enum class Preferences
{
    CarryOver,
    Leave
};

/** The preference keys carried over unchanged, in the order they are copied. */
[[nodiscard]] const QStringList &carriedPreferenceKeys();

/** "Jotwell2.plist" in the folder that holds our defaults file. */
[[nodiscard]] QString defaultPreferencesPath();
/** The folder "Jotwell2" of the XDG data folder, where the old texts are. */
[[nodiscard]] QString defaultTextFolder();
/** "Jotwell.plist" in the folder that holds our defaults file. */
[[nodiscard]] QString defaultJotwellDataPath();

/**
 * importOldUserDefaults(defaultPreferencesPath(), defaultTextFolder()).
 */
[[nodiscard]] Result<MemoPtr> importOldUserDefaults();

/**
 * Converts the previous version's preferences file @p preferencesPath and
 * the text files in @p textFolder (none are read when it is empty).
 *
 * With Preferences::CarryOver, each key of carriedPreferenceKeys() that the file holds is copied into
 * the standard defaults, in order, unless its value is of another kind than
 * the one the defaults hold. The page tree is "MainNoteData" (property-list
 * data) or, without it, "MainNoteDict"; it is converted with its IDs
 * (OldDataConverter), the root titled with the application's name, and the
 * "memoID" counter raised above its highest ID.
 *
 * Answers the root; null when the file does not exist or holds no tree
 * (the preferences are copied all the same). An error when the file cannot
 * be read or is no dictionary, or when the tree cannot be converted.
 */
[[nodiscard]] Result<MemoPtr> importOldUserDefaults(
    const QString &preferencesPath, const QString &textFolder, Preferences preferences = Preferences::CarryOver);

/**
 * The previous version's pages, to join a tree in use: converted from
 * @p preferencesPath and @p textFolder without touching the preferences,
 * under a top page titled "Data of the Earlier Version", with new IDs and
 * the links between them following. An error also when the file does not
 * exist or holds no pages.
 */
[[nodiscard]] Result<MemoPtr> importEarlierVersionPages(const QString &preferencesPath, const QString &textFolder);

/** importJotwellData(defaultJotwellDataPath()). */
[[nodiscard]] Result<MemoPtr> importJotwellData();

/**
 * The pages of the oldest version's preferences file @p path: "MyNoteArray",
 * or when that is empty the property-list array in "MyNoteArrayData", each
 * converted with OldDataConverter. Answers a new page titled "JotwellData
 * Title" with the text "Imported Data From Jotwell" (both localised)
 * holding one child per entry; null when the file does not exist; an error
 * when it cannot be read.
 */
[[nodiscard]] Result<MemoPtr> importJotwellData(const QString &path);

} // namespace LegacyImport
