#pragma once

#include <QString>

/**
 * The page password in the user's keyring (Secret Service or KWallet,
 * through QtKeychain), stored under the application's name and the login
 * name so that protected pages open without asking. Without a keyring
 * service, or when it refuses, these quietly find nothing and store nothing.
 */
namespace PasswordKeychain {

/** The login name, under which the password is filed. */
[[nodiscard]] QString userName();

/** The password filed under @p service and @p account; "" when either is empty or nothing is filed. */
[[nodiscard]] QString passwordFromKeychain(const QString &service, const QString &account);

/** Files @p password under @p service and @p account, replacing what was there; whether that worked. */
bool changeKeychainPassword(const QString &service, const QString &account, const QString &password);

} // namespace PasswordKeychain
