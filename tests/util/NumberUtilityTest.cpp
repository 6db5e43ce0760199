#include "common/QtPrinters.h"
#include "platform/base/Localization.h"
#include "util/NumberUtility.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace NumberUtility;

namespace {

class NumberUtilityTest : public ::testing::Test
{
protected:
    void SetUp() override { Localization::install(); }
};

TEST_F(NumberUtilityTest, calculatorEvaluatesStatementsAndSurvivesBrokenOnes)
{
    const std::initializer_list<std::pair<const char *, double>> cases{{"(1+2)*3", 9}, {"1+2*3-8/4", 5}, {"10/4", 2.5},
        {"1,000 + 1 =", 1001}, {"2×3", 6}, {"[1+{2*(3+1)}]*2", 18}, {"(1+1)*(1+1)", 4}, {"-5+3", -2}, {"(1-4)+1", -2},
        // A run of operators is a plus; broken brackets make the statement worth nothing.
        {"3*-2", 5}, {"5--2", 7}, {"2*(3", 0}, {"2*3)", 0}, {")1(", 0}, {"5+", 5}, {"()+2", 2}, {"abc", 0}, {"", 0}};
    for (const auto &[statement, expected] : cases)
        EXPECT_DOUBLE_EQ(numberWithCalcurationStatement(QString::fromUtf8(statement)), expected) << statement;
    EXPECT_TRUE(std::isinf(numberWithCalcurationStatement("1/0")));
    EXPECT_TRUE(std::isnan(numberWithCalcurationStatement("0/0")));
}

TEST_F(NumberUtilityTest, bracketExpansionResolvesInnermostGroups)
{
    const QString open = "(";
    const QString close = ")";
    EXPECT_EQ(expandBracketOfStatement("((1+2)*2)+1", open, close), "6.000000+1");
    EXPECT_EQ(expandBracketOfStatement("(1", open, close), "0");
    EXPECT_EQ(expandBracketOfStatement("(1+2)", QString(), close), "(1+2)");
    // Brackets that the values themselves are made of must not loop forever.
    EXPECT_EQ(expandBracketOfStatement("0.", "0", "."), "0");
}

TEST_F(NumberUtilityTest, durationsAreCutNotRoundedAndKeepStrictThresholds)
{
    const std::initializer_list<std::pair<double, const char *>> brief{{5400, "1.5 Hours"}, {45000, "12 Hours"},
        {3600, "60 Minutes"}, {119, "1.9 Minutes"}, {60, "60 Seconds"}, {7.4, "7 Seconds"}, {0.25, "0.2 Seconds"},
        {-1, ""}};
    for (const auto &[seconds, expected] : brief)
        EXPECT_EQ(timeStringFromSecond(seconds), QString::fromLatin1(expected)) << seconds;
    const std::initializer_list<std::pair<double, const char *>> detailed{
        {90061, "1 Days01 Hours01 Minutes01.00 Seconds"}, {3725.5, "01 Hours02 Minutes05.50 Seconds"},
        {3600, "60 Minutes00.00 Seconds"}, {60, "60.00 Seconds"}, {9.999, "010.00 Seconds"}, {-3, ""}};
    for (const auto &[seconds, expected] : detailed)
        EXPECT_EQ(detailedTimeStringFromSecond(seconds), QString::fromLatin1(expected)) << seconds;
}

} // namespace
