#pragma once

#include <QString>

/**
 * The folders and files of the data folder.
 *
 *     data folder/                      dataFolderPath()
 *         JW3Data.jw3datastore          dataFilePath(): the archived page tree
 *         JW3Data.jw3settings           dataDictionaryFilePath(): open windows and a copy of the preferences
 *         Note Data/                    noteDataFolderPath(): one "<ID>.jw3page" per page, web archives
 *             Unused Files/             trashFolderPath(): page files of removed pages
 *         iPhone Data Backup/           iPhoneDataBackupRootFolderPath()
 *
 * Every function that answers a folder creates it when it is missing. The
 * "application support" folder is the XDG data folder (~/.local/share), the
 * documents folder the XDG documents folder.
 */

/** The application support folder plus @p name; created if missing. */
[[nodiscard]] QString applicationSupportPathForName(const QString &name);
/** The user's documents folder plus @p name; created if missing. */
[[nodiscard]] QString userDocumentPathForName(const QString &name);
/** The application's localised name, "Jotwell3" unless a strings table renames it. */
[[nodiscard]] QString appName();

/**
 * The data folder: the user default "dataFolderPath" when it is set (created
 * if missing); otherwise the application support folder named after the
 * application, or failing that the documents folder of that name, which is
 * then stored into "dataFolderPath".
 */
[[nodiscard]] QString dataFolderPath();
[[nodiscard]] QString noteDataFolderPath();
[[nodiscard]] QString trashFolderPath();
[[nodiscard]] QString iPhoneDataBackupRootFolderPath();
[[nodiscard]] QString dataFilePath();
[[nodiscard]] QString dataDictionaryFilePath();
/** The page file of the page with @p memoID: "Note Data/12.jw3page" for 12. */
[[nodiscard]] QString notePathForID(qint64 memoID);
/** The desktop web archive of the web clip with @p memoID: "Note Data/12.webarchive" for 12. */
[[nodiscard]] QString webarchivePathForID(qint64 memoID);
/** The phone's smaller web archive of that clip: "Note Data/12_mobile.webarchive" for 12. */
[[nodiscard]] QString mobileWebarchivePathForID(qint64 memoID);
