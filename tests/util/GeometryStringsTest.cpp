#include "common/QtPrinters.h"
#include "util/GeometryStrings.h"

#include <gtest/gtest.h>

using namespace GeometryStrings;

TEST(GeometryStringsTest, rangesWriteAsThePlatformAndReadLeniently)
{
    EXPECT_EQ(stringFromRange(TextRange{}), "{0, 0}");
    EXPECT_EQ(stringFromRange(TextRange{12, 3456789012}), "{12, 3456789012}");
    EXPECT_EQ(rangeFromString("{12, 3456789012}"), (TextRange{12, 3456789012}));
    EXPECT_EQ(rangeFromString("loc 7 len 2.9"), (TextRange{7, 2}));
    // A range can neither start before the text nor run backwards.
    EXPECT_EQ(rangeFromString("{-4, -1}"), (TextRange{0, 0}));
    EXPECT_EQ(rangeFromString("{5}"), (TextRange{5, 0}));
    EXPECT_EQ(rangeFromString("garbage"), (TextRange{0, 0}));
    EXPECT_EQ(rangeFromString("{1e999, 3}"), (TextRange{0, 3}));
}

TEST(GeometryStringsTest, rectsAndSizesWriteAsThePlatformAndReadBack)
{
    EXPECT_EQ(stringFromRect(QRectF(48, 61, 500, 500)), "{{48, 61}, {500, 500}}");
    EXPECT_EQ(stringFromRect(QRectF(-3, 0.5, 10.25, 0)), "{{-3, 0.5}, {10.25, 0}}");
    const QRectF odd(0.1, 1234.567, 1e6, 33.3333);
    EXPECT_EQ(rectFromString(stringFromRect(odd)), odd);
    EXPECT_EQ(stringFromSize(QSizeF(168.5, 328)), "{168.5, 328}");
    EXPECT_EQ(sizeFromString("{168.5, 328}"), QSizeF(168.5, 328));
}
