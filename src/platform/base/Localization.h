#pragma once

#include <QString>

/**
 * The application's strings tables.
 *
 * Texts are looked up by key in a named table ("Localizable" unless said
 * otherwise), as Qt translation contexts. Keys are the application's own
 * texts; a key without a translation stands for itself. Keys that are not
 * meant to be shown as they stand ("PenSymbol", "DateStampFormat", ...) have an
 * English translation that every language falls back to.
 */
class Localization
{
public:
    /** Loads the tables for the user's languages, with English beneath them. Call once after creating the application object. */
    static void install();

    /** The text for @p key in @p table, or the key itself when the table has none. */
    [[nodiscard]] static QString localizedString(const QString &key, const char *table = "Localizable");
};

/** Shorthand for Localization::localizedString(). */
[[nodiscard]] inline QString localizedString(const QString &key, const char *table = "Localizable")
{
    return Localization::localizedString(key, table);
}
