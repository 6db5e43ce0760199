#include "common/FreshUserTest.h"
#include "exchange/AppSupportBackUp.h"
#include "platform/settings/UserDefaults.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

class AppSupportBackUpTest : public FreshUserTest
{ };

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The preferences go into the support folder and come back out beside it,
// byte for byte, into a new folder each time; a damaged archive (cut inside
// its compressed stream: what follows is padding) leaves nothing.
TEST_F(AppSupportBackUpTest, thePreferencesFileIsPackedAndUnpackedIntoNewFolders)
{
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("DefaultFont"), QStringLiteral("Résumé 日本"));
    ASSERT_TRUE(UserDefaults::standardUserDefaults().synchronize().ok());
    const QString preferences = AppSupportBackUp::preferenceFilePath();
    ASSERT_FALSE(contents(preferences).isEmpty());

    const auto archive = AppSupportBackUp::backupPreferenceFileWithAppName(QStringLiteral("Jotwell3"));
    ASSERT_TRUE(archive.ok()) << archive.errorMessage().toStdString();
    const AppSupportBackUp backups(QStringLiteral("Jotwell3"));
    EXPECT_EQ(archive.value(),
        backups.applicationSupportPath() + u'/' + QFileInfo(preferences).fileName() + QStringLiteral(".tar.gz"));

    const auto first = backups.extractBackUpFile(preferences, false);
    const auto second = backups.extractBackUpFile(preferences, false);
    ASSERT_TRUE(first.ok() && second.ok());
    EXPECT_NE(first.value(), second.value());
    EXPECT_EQ(contents(first.value() + u'/' + QFileInfo(preferences).fileName()), contents(preferences));

    QFile damaged(archive.value());
    const QByteArray bytes = contents(archive.value());
    ASSERT_TRUE(damaged.open(QIODevice::WriteOnly) && damaged.write(bytes.left(40)) > 0);
    damaged.close();
    const QStringList before = QDir(backups.applicationSupportPath()).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    EXPECT_FALSE(backups.extractBackUpFile(preferences, false).ok());
    EXPECT_EQ(QDir(backups.applicationSupportPath()).entryList(QDir::Dirs | QDir::NoDotAndDotDot), before);
}

} // namespace
