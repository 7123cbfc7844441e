// String serialisation of framework messages: "<length>:<bytes>", optionally tagged "s".

#include <string>

#include <gtest/gtest.h>

#include "Serializer.h"

namespace {
std::string serialized(const std::string& value, bool withTypeTag)
{
    std::string out;
    Serializer::serialize(out, value, withTypeTag);
    return out;
}
}  // namespace

TEST(Serializer, WritesTheLengthAColonAndTheBytes)
{
    EXPECT_EQ("5:hello", serialized("hello", false));
    EXPECT_EQ("0:", serialized("", false));
    EXPECT_EQ("11:a:b,c 1:2:3", serialized("a:b,c 1:2:3", false));
}

TEST(Serializer, TheTypeTagPrefixesAnS)
{
    EXPECT_EQ("s5:hello", serialized("hello", true));
    EXPECT_EQ("s0:", serialized("", true));
}

TEST(Serializer, AppendsToWhatIsThere)
{
    std::string out = "handleinitialdigittimeoutevent:";
    Serializer::serialize(out, "0891", false);
    EXPECT_EQ("handleinitialdigittimeoutevent:4:0891", out);
}

TEST(Serializer, TheLengthCountsBytes)
{
    EXPECT_EQ("2:\xc3\xa4", serialized("\xc3\xa4", false));
}

TEST(Serializer, RoundTripKeepsAnyBytes)
{
    std::string awkward = "x";
    awkward += '\0';
    awkward += "\n\xff:99:";
    for (const bool tagged : {false, true}) {
        const std::string text = serialized(awkward, tagged) + serialized("", tagged) + serialized("next", tagged);
        std::size_t position = 0;
        std::string a, b, c;
        ASSERT_TRUE(Serializer::deserialize(text, position, a, tagged));
        ASSERT_TRUE(Serializer::deserialize(text, position, b, tagged));
        ASSERT_TRUE(Serializer::deserialize(text, position, c, tagged));
        EXPECT_EQ(awkward, a);
        EXPECT_EQ("", b);
        EXPECT_EQ("next", c);
        EXPECT_EQ(text.size(), position);
    }
}

TEST(Serializer, ReadsFromTheGivenPosition)
{
    const std::string text = "prefix:3:abc";
    std::size_t position = 7;
    std::string value;
    ASSERT_TRUE(Serializer::deserialize(text, position, value, false));
    EXPECT_EQ("abc", value);
    EXPECT_EQ(text.size(), position);
}

TEST(Serializer, MalformedFormsAreRefusedAndChangeNothing)
{
    struct Case {
        std::string text;
        bool tagged;
    };
    const Case cases[] = {
        {"", false},           {"5", false},          {"5hello", false},     {":hello", false},
        {"6:hello", false},    {"-1:x", false},       {"x5:hello", false},   {"5:hello", true},
        {"s", true},           {"s:x", true},         {"S5:hello", true},    {"1234567890:x", false},
        {"99999999999999999999:x", false},
    };
    for (const auto& c : cases) {
        std::size_t position = 0;
        std::string value = "untouched";
        EXPECT_FALSE(Serializer::deserialize(c.text, position, value, c.tagged)) << c.text;
        EXPECT_EQ(0u, position) << c.text;
        EXPECT_EQ("untouched", value) << c.text;
    }
}

TEST(Serializer, APositionAtOrPastTheEndReadsNothing)
{
    std::string value;
    std::size_t position = 7;
    EXPECT_FALSE(Serializer::deserialize("5:hello", position, value, false));
    position = 100;
    EXPECT_FALSE(Serializer::deserialize("5:hello", position, value, false));
    EXPECT_EQ(100u, position);
}

TEST(Serializer, LeadingZerosInTheLengthAreRead)
{
    std::size_t position = 0;
    std::string value;
    ASSERT_TRUE(Serializer::deserialize("03:abc", position, value, false));
    EXPECT_EQ("abc", value);
}
