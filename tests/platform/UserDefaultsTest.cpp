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
    QString settingsPath() const { return configHome() + "/test/defaults.plist"; }
    std::unique_ptr<UserDefaults> open() const { return std::make_unique<UserDefaults>(settingsPath()); }

    QStringList brokenCopies() const { return QDir(configHome() + "/test").entryList({"defaults.plist.broken-*"}); }

    void writeSettingsFile(const QByteArray &bytes) const
    {
        QDir().mkpath(configHome() + "/test");
        QFile file(settingsPath());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
};

TEST_F(UserDefaultsTest, valuesKeepTheirTypesAcrossARestart)
{
    // As they read back: a whole-number float stays a real, a string of digits a string.
    const QVariantMap values{{"memoID", qint64(3'000'000'000)}, {"ApplicationVersion", 2.0}, {"DefaultFontSize", 13.5},
        {"BGColor", QByteArrayLiteral("\x04\x0bstreamtyped\x81\xe8\x03\x00\x86")},
        {"windowIDs", QVariantList{qint64(1), qint64(12)}}, {"AutoSave", false}, {"abGroupName", "12"}};
    {
        auto defaults = open();
        for (auto it = values.cbegin(); it != values.cend(); ++it)
            defaults->setValue(it.key(), it.key() == "ApplicationVersion" ? QVariant(2.0f) : it.value());
        defaults->setValue("windowIDs", QVariantList{1, qint64(12)});
    } // destroyed: written

    auto defaults = open();
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        const QVariant back = defaults->objectForKey(it.key());
        EXPECT_EQ(back.typeId(), it.value().typeId()) << it.key().toStdString();
        EXPECT_EQ(back, it.value()) << it.key().toStdString();
    }
    EXPECT_EQ(defaults->arrayForKey("windowIDs").value(0).typeId(), QMetaType::LongLong);
    EXPECT_EQ(defaults->integerForKey("memoID"), 3'000'000'000);
    EXPECT_DOUBLE_EQ(defaults->floatForKey("ApplicationVersion"), 2.0);
}

TEST_F(UserDefaultsTest, storedValuesWinOverRegisteredOnesUntilRemoved)
{
    auto defaults = open();
    defaults->registerDefaults({{"AutoSavePeriod", 5}, {"QuitApp", true}});
    EXPECT_EQ(defaults->integerForKey("AutoSavePeriod"), 5);
    EXPECT_FALSE(defaults->hasStoredValue("AutoSavePeriod"));

    defaults->setValue("AutoSavePeriod", 1);
    defaults.reset();
    defaults = open();
    defaults->registerDefaults({{"AutoSavePeriod", 5}});
    EXPECT_EQ(defaults->integerForKey("AutoSavePeriod"), 1) << "the stored value survives registration";

    defaults->removeObjectForKey("AutoSavePeriod");
    EXPECT_EQ(defaults->integerForKey("AutoSavePeriod"), 5);
    EXPECT_FALSE(defaults->objectForKey("neverSet").isValid());
}

TEST_F(UserDefaultsTest, observersHearOnlyTheirKeyAndOnlyWhileTheirContextLives)
{
    auto defaults = open();
    QList<QPair<QVariant, QVariant>> heard;
    auto context = std::make_unique<QObject>();
    defaults->observe("AutoSave", context.get(), [&heard](const QVariant &oldValue, const QVariant &newValue) {
        heard.append({oldValue, newValue});
    });

    defaults->setValue("AutoSave", false);
    defaults->setValue("AutoSaveAtBG", false);
    ASSERT_EQ(heard.size(), 1);
    EXPECT_FALSE(heard[0].first.isValid());
    EXPECT_EQ(heard[0].second, QVariant(false));

    context.reset();
    defaults->setValue("AutoSave", true);
    EXPECT_EQ(heard.size(), 1);

    // The signal carries old and new values, registered ones included, and only on a change.
    defaults->registerDefaults({{"AutoSavePeriod", 5}});
    QSignalSpy spy(defaults.get(), &UserDefaults::valueChanged);
    defaults->setValue("AutoSavePeriod", 1);
    defaults->setValue("AutoSavePeriod", 1);
    defaults->removeObjectForKey("AutoSavePeriod");
    defaults->removeObjectForKey("AutoSavePeriod");
    ASSERT_EQ(spy.count(), 2);
    EXPECT_EQ(spy[0], (QVariantList{"AutoSavePeriod", qint64(5), qint64(1)}));
    EXPECT_EQ(spy[1], (QVariantList{"AutoSavePeriod", qint64(1), qint64(5)}));
}

TEST_F(UserDefaultsTest, typedGettersConvertLikeThePlatform)
{
    auto defaults = open();
    defaults->setValue("text", "12abc");
    defaults->setValue("yes", "YES");
    defaults->setValue("real", 2.75);
    defaults->setValue("list", QStringList{"a"});

    EXPECT_EQ(defaults->integerForKey("text"), 12);
    EXPECT_TRUE(defaults->boolForKey("yes"));
    EXPECT_EQ(defaults->integerForKey("real"), 2);
    EXPECT_EQ(defaults->stringForKey("real"), "2.75");
    // Asking for the wrong kind answers an empty value, never another kind.
    EXPECT_TRUE(defaults->dataForKey("text").isEmpty());
    EXPECT_TRUE(defaults->stringForKey("list").isEmpty());
    EXPECT_EQ(defaults->arrayForKey("list"), QVariantList{"a"});
}

TEST_F(UserDefaultsTest, refusesValuesThatHaveNoPropertyListForm)
{
    auto defaults = open();
    EXPECT_FALSE(defaults->setValue("point", QPoint(1, 2)));
    EXPECT_FALSE(defaults->setValue("list", QVariantList{1, QVariant::fromValue(QPoint(1, 2))}));
    EXPECT_FALSE(defaults->objectForKey("point").isValid());
}

struct BrokenFile
{
    const char *name;
    QByteArray bytes;
};

class UserDefaultsBrokenFileTest : public UserDefaultsTest, public ::testing::WithParamInterface<BrokenFile>
{ };

TEST_P(UserDefaultsBrokenFileTest, isKeptAsideAndNeverStopsStartUp)
{
    writeSettingsFile(GetParam().bytes);

    auto defaults = open();
    defaults->registerDefaults({{"AutoSave", true}});
    EXPECT_TRUE(defaults->boolForKey("AutoSave")) << "registered values apply";

    const QStringList aside = brokenCopies();
    ASSERT_EQ(aside.size(), 1);
    QFile kept(configHome() + "/test/" + aside.first());
    ASSERT_TRUE(kept.open(QIODevice::ReadOnly));
    EXPECT_EQ(kept.readAll(), GetParam().bytes) << "the broken file is kept byte for byte";

    defaults->setValue("AutoSave", false);
    ASSERT_TRUE(defaults->synchronize().ok());
    defaults = open();
    EXPECT_FALSE(defaults->boolForKey("AutoSave"));
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
    QFile inner(settingsPath() + "/keep.txt");
    ASSERT_TRUE(inner.open(QIODevice::WriteOnly));
    inner.write("precious");
    inner.close();

    auto defaults = open();
    defaults->setValue("HomeID", 3);
    ASSERT_TRUE(defaults->synchronize().ok());

    const QStringList aside = brokenCopies();
    ASSERT_EQ(aside.size(), 1);
    EXPECT_TRUE(QFile::exists(configHome() + "/test/" + aside.first() + "/keep.txt"));
    EXPECT_EQ(open()->integerForKey("HomeID"), 3);
}

TEST_F(UserDefaultsTest, anUnreadableFileThatCannotBeMovedIsNeverOverwritten)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "permissions do not stop root";
    writeSettingsFile("<plist><dict><key>x</key><integer>1</integer></dict></plist>");
    const QString folder = configHome() + "/test";
    QFile::setPermissions(settingsPath(), QFileDevice::WriteOwner);
    QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::ExeOwner);

    auto defaults = open();
    defaults->setValue("HomeID", 3);
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
    EXPECT_EQ(UserDefaults::standardFilePath(), configHome() + "/jotwell3/defaults.plist");
    UserDefaults::standardUserDefaults().setValue("HomeID", 9);
    UserDefaults::resetStandardUserDefaults();
    EXPECT_TRUE(QFile::exists(UserDefaults::standardFilePath()));
    EXPECT_EQ(UserDefaults::standardUserDefaults().integerForKey("HomeID"), 9);
}

} // namespace
