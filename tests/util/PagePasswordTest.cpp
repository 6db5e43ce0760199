#include "common/FreshUserTest.h"
#include "platform/settings/UserDefaults.h"
#include "util/PagePassword.h"

#include <QDBusConnection>

#include <crypt.h>

namespace {

using PagePasswordTest = FreshUserTest;

TEST_F(PagePasswordTest, hashesAreClassicCryptOfTheFirstEightCharacters)
{
    EXPECT_EQ(PPCrypt(QString()), QString());
    const QString hash = PPCrypt("password");
    EXPECT_EQ(hash.size(), 13);
    EXPECT_EQ(PPCrypt("password"), hash); // the same salt every time
    EXPECT_NE(PPCrypt("passwore"), hash);

    // Only the first eight characters count, as they always did.
    EXPECT_EQ(PPCrypt("abcdefgh-one"), PPCrypt("abcdefgh-two"));
    EXPECT_TRUE(passwordMatchesHash("abcdefghXYZ", PPCrypt("abcdefgh")));
    EXPECT_FALSE(passwordMatchesHash("abcdefg", PPCrypt("abcdefgh")));
}

TEST_F(PagePasswordTest, storedHashesMatchWhateverSaltTheyWereMadeWith)
{
    // crypt("password", "ab"), made elsewhere.
    EXPECT_TRUE(passwordMatchesHash("password", "abJnggxhB/yWI"));
    EXPECT_FALSE(passwordMatchesHash("Password", "abJnggxhB/yWI"));
    EXPECT_FALSE(passwordMatchesHash("password", "a"));

    // No password set: only the empty password opens, and it opens nothing else.
    EXPECT_TRUE(passwordMatchesHash(QString(), QString()));
    EXPECT_FALSE(passwordMatchesHash("x", QString()));
    EXPECT_FALSE(passwordMatchesHash(QString(), PPCrypt("x")));

    // Accented passwords are hashed as Mac Roman, and one hashed as UTF-8 still opens.
    const QString accented = "caf\u00e9!";
    EXPECT_TRUE(passwordMatchesHash(accented, PPCrypt(accented)));
    crypt_data data{};
    const QString utf8Hash = QString::fromLatin1(crypt_r(accented.toUtf8().constData(), "xy", &data));
    EXPECT_TRUE(passwordMatchesHash(accented, utf8Hash));
    EXPECT_NE(utf8Hash.mid(2), PPCrypt(accented).mid(2));
    // Beyond Mac Roman the text goes in as UTF-8.
    const QString japanese = "\u65e5\u672c\u8a9e";
    EXPECT_TRUE(passwordMatchesHash(japanese, PPCrypt(japanese)));
}

TEST_F(PagePasswordTest, thePasswordIsKeptAsItsHashInThePreferences)
{
    EXPECT_EQ(passwordFromDefault(), QString());
    savePasswordToDefault("secret");
    const QString stored = passwordFromDefault();
    EXPECT_EQ(stored, PPCrypt("secret"));
    EXPECT_FALSE(stored.contains("secret"));

    // Written at once: a fresh read of the preferences file finds it.
    UserDefaults::resetStandardUserDefaults();
    EXPECT_EQ(passwordFromDefault(), stored);

    savePasswordToDefault(QString());
    EXPECT_EQ(passwordFromDefault(), QString());
}

TEST_F(PagePasswordTest, noTestCanReachTheUsersKeyring)
{
    // The keyring is reached over the session bus, which every test finds cut off.
    EXPECT_FALSE(QDBusConnection::sessionBus().isConnected());
}

} // namespace
