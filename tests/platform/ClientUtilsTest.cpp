// Conversions between configuration texts and numbers or flags.

#include <string>

#include <gtest/gtest.h>

#include "ClientUtils.h"

TEST(ClientUtilsStringToUnsignedShort, ReadsAWholeDecimalNumberUpTo65535)
{
    unsigned short value = 1;
    EXPECT_TRUE(ClientUtils::stringToUnsignedShort("0", value));
    EXPECT_EQ(0, value);
    EXPECT_TRUE(ClientUtils::stringToUnsignedShort("24", value));
    EXPECT_EQ(24, value);
    EXPECT_TRUE(ClientUtils::stringToUnsignedShort("65535", value));
    EXPECT_EQ(65535, value);
    EXPECT_TRUE(ClientUtils::stringToUnsignedShort("0000007", value)) << "leading zeros are fine";
    EXPECT_EQ(7, value);
}

TEST(ClientUtilsStringToUnsignedShort, AnythingElseGivesZeroAndFalse)
{
    for (const std::string text : {"", "65536", "99999999999999999999", "-1", "+1", " 1", "1 ", "12a", "a12", "1.5",
                                   "0x10"}) {
        unsigned short value = 42;
        EXPECT_FALSE(ClientUtils::stringToUnsignedShort(text, value)) << text;
        EXPECT_EQ(0, value) << text;
    }
}

TEST(ClientUtilsStou, ReadsTheLeadingDecimalNumber)
{
    EXPECT_EQ(42u, ClientUtils::stou("42"));
    EXPECT_EQ(42u, ClientUtils::stou("42abc"));
    EXPECT_EQ(7u, ClientUtils::stou("  7"));
    EXPECT_EQ(4294967295u, ClientUtils::stou("4294967295"));
    EXPECT_EQ(12u, ClientUtils::stou("+12"));
}

TEST(ClientUtilsStou, NumbersOutOfRangeSaturate)
{
    EXPECT_EQ(4294967295u, ClientUtils::stou("4294967296"));
    EXPECT_EQ(4294967295u, ClientUtils::stou("99999999999"));
    EXPECT_EQ(4294967295u, ClientUtils::stou("99999999999999999999999"));
    EXPECT_EQ(4294967295u, ClientUtils::stou("-1"));
    EXPECT_EQ(4294967295u, ClientUtils::stou("-5"));
}

TEST(ClientUtilsStou, TextWithoutANumberGivesZero)
{
    EXPECT_EQ(0u, ClientUtils::stou(""));
    EXPECT_EQ(0u, ClientUtils::stou("abc"));
    EXPECT_EQ(0u, ClientUtils::stou("true"));
}

TEST(ClientUtilsItos, WritesDecimal)
{
    EXPECT_EQ("0", ClientUtils::itos(0));
    EXPECT_EQ("6000", ClientUtils::itos(6000));
    EXPECT_EQ("-5", ClientUtils::itos(-5));
}

TEST(ClientUtilsBtos, WritesTrueOrFalse)
{
    EXPECT_EQ("true", ClientUtils::btos(true));
    EXPECT_EQ("false", ClientUtils::btos(false));
}
