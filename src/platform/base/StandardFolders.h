#pragma once

#include <QString>

/**
 * The user's base folders, after the XDG base-directory rules.
 *
 * Every file the application reads or writes lives under one of these, so
 * pointing XDG_CONFIG_HOME, XDG_DATA_HOME and XDG_DOCUMENTS_DIR at empty
 * folders gives a fresh user. The variables are read on every call, so a test
 * can switch users at any time.
 */
class StandardFolders
{
public:
    /** $XDG_CONFIG_HOME, else ~/.config. */
    [[nodiscard]] static QString configHome();
    /** $XDG_DATA_HOME, else ~/.local/share: where application support folders live. */
    [[nodiscard]] static QString dataHome();
    /** $XDG_DOCUMENTS_DIR, else the documents folder of user-dirs.dirs, else ~/Documents. */
    [[nodiscard]] static QString documentsFolder();
};
