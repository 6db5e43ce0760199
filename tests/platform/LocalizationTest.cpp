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
    EXPECT_EQ(localizedString("PenSymbol"), "\u270E");
    EXPECT_EQ(localizedString("ClippingMemoParent title"), "Clippings");
    EXPECT_EQ(localizedString("Kuten Character", "StringUtility"), "\u3002");

    // A key without translation is its own text; a key of one table is not found in another.
    EXPECT_EQ(localizedString("Page is locked"), "Page is locked");
    EXPECT_EQ(localizedString("Kuten Character"), "Kuten Character");
    EXPECT_EQ(localizedString("PenSymbol", "StringUtility"), "PenSymbol");
}

} // namespace
