// The settings file: which preferences travel with the data folder, in which
// archived types, and how a damaged file is told apart from a missing one.
#include "common/FreshUserTest.h"
#include "model/SettingsFile.h"
#include "platform/typedstream/TypedStreamWriter.h"
#include "platform/settings/UserDefaults.h"

#include <gtest/gtest.h>

#include <QFile>

namespace {

class SettingsFileTest : public FreshUserTest
{
protected:
    QString path() const { return home() + QStringLiteral("/JW3Data.jw3settings"); }
};

// The archived types of the values are checked through a real folder's settings in LegacyDataFolderTest.
TEST_F(SettingsFileTest, OnlyListedPreferencesTravelAndOnlyThoseInTheFileAreCopied)
{
    UserDefaults &defaults = UserDefaults::standardUserDefaults();
    const QByteArray colour("\x04\x0bstreamtyped", 13);
    defaults.setValue(QStringLiteral("AutoSavePeriod"), 5);
    defaults.setValue(QStringLiteral("BGColor"), colour);
    defaults.setValue(QStringLiteral("dataFolderPath"), home()); // a local choice; never copied
    defaults.setValue(QStringLiteral("memoID"), 99);

    const QVariantMap written = SettingsFile::dictionaryFromDefaults(defaults, {12, 3});
    EXPECT_FALSE(written.contains(QStringLiteral("dataFolderPath")));
    EXPECT_FALSE(written.contains(QStringLiteral("memoID")));
    EXPECT_FALSE(written.contains(QStringLiteral("DefaultFont"))) << "only preferences that have a value";
    ASSERT_TRUE(SettingsFile::write(path(), written).ok());

    auto read = SettingsFile::read(path());
    ASSERT_TRUE(read.ok()) << read.errorMessage().toStdString();
    ASSERT_TRUE(read.value().has_value());
    EXPECT_EQ(SettingsFile::windowIDs(*read.value()), (QList<qint64>{12, 3})) << "in the windows' order";

    // Another account: the preferences arrive with the folder.
    for (const QString &key : SettingsFile::preferenceKeys())
        defaults.removeObjectForKey(key);
    defaults.setValue(QStringLiteral("TitleSize"), 2); // not in the file: left alone
    SettingsFile::copyPreferencesTo(*read.value(), defaults);
    EXPECT_EQ(defaults.objectForKey(QStringLiteral("AutoSavePeriod")), QVariant(qint64(5)));
    EXPECT_EQ(defaults.objectForKey(QStringLiteral("BGColor")), QVariant(colour));
    EXPECT_EQ(defaults.integerForKey(QStringLiteral("TitleSize")), 2);
}

TEST_F(SettingsFileTest, MissingIsEmptyButDamagedIsAnError)
{
    auto missing = SettingsFile::read(path());
    ASSERT_TRUE(missing.ok());
    EXPECT_FALSE(missing.value().has_value());

    // Not an archive, cut short, empty, or an archive of something other than a dictionary.
    const auto list = TypedStreamWriter::archivedDataWithRootObject(QVariantList{qint64(1)});
    ASSERT_TRUE(list.ok());
    for (const QByteArray &bytes :
        {QByteArray("garbage"), QByteArray("\x04\x0bstreamtyped\x81\xe8\x03", 16), QByteArray(), list.value()}) {
        QFile file(path());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(bytes);
        file.close();
        EXPECT_FALSE(SettingsFile::read(path()).ok()) << bytes.toHex().toStdString();
    }
    // An empty dictionary is a valid, if bare, settings file.
    ASSERT_TRUE(SettingsFile::write(path(), {}).ok());
    ASSERT_TRUE(SettingsFile::read(path()).ok());
}

TEST_F(SettingsFileTest, WindowIDsSkipWhatIsNotANumber)
{
    const QVariantMap settings{
        {QStringLiteral("windowIDs"), QVariantList{qint64(4), QStringLiteral("7"), QVariant(), 9}}};
    EXPECT_EQ(SettingsFile::windowIDs(settings), (QList<qint64>{4, 9}));
}

} // namespace
