#include "PasswordKeychain.h"

#include "UtilLog.h"

#include <qt6keychain/keychain.h>

#include <QEventLoop>
#include <QTimer>

#include <pwd.h>
#include <unistd.h>

namespace {

// A keyring that does not answer in this time is treated as absent: opening
// a page must never hang on it.
constexpr int kKeyringTimeoutMilliseconds = 3000;

// Runs @p job to its end (or the time-out); true when it finished without error.
bool runToEnd(QKeychain::Job &job)
{
    job.setAutoDelete(false);
    QEventLoop loop;
    bool finished = false;
    QObject::connect(&job, &QKeychain::Job::finished, &loop, [&] {
        finished = true;
        loop.quit();
    });
    QTimer::singleShot(kKeyringTimeoutMilliseconds, &loop, &QEventLoop::quit);
    job.start();
    if (!finished)
        loop.exec(QEventLoop::ExcludeUserInputEvents);
    if (!finished) {
        qCWarning(lcUtil) << "The keyring did not answer within" << kKeyringTimeoutMilliseconds << "ms";
        return false;
    }
    // A missing entry is an ordinary answer (the password was never kept), not a fault.
    if (job.error() != QKeychain::NoError && job.error() != QKeychain::EntryNotFound)
        qCWarning(lcUtil).noquote() << "The keyring refused:" << job.errorString();
    return job.error() == QKeychain::NoError;
}

} // namespace

namespace PasswordKeychain {

QString userName()
{
    if (const passwd *entry = getpwuid(getuid()); entry && entry->pw_name)
        return QString::fromLocal8Bit(entry->pw_name);
    return qEnvironmentVariable("USER");
}

QString passwordFromKeychain(const QString &service, const QString &account)
{
    if (service.isEmpty() || account.isEmpty())
        return {};
    QKeychain::ReadPasswordJob job(service);
    job.setKey(account);
    if (!runToEnd(job))
        return {};
    return QString::fromUtf8(job.binaryData());
}

bool changeKeychainPassword(const QString &service, const QString &account, const QString &password)
{
    if (service.isEmpty() || account.isEmpty())
        return false;
    QKeychain::WritePasswordJob job(service);
    job.setKey(account);
    job.setBinaryData(password.toUtf8());
    return runToEnd(job);
}

} // namespace PasswordKeychain
