#include "platform/base/Localization.h"

#include <gtest/gtest.h>

namespace {

class LocalizationTest : public ::testing::Test
{
protected:
    // Installing is idempotent; every test installs, as the application does once.
    void SetUp() override { Localization::install(); }
};

TEST_F(LocalizationTest, keysThatAreNotTextsHaveAnEnglishTranslation)
{
    EXPECT_EQ(localizedString(QStringLiteral("PenSymbol")), QStringLiteral("\u270E"));
    EXPECT_EQ(localizedString(QStringLiteral("ClippingMemoParent title")), QStringLiteral("Clippings"));
    EXPECT_EQ(localizedString(QStringLiteral("Kuten Character"), "StringUtility"), QStringLiteral("\u3002"));
    EXPECT_EQ(localizedString(QStringLiteral("Space Character"), "StringUtility"), QStringLiteral("\u3000"));
}

TEST_F(LocalizationTest, aKeyWithoutTranslationIsItsOwnText)
{
    EXPECT_EQ(localizedString(QStringLiteral("Page is locked")), QStringLiteral("Page is locked"));
    // Tables are separate: a key of one table is not found in another.
    EXPECT_EQ(localizedString(QStringLiteral("Kuten Character")), QStringLiteral("Kuten Character"));
    EXPECT_EQ(localizedString(QStringLiteral("PenSymbol"), "StringUtility"), QStringLiteral("PenSymbol"));
}

} // namespace
