#pragma once

#include <QVariantMap>

class UserDefaults;

/**
 * The application's registered defaults: the values every preference has
 * until the user changes it.
 */
class RegisteredDefaults
{
public:
    /** The table of registered values, by key. Needs the GUI application (for the system font). */
    [[nodiscard]] static QVariantMap table();
    /** Registers table() with @p defaults. */
    static void registerWith(UserDefaults &defaults);
};
