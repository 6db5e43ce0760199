#include "app/RegisteredDefaults.h"
#include "common/FreshUserTest.h"
#include "platform/typedstream/ArchivedValues.h"
#include "platform/typedstream/TypedStreamDecoder.h"
#include "platform/settings/UserDefaults.h"

namespace {

using RegisteredDefaultsTest = FreshUserTest;

TEST_F(RegisteredDefaultsTest, aFreshUserReadsTheRegisteredValuesWithTheirTypes)
{
    UserDefaults &defaults = UserDefaults::standardUserDefaults();
    RegisteredDefaults::registerWith(defaults);

    EXPECT_TRUE(defaults.boolForKey(QStringLiteral("QuitApp")));
    EXPECT_FALSE(defaults.boolForKey(QStringLiteral("UseTopLineAsTitle")));
    EXPECT_EQ(defaults.integerForKey(QStringLiteral("AutoSavePeriod")), 5);
    EXPECT_EQ(defaults.objectForKey(QStringLiteral("TitleSize")).typeId(), QMetaType::LongLong);
    EXPECT_EQ(defaults.objectForKey(QStringLiteral("DefaultFontSize")).typeId(), QMetaType::Double);
    EXPECT_FALSE(defaults.stringForKey(QStringLiteral("DefaultFont")).isEmpty());
    EXPECT_EQ(defaults.stringForKey(QStringLiteral("TabBarStyle")), QStringLiteral("Aqua"));

    // The background colour is an archived white colour.
    const auto color = TypedStreamDecoder::unarchiveObjectWithData(defaults.dataForKey(QStringLiteral("BGColor")));
    ASSERT_TRUE(color.ok()) << color.errorMessage().toStdString();
    EXPECT_EQ(color.value().value<ArchivedColor>().toColor(), QColor(Qt::white));

    // Nothing registered is written to the user's file.
    EXPECT_FALSE(defaults.hasStoredValue(QStringLiteral("QuitApp")));
}

TEST_F(RegisteredDefaultsTest, theUsersChoiceFromAnEarlierRunWins)
{
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("AutoSave"), false);
    UserDefaults::resetStandardUserDefaults();

    UserDefaults &defaults = UserDefaults::standardUserDefaults();
    RegisteredDefaults::registerWith(defaults);
    EXPECT_FALSE(defaults.boolForKey(QStringLiteral("AutoSave")));
    EXPECT_TRUE(defaults.boolForKey(QStringLiteral("AutoSaveAtBG")));
}

} // namespace
