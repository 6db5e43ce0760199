#include "PagePassword.h"

#include "platform/base/PreferenceKeys.h"
#include "platform/settings/UserDefaults.h"

#include <QByteArray>

#include <crypt.h>
#include <iconv.h>

#include <cerrno>
#include <memory>
#include <optional>

namespace {

// The salt every installation hashes new passwords with; it must never
// change, or stored hashes would stop matching the passwords they were made
// from (matching itself uses the salt stored in each hash).
constexpr char kSalt[] = "J3";

// The buffer the password was always copied into: 30 bytes, the last a NUL.
constexpr qsizetype kMaximumPasswordBytes = 29;

// @p text in Mac Roman, or nothing when a character has no Mac Roman form.
std::optional<QByteArray> macRoman(const QString &text)
{
    iconv_t cd = iconv_open("MACINTOSH", "UTF-8");
    if (cd == iconv_t(-1))
        return std::nullopt;
    QByteArray in = text.toUtf8();
    QByteArray out(in.size() + 1, '\0');
    char *inPtr = in.data();
    char *outPtr = out.data();
    size_t inLeft = size_t(in.size());
    size_t outLeft = size_t(out.size());
    const size_t converted = iconv(cd, &inPtr, &inLeft, &outPtr, &outLeft);
    iconv_close(cd);
    if (converted == size_t(-1) || inLeft != 0)
        return std::nullopt;
    out.truncate(out.size() - qsizetype(outLeft));
    return out;
}

QString cryptWithSalt(QByteArray bytes, const char *salt)
{
    bytes.truncate(kMaximumPasswordBytes);
    // crypt_r's state is large; it lives on the heap, and nothing is shared
    // between calls, so hashing is safe from any thread.
    auto data = std::make_unique<crypt_data>();
    const char *hashed = crypt_r(bytes.constData(), salt, data.get());
    // A failed crypt answers NULL or a string starting with '*'.
    if (!hashed || hashed[0] == '*')
        return {};
    return QString::fromLatin1(hashed);
}

QByteArray passwordBytes(const QString &password)
{
    return macRoman(password).value_or(password.toUtf8());
}

} // namespace

QString PPCrypt(const QString &password)
{
    if (password.isEmpty())
        return password;
    return cryptWithSalt(passwordBytes(password), kSalt);
}

bool passwordMatchesHash(const QString &password, const QString &hash)
{
    if (hash.isEmpty() || password.isEmpty())
        return hash.isEmpty() && password.isEmpty();
    if (hash.size() < 2)
        return false;
    const QByteArray salt = hash.left(2).toLatin1();
    if (cryptWithSalt(passwordBytes(password), salt.constData()) == hash)
        return true;
    // A password typed on a system that wrote it as UTF-8.
    return cryptWithSalt(password.toUtf8(), salt.constData()) == hash;
}

QString passwordFromDefault()
{
    return UserDefaults::standardUserDefaults().stringForKey(PreferenceKeys::pagePassword);
}

void savePasswordToDefault(const QString &password)
{
    UserDefaults &defaults = UserDefaults::standardUserDefaults();
    defaults.setValue(PreferenceKeys::pagePassword, PPCrypt(password));
    (void)defaults.synchronize();
}
