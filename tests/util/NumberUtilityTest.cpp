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

struct StatementCase
{
    const char *name;
    const char *statement; // UTF-8
    double expected;
};

class CalculatorTest : public NumberUtilityTest, public ::testing::WithParamInterface<StatementCase>
{ };

TEST_P(CalculatorTest, evaluates)
{
    EXPECT_DOUBLE_EQ(numberWithCalcurationStatement(QString::fromUtf8(GetParam().statement)), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(NumberUtility, CalculatorTest,
    ::testing::Values(StatementCase{"bracketsFirst", "(1+2)*3", 9}, StatementCase{"precedence", "1+2*3-8/4", 5},
        StatementCase{"division", "10/4", 2.5}, StatementCase{"commasSpacesAndEqualsIgnored", "1,000 + 1 =", 1001},
        StatementCase{"multiplicationSign",
            "2\xC3\x97"
            "3",
            6},
        StatementCase{"nestedBracketKinds", "[1+{2*(3+1)}]*2", 18},
        StatementCase{"identicalGroupsTogether", "(1+1)*(1+1)", 4}, StatementCase{"leadingMinus", "-5+3", -2},
        StatementCase{"negativeGroup", "(1-4)+1", -2}, StatementCase{"robustness: operatorRunIsPlus", "3*-2", 5},
        StatementCase{"robustness: doubleMinusIsPlus", "5--2", 7},
        StatementCase{"robustness: unclosedBracket", "2*(3", 0},
        StatementCase{"robustness: unopenedBracket", "2*3)", 0},
        StatementCase{"robustness: reversedBrackets", ")1(", 0}, StatementCase{"robustness: trailingOperator", "5+", 5},
        StatementCase{"robustness: emptyGroup", "()+2", 2}, StatementCase{"robustness: words", "abc", 0},
        StatementCase{"robustness: empty", "", 0}),
    [](const ::testing::TestParamInfo<StatementCase> &info) {
        std::string name = info.param.name;
        name.erase(0, name.find(' ') + 1);
        return name;
    });

TEST_F(NumberUtilityTest, divisionByZeroFollowsFloatingPoint)
{
    EXPECT_TRUE(std::isinf(numberWithCalcurationStatement("1/0")));
    EXPECT_TRUE(std::isnan(numberWithCalcurationStatement("0/0")));
}

TEST_F(NumberUtilityTest, bracketExpansionResolvesInnermostGroups)
{
    const QString open = "(";
    const QString close = ")";
    EXPECT_EQ(expandBracketOfStatement("((1+2)*2)+1", open, close), "6.000000+1");
    EXPECT_EQ(expandBracketOfStatement("1+2", open, close), "1+2");
    EXPECT_EQ(expandBracketOfStatement("(1", open, close), "0");
    EXPECT_EQ(expandBracketOfStatement("(1+2)", QString(), close), "(1+2)");
    // Brackets that the values themselves are made of must not loop forever.
    EXPECT_EQ(expandBracketOfStatement("0.", "0", "."), "0");
}

TEST_F(NumberUtilityTest, durationsInOneUnitAreCutNotRounded)
{
    EXPECT_EQ(timeStringFromSecond(5400), "1.5 Hours");
    EXPECT_EQ(timeStringFromSecond(45000), "12 Hours");
    EXPECT_EQ(timeStringFromSecond(1e6), "277 Hours");
    EXPECT_EQ(timeStringFromSecond(3600), "60 Minutes");
    EXPECT_EQ(timeStringFromSecond(90), "1.5 Minutes");
    EXPECT_EQ(timeStringFromSecond(119), "1.9 Minutes");
    EXPECT_EQ(timeStringFromSecond(60), "60 Seconds");
    EXPECT_EQ(timeStringFromSecond(7.4), "7 Seconds");
    EXPECT_EQ(timeStringFromSecond(0.25), "0.2 Seconds");
    EXPECT_EQ(timeStringFromSecond(0), "0 Seconds");
    EXPECT_EQ(timeStringFromSecond(-1), QString());
}

TEST_F(NumberUtilityTest, detailedDurationsPadAndKeepStrictThresholds)
{
    EXPECT_EQ(detailedTimeStringFromSecond(90061), "1 Days01 Hours01 Minutes01.00 Seconds");
    EXPECT_EQ(detailedTimeStringFromSecond(2 * 86400 + 5), "2 Days00 Hours00 Minutes05.00 Seconds");
    EXPECT_EQ(detailedTimeStringFromSecond(3725.5), "01 Hours02 Minutes05.50 Seconds");
    EXPECT_EQ(detailedTimeStringFromSecond(12 * 3600 + 30), "12 Hours00 Minutes30.00 Seconds");
    EXPECT_EQ(detailedTimeStringFromSecond(3600), "60 Minutes00.00 Seconds");
    EXPECT_EQ(detailedTimeStringFromSecond(60), "60.00 Seconds");
    EXPECT_EQ(detailedTimeStringFromSecond(9.999), "010.00 Seconds");
    EXPECT_EQ(detailedTimeStringFromSecond(-3), QString());
}

TEST_F(NumberUtilityTest, numberKeysMatchExactly)
{
    EXPECT_TRUE(hasAnyKey(2.5, {1, 2.5}));
    EXPECT_FALSE(hasAnyKey(2.5, {2.4999, 3}));
    EXPECT_FALSE(hasAnyKey(1, {}));
}

} // namespace
