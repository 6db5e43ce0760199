#pragma once

#include <QString>

/**
 * The one password that opens every protected page.
 *
 * Only a one-way hash of it is kept, in the preference "se-XCMD": the classic
 * DES crypt(3) of the password under a fixed salt, 13 characters, "" when no
 * password is set. Classic crypt reads only the first eight bytes of a
 * password, so two passwords that agree in those open the same pages; that
 * is how stored hashes have always behaved, and it is kept.
 */

/**
 * The hash of @p password; "" for "". The text is hashed as Mac Roman when it
 * can be written so (as hashes have always been made), else as UTF-8, at
 * most 29 bytes of it.
 */
[[nodiscard]] QString PPCrypt(const QString &password);

/**
 * True when @p password opens pages protected under @p hash. The hash's own
 * salt is used, so hashes made with another fixed salt keep matching; an
 * empty hash is matched by the empty password only.
 */
[[nodiscard]] bool passwordMatchesHash(const QString &password, const QString &hash);

/** The stored hash ("se-XCMD"), or "" when none is stored. */
[[nodiscard]] QString passwordFromDefault();

/** Stores the hash of @p password ("" for "") under "se-XCMD" and writes the preferences at once. */
void savePasswordToDefault(const QString &password);
