// The settings file: which preferences travel with the data folder, in which
// archived types, and how a damaged file is told apart from a missing one.
#include "common/FreshUserTest.h"
#include "model/SettingsFile.h"
#include "platform/typedstream/TypedStreamReader.h"
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

TEST_F(SettingsFileTest, PreferencesTravelBothWaysAndOnlyListedOnes)
{
    UserDefaults &defaults = UserDefaults::standardUserDefaults();
    defaults.setValue(QStringLiteral("AutoSave"), true);
    defaults.setValue(QStringLiteral("AutoSavePeriod"), 5);
    defaults.setValue(QStringLiteral("DefaultFontSize"), 13.5);
    defaults.setValue(QStringLiteral("BGColor"), QByteArray("\x04\x0bstreamtyped", 13));
    defaults.setValue(QStringLiteral("LastSynchronizedDate"), QDateTime(QDate(2024, 3, 1), QTime(9, 30), Qt::UTC));
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

    // Another account: the preferences arrive with the folder, with their types.
    for (const QString &key : SettingsFile::preferenceKeys())
        defaults.removeObjectForKey(key);
    UserDefaults &other = defaults;
    other.setValue(QStringLiteral("TitleSize"), 2); // not in the file: left alone
    SettingsFile::copyPreferencesTo(*read.value(), other);
    EXPECT_EQ(other.objectForKey(QStringLiteral("AutoSave")).typeId(), QMetaType::Bool);
    EXPECT_TRUE(other.boolForKey(QStringLiteral("AutoSave")));
    EXPECT_EQ(other.integerForKey(QStringLiteral("AutoSavePeriod")), 5);
    EXPECT_DOUBLE_EQ(other.floatForKey(QStringLiteral("DefaultFontSize")), 13.5);
    EXPECT_EQ(other.objectForKey(QStringLiteral("BGColor")).toByteArray(), QByteArray("\x04\x0bstreamtyped", 13));
    EXPECT_EQ(other.objectForKey(QStringLiteral("LastSynchronizedDate")).toDateTime().toSecsSinceEpoch(),
              QDateTime(QDate(2024, 3, 1), QTime(9, 30), Qt::UTC).toSecsSinceEpoch());
    EXPECT_EQ(other.integerForKey(QStringLiteral("TitleSize")), 2);
}

TEST_F(SettingsFileTest, NumbersAreArchivedWithTheTypesOtherReadersExpect)
{
    const QVariantMap settings{{QStringLiteral("AutoSave"), true},
                               {QStringLiteral("AutoSavePeriod"), qint64(5)},
                               {QStringLiteral("ApplicationVersion"), 2.0}};
    ASSERT_TRUE(SettingsFile::write(path(), settings).ok());
    QFile file(path());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray bytes = file.readAll();
    // NSNumber's type string precedes each value: 'c' for flags, 'q' for integers, 'd' for reals.
    EXPECT_TRUE(bytes.contains(QByteArray("\x01" "c", 2)));
    EXPECT_TRUE(bytes.contains(QByteArray("\x01" "q", 2)));
    EXPECT_TRUE(bytes.contains(QByteArray("\x01" "d", 2)));
    EXPECT_TRUE(TypedStreamReader::read(bytes).ok());
}

TEST_F(SettingsFileTest, MissingIsEmptyButDamagedIsAnError)
{
    auto missing = SettingsFile::read(path());
    ASSERT_TRUE(missing.ok());
    EXPECT_FALSE(missing.value().has_value());

    for (const QByteArray &bytes : {QByteArray("garbage"), QByteArray("\x04\x0bstreamtyped\x81\xe8\x03", 16),
                                    QByteArray()}) {
        QFile file(path());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(bytes);
        file.close();
        EXPECT_FALSE(SettingsFile::read(path()).ok()) << bytes.toHex().toStdString();
    }

    // An archive of something other than a dictionary is not a settings file either.
    auto list = TypedStreamWriter::archivedDataWithRootObject(QVariantList{qint64(1)});
    ASSERT_TRUE(list.ok());
    QFile file(path());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(list.value());
    file.close();
    EXPECT_FALSE(SettingsFile::read(path()).ok());
    // An empty dictionary is a valid, if bare, settings file.
    ASSERT_TRUE(SettingsFile::write(path(), {}).ok());
    ASSERT_TRUE(SettingsFile::read(path()).ok());
}

TEST_F(SettingsFileTest, WindowIDsSkipWhatIsNotANumber)
{
    const QVariantMap settings{{QStringLiteral("windowIDs"),
                                QVariantList{qint64(4), QStringLiteral("7"), QVariant(), 9}}};
    EXPECT_EQ(SettingsFile::windowIDs(settings), (QList<qint64>{4, 9}));
    EXPECT_TRUE(SettingsFile::windowIDs({}).isEmpty());
}

} // namespace
