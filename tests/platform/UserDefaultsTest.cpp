#include "common/FreshUserTest.h"
#include "platform/settings/UserDefaults.h"

#include <QDir>
#include <QFile>
#include <QPoint>
#include <QSignalSpy>

#include <memory>
#include <unistd.h>

namespace {

class UserDefaultsTest : public FreshUserTest
{
protected:
    QString settingsPath() const { return configHome() + QStringLiteral("/test/defaults.plist"); }
    std::unique_ptr<UserDefaults> open() const { return std::make_unique<UserDefaults>(settingsPath()); }

    QStringList brokenCopies() const
    {
        return QDir(configHome() + QStringLiteral("/test")).entryList({QStringLiteral("defaults.plist.broken-*")});
    }

    void writeSettingsFile(const QByteArray &bytes) const
    {
        QDir().mkpath(configHome() + QStringLiteral("/test"));
        QFile file(settingsPath());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
};

TEST_F(UserDefaultsTest, valuesKeepTheirTypesAcrossARestart)
{
    const QByteArray color = QByteArrayLiteral("\x04\x0bstreamtyped\x81\xe8\x03\x00\x86");
    {
        auto defaults = open();
        defaults->setValue(QStringLiteral("memoID"), qint64(3'000'000'000));
        defaults->setValue(QStringLiteral("ApplicationVersion"), 2.0f);
        defaults->setValue(QStringLiteral("DefaultFontSize"), 13.5);
        defaults->setValue(QStringLiteral("BGColor"), color);
        defaults->setValue(QStringLiteral("windowIDs"), QVariantList{1, qint64(12)});
        defaults->setValue(QStringLiteral("AutoSave"), false);
        defaults->setValue(QStringLiteral("abGroupName"), QStringLiteral("12"));
    } // destroyed: written

    auto defaults = open();
    const QVariant memoID = defaults->objectForKey(QStringLiteral("memoID"));
    EXPECT_EQ(memoID.typeId(), QMetaType::LongLong);
    EXPECT_EQ(memoID.toLongLong(), 3'000'000'000);
    EXPECT_EQ(defaults->integerForKey(QStringLiteral("memoID")), 3'000'000'000);

    const QVariant version = defaults->objectForKey(QStringLiteral("ApplicationVersion"));
    EXPECT_EQ(version.typeId(), QMetaType::Double) << "a whole-number float must not come back as an integer";
    EXPECT_DOUBLE_EQ(defaults->floatForKey(QStringLiteral("ApplicationVersion")), 2.0);
    EXPECT_DOUBLE_EQ(defaults->floatForKey(QStringLiteral("DefaultFontSize")), 13.5);

    EXPECT_EQ(defaults->dataForKey(QStringLiteral("BGColor")), color);

    const QVariantList windowIDs = defaults->arrayForKey(QStringLiteral("windowIDs"));
    ASSERT_EQ(windowIDs.size(), 2);
    EXPECT_EQ(windowIDs[0].typeId(), QMetaType::LongLong);
    EXPECT_EQ(windowIDs[1].toLongLong(), 12);

    EXPECT_EQ(defaults->objectForKey(QStringLiteral("AutoSave")).typeId(), QMetaType::Bool);
    EXPECT_FALSE(defaults->boolForKey(QStringLiteral("AutoSave")));
    EXPECT_EQ(defaults->objectForKey(QStringLiteral("abGroupName")).typeId(), QMetaType::QString)
        << "a string of digits stays a string";
}

TEST_F(UserDefaultsTest, storedValuesWinOverRegisteredOnesUntilRemoved)
{
    auto defaults = open();
    defaults->registerDefaults({{QStringLiteral("AutoSavePeriod"), 5}, {QStringLiteral("QuitApp"), true}});
    EXPECT_EQ(defaults->integerForKey(QStringLiteral("AutoSavePeriod")), 5);
    EXPECT_FALSE(defaults->hasStoredValue(QStringLiteral("AutoSavePeriod")));

    defaults->setValue(QStringLiteral("AutoSavePeriod"), 1);
    defaults.reset();
    defaults = open();
    defaults->registerDefaults({{QStringLiteral("AutoSavePeriod"), 5}});
    EXPECT_EQ(defaults->integerForKey(QStringLiteral("AutoSavePeriod")), 1) << "the stored value survives registration";

    defaults->removeObjectForKey(QStringLiteral("AutoSavePeriod"));
    EXPECT_EQ(defaults->integerForKey(QStringLiteral("AutoSavePeriod")), 5);
    EXPECT_FALSE(defaults->objectForKey(QStringLiteral("neverSet")).isValid());
}

TEST_F(UserDefaultsTest, changeSignalCarriesOldAndNewValues)
{
    auto defaults = open();
    defaults->registerDefaults({{QStringLiteral("AutoSavePeriod"), 5}});
    QSignalSpy spy(defaults.get(), &UserDefaults::valueChanged);

    defaults->setValue(QStringLiteral("AutoSavePeriod"), 1);
    defaults->setValue(QStringLiteral("AutoSavePeriod"), 1); // unchanged: no signal
    defaults->removeObjectForKey(QStringLiteral("AutoSavePeriod"));
    defaults->removeObjectForKey(QStringLiteral("AutoSavePeriod")); // nothing stored: no signal

    ASSERT_EQ(spy.count(), 2);
    EXPECT_EQ(spy[0][0].toString(), QStringLiteral("AutoSavePeriod"));
    EXPECT_EQ(spy[0][1].toLongLong(), 5);
    EXPECT_EQ(spy[0][2].toLongLong(), 1);
    EXPECT_EQ(spy[1][1].toLongLong(), 1);
    EXPECT_EQ(spy[1][2].toLongLong(), 5) << "removal falls back to the registered value";
}

TEST_F(UserDefaultsTest, observersHearOnlyTheirKeyAndOnlyWhileTheirContextLives)
{
    auto defaults = open();
    QList<QPair<QVariant, QVariant>> heard;
    auto context = std::make_unique<QObject>();
    defaults->observe(
        QStringLiteral("AutoSave"), context.get(), [&heard](const QVariant &oldValue, const QVariant &newValue) {
            heard.append({oldValue, newValue});
        });

    defaults->setValue(QStringLiteral("AutoSave"), false);
    defaults->setValue(QStringLiteral("AutoSaveAtBG"), false);
    ASSERT_EQ(heard.size(), 1);
    EXPECT_FALSE(heard[0].first.isValid());
    EXPECT_EQ(heard[0].second, QVariant(false));

    context.reset();
    defaults->setValue(QStringLiteral("AutoSave"), true);
    EXPECT_EQ(heard.size(), 1);
}

TEST_F(UserDefaultsTest, typedGettersConvertLikeThePlatform)
{
    auto defaults = open();
    defaults->setValue(QStringLiteral("text"), QStringLiteral("12abc"));
    defaults->setValue(QStringLiteral("yes"), QStringLiteral("YES"));
    defaults->setValue(QStringLiteral("real"), 2.75);
    defaults->setValue(QStringLiteral("list"), QStringList{QStringLiteral("a")});

    EXPECT_EQ(defaults->integerForKey(QStringLiteral("text")), 12);
    EXPECT_TRUE(defaults->boolForKey(QStringLiteral("yes")));
    EXPECT_TRUE(defaults->boolForKey(QStringLiteral("text")));
    EXPECT_EQ(defaults->integerForKey(QStringLiteral("real")), 2);
    EXPECT_EQ(defaults->stringForKey(QStringLiteral("real")), QStringLiteral("2.75"));
    // Asking for the wrong kind answers an empty value, never another kind.
    EXPECT_TRUE(defaults->dataForKey(QStringLiteral("text")).isEmpty());
    EXPECT_TRUE(defaults->arrayForKey(QStringLiteral("text")).isEmpty());
    EXPECT_TRUE(defaults->stringForKey(QStringLiteral("list")).isEmpty());
    EXPECT_EQ(defaults->arrayForKey(QStringLiteral("list")), QVariantList{QStringLiteral("a")});
}

TEST_F(UserDefaultsTest, refusesValuesThatHaveNoPropertyListForm)
{
    auto defaults = open();
    EXPECT_FALSE(defaults->setValue(QStringLiteral("point"), QPoint(1, 2)));
    EXPECT_FALSE(defaults->setValue(QStringLiteral("list"), QVariantList{1, QVariant::fromValue(QPoint(1, 2))}));
    EXPECT_FALSE(defaults->objectForKey(QStringLiteral("point")).isValid());
    EXPECT_FALSE(defaults->objectForKey(QStringLiteral("list")).isValid());
}

struct BrokenFile
{
    const char *name;
    QByteArray bytes;
};

void PrintTo(const BrokenFile &file, std::ostream *out)
{
    *out << file.name;
}

class UserDefaultsBrokenFileTest : public UserDefaultsTest, public ::testing::WithParamInterface<BrokenFile>
{ };

TEST_P(UserDefaultsBrokenFileTest, isKeptAsideAndNeverStopsStartUp)
{
    writeSettingsFile(GetParam().bytes);

    auto defaults = open();
    defaults->registerDefaults({{QStringLiteral("AutoSave"), true}});
    EXPECT_TRUE(defaults->boolForKey(QStringLiteral("AutoSave"))) << "registered values apply";

    const QStringList aside = brokenCopies();
    ASSERT_EQ(aside.size(), 1);
    QFile kept(configHome() + QStringLiteral("/test/") + aside.first());
    ASSERT_TRUE(kept.open(QIODevice::ReadOnly));
    EXPECT_EQ(kept.readAll(), GetParam().bytes) << "the broken file is kept byte for byte";

    defaults->setValue(QStringLiteral("AutoSave"), false);
    ASSERT_TRUE(defaults->synchronize().ok());
    defaults = open();
    EXPECT_FALSE(defaults->boolForKey(QStringLiteral("AutoSave")));
    EXPECT_EQ(brokenCopies().size(), 1);
}

const QByteArray kValidFile = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>AutoSave</key>
	<false/>
	<key>memoID</key>
	<integer>41</integer>
</dict>
</plist>
)";

INSTANTIATE_TEST_SUITE_P(robustness, UserDefaultsBrokenFileTest,
    ::testing::Values(BrokenFile{"garbage", QByteArrayLiteral("\x00\xff not a property list \x01")},
        BrokenFile{"empty", QByteArray()}, BrokenFile{"truncated", kValidFile.left(kValidFile.size() / 2)},
        BrokenFile{"truncatedBinary", QByteArrayLiteral("bplist00\xd1\x01\x02")},
        BrokenFile{"notADictionary", "<plist version=\"1.0\"><array><integer>1</integer></array></plist>"}),
    [](const ::testing::TestParamInfo<BrokenFile> &info) { return std::string(info.param.name); });

TEST_F(UserDefaultsTest, aFolderInPlaceOfTheFileIsMovedAsideWithItsContents)
{
    QDir().mkpath(settingsPath());
    QFile inner(settingsPath() + QStringLiteral("/keep.txt"));
    ASSERT_TRUE(inner.open(QIODevice::WriteOnly));
    inner.write("precious");
    inner.close();

    auto defaults = open();
    defaults->setValue(QStringLiteral("HomeID"), 3);
    ASSERT_TRUE(defaults->synchronize().ok());

    const QStringList aside = brokenCopies();
    ASSERT_EQ(aside.size(), 1);
    EXPECT_TRUE(QFile::exists(configHome() + QStringLiteral("/test/") + aside.first() + QStringLiteral("/keep.txt")));
    EXPECT_EQ(open()->integerForKey(QStringLiteral("HomeID")), 3);
}

TEST_F(UserDefaultsTest, anUnreadableFileThatCannotBeMovedIsNeverOverwritten)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "permissions do not stop root";
    writeSettingsFile("<plist><dict><key>x</key><integer>1</integer></dict></plist>");
    const QString folder = configHome() + QStringLiteral("/test");
    QFile::setPermissions(settingsPath(), QFileDevice::WriteOwner);
    QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::ExeOwner);

    auto defaults = open();
    defaults->setValue(QStringLiteral("HomeID"), 3);
    EXPECT_FALSE(defaults->synchronize().ok());
    defaults.reset();

    QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    QFile::setPermissions(settingsPath(), QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    QFile file(settingsPath());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), QByteArray("<plist><dict><key>x</key><integer>1</integer></dict></plist>"));
}

TEST_F(UserDefaultsTest, theStandardDefaultsFollowTheXdgConfigFolder)
{
    EXPECT_EQ(UserDefaults::standardFilePath(), configHome() + QStringLiteral("/jotwell3/defaults.plist"));
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("HomeID"), 9);
    UserDefaults::resetStandardUserDefaults();
    EXPECT_TRUE(QFile::exists(UserDefaults::standardFilePath()));
    EXPECT_EQ(UserDefaults::standardUserDefaults().integerForKey(QStringLiteral("HomeID")), 9);
}

} // namespace
