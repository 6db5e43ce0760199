#pragma once

#include <QLatin1StringView>

/**
 * Every preference key the application reads or writes, spelt exactly as it
 * is stored in the preferences and copied into the data folder's settings
 * file (so a data folder brought from the original platform keeps its
 * settings), misspellings included.
 */
namespace PreferenceKeys {

// The data folder and the tree
inline constexpr QLatin1StringView dataFolderPath{"dataFolderPath"};
inline constexpr QLatin1StringView memoID{"memoID"};
inline constexpr QLatin1StringView rootMemo{"rootMemo"};
inline constexpr QLatin1StringView ApplicationVersion{"ApplicationVersion"};
inline constexpr QLatin1StringView HomeID{"HomeID"};

// Windows
inline constexpr QLatin1StringView windowIDs{"windowIDs"};
inline constexpr QLatin1StringView OpeningWindowHasProblem{"OpeningWindowHasProblem"};
inline constexpr QLatin1StringView IconAtBackGround{"IconAtBackGround"};
inline constexpr QLatin1StringView QuitApp{"QuitApp"};
inline constexpr QLatin1StringView Animation{"Animation"};
inline constexpr QLatin1StringView TabBarStyle{"TabBarStyle"};
inline constexpr QLatin1StringView ExpandedOutlineItems{"NSOutlineView Items NoteOutline"};
inline constexpr QLatin1StringView NoteWindowStyleTag{"NoteWindowStyleTag"};

// Saving
inline constexpr QLatin1StringView AutoSave{"AutoSave"};
inline constexpr QLatin1StringView AutoSavePeriod{"AutoSavePeriod"};
inline constexpr QLatin1StringView AutoSaveAtBG{"AutoSaveAtBG"};
inline constexpr QLatin1StringView autoBackupData{"autoBackupData"};

// Pages and their text
inline constexpr QLatin1StringView UseTopLineAsTitle{"UseTopLineAsTitle"};
inline constexpr QLatin1StringView createNewMemoAsPlainText{"createNewMemoAsPlainText"};
inline constexpr QLatin1StringView DeleteCheck{"DeleteCheck"};
inline constexpr QLatin1StringView DefaultFont{"DefaultFont"};
inline constexpr QLatin1StringView DefaultFontSize{"DefaultFontSize"};
inline constexpr QLatin1StringView BGColor{"BGColor"};
inline constexpr QLatin1StringView TitleSize{"TitleSize"};
inline constexpr QLatin1StringView TextMagnification{"TextMagnification"};

// Page protection: the page password's hash, under the name it has always had
inline constexpr QLatin1StringView pagePassword{"se-XCMD"};
inline constexpr QLatin1StringView Password{"Password"};

// Device sync
inline constexpr QLatin1StringView abGroupName{"abGroupName"};
inline constexpr QLatin1StringView iPodPath{"iPodPath"};
inline constexpr QLatin1StringView LastSynchronizedDate{"LastSynchronizedDate"};
/** A fixed port for the sync server (for firewalls); absent or 0 lets the system pick. */
inline constexpr QLatin1StringView SyncPort{"SyncPort"};
/** Ask before a device syncs for the first time (default YES). */
inline constexpr QLatin1StringView SyncAskBeforeNewDevice{"SyncAskBeforeNewDevice"};
/** The answers given for devices: a dictionary from device key to YES or NO. */
inline constexpr QLatin1StringView SyncDeviceAnswers{"SyncDeviceAnswers"};

} // namespace PreferenceKeys
