// JSON texts as the host reads and writes them: faults named at their line and column,
// the nesting limit, UTF-8, numbers too large for the parser, and texts written from
// values that hold bytes which are not UTF-8.

#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "JsonText.h"
#include "Watchdog.h"

namespace {

struct Refusal {
    std::string message;
    int line = 0;
    int column = 0;
};

Refusal refusal(const std::string& text)
{
    try {
        parseJsonText(text);
    } catch (const JsonTextError& error) {
        return {error.what(), error.line(), error.column()};
    }
    ADD_FAILURE() << "accepted: " << text;
    return {};
}

// Objects nested `levels` deep, one member "a" each, the innermost holding "x".
std::string nestedObjects(std::size_t levels)
{
    std::string text;
    for (std::size_t i = 0; i < levels; ++i) text += "{\"a\": ";
    text += "\"x\"";
    text.append(levels, '}');
    return text;
}

}  // namespace

TEST(HostJsonText, SyntaxErrorIsPlacedAtTheStartOfItsToken)
{
    const Refusal refused = refusal("{\n  \"a\" \"b\"\n}");
    EXPECT_EQ(refused.line, 2);
    EXPECT_EQ(refused.column, 7);
    EXPECT_EQ(refused.message, "syntax error while parsing object separator - unexpected string literal; expected ':'")
        << refused.message;
}

TEST(HostJsonText, NestingUpToTheLimitIsRead)
{
    Json value = parseJsonText(nestedObjects(kMaxJsonDepth));
    for (std::size_t level = 1; level < kMaxJsonDepth; ++level) value = Json(value.at("a"));
    EXPECT_EQ(value.at("a"), "x");
}

TEST(HostJsonText, NestingOneLevelTooDeepIsRefusedAtItsBracket)
{
    const Refusal refused = refusal(nestedObjects(kMaxJsonDepth + 1));
    EXPECT_EQ(refused.message, "nesting deeper than 64 levels");
    EXPECT_EQ(refused.line, 1);
    EXPECT_EQ(refused.column, static_cast<int>(6 * kMaxJsonDepth + 1));
}

TEST(HostJsonText, HundredThousandLevelsAreRefusedWithoutRecursion)
{
    std::string text = "[\n";
    text.append(100000, '[');
    text.append(100000, ']');
    text += "]";
    const Refusal refused = refusal(text);
    EXPECT_EQ(refused.message, "nesting deeper than 64 levels");
    EXPECT_EQ(refused.line, 2);
    EXPECT_EQ(refused.column, static_cast<int>(kMaxJsonDepth));
}

TEST(HostJsonText, BracketsInsideStringsDoNotCountAsNesting)
{
    const std::string brackets(1000, '[');
    EXPECT_EQ(parseJsonText("{\"a\": \"" + brackets + "\\\"" + brackets + "\"}").at("a").get<std::string>().size(), 2001u);
}

TEST(HostJsonText, SyntaxErrorBeforeTheLevelTooManyIsTheOneReported)
{
    const Refusal refused = refusal("{\"a\": x, \"b\": " + nestedObjects(100) + "}");
    EXPECT_EQ(refused.column, 7);
    EXPECT_NE(refused.message.find("invalid literal"), std::string::npos) << refused.message;
}

TEST(HostJsonText, InvalidUtf8InAStringIsNamedAtItsByte)
{
    const Refusal refused = refusal("{\"dial-plan-id\": \"DE\xff\"}");
    EXPECT_EQ(refused.message, "invalid UTF-8: byte 0xFF");
    EXPECT_EQ(refused.column, 21);
}

TEST(HostJsonText, MalformedUtf8CharacterIsNamedAtItsFirstByte)
{
    const Refusal refused = refusal("[\"ab\xc3\"]");
    EXPECT_EQ(refused.message, "invalid UTF-8: malformed character at byte 0xC3");
    EXPECT_EQ(refused.column, 5);
}

TEST(HostJsonText, InvalidUtf8InAKeyAndOutsideStringsIsNamedToo)
{
    EXPECT_EQ(refusal("{\"\xed\xa0\x80\": 1}").message, "invalid UTF-8: malformed character at byte 0xED");
    EXPECT_EQ(refusal("[1, \x80]").message, "invalid UTF-8: byte 0x80");
}

TEST(HostJsonText, ValidUtf8OutsideAStringIsASyntaxErrorWithReadableText)
{
    const Refusal refused = refusal("[\xc3\xa9]");
    EXPECT_EQ(refused.column, 2);
    EXPECT_EQ(invalidUtf8Offset(refused.message), std::string::npos) << refused.message;
}

TEST(HostJsonText, LongStringInAnErrorIsQuotedByItsEnd)
{
    const Refusal refused = refusal("[\"" + std::string(100000, 'a') + "\x01\"]");
    EXPECT_LT(refused.message.size(), 200u) << refused.message;
    EXPECT_EQ(refused.column, 100003);
}

TEST(HostJsonText, NumberTooLargeForTheParserNamesItsMember)
{
    const Refusal refused = refusal("{\"hardware\": {\"subPlatformVariant\": 1e400}}");
    EXPECT_EQ(refused.message, "\"subPlatformVariant\": the number 1e400 is out of range");
    EXPECT_EQ(refused.column, 37);
    EXPECT_EQ(refusal("[1, -1e400]").message, "the number -1e400 is out of range");
}

TEST(HostJsonText, Utf8CheckAcceptsEveryWellFormedCharacterAndNothingElse)
{
    EXPECT_EQ(invalidUtf8Offset("a\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\xf4\x8f\xbf\xbf"), std::string::npos);
    EXPECT_EQ(invalidUtf8Offset("ab\xc0\xaf"), 2u);          // overlong "/"
    EXPECT_EQ(invalidUtf8Offset("\xed\xa0\x80"), 0u);         // a surrogate
    EXPECT_EQ(invalidUtf8Offset("x\xf4\x90\x80\x80"), 1u);   // above U+10FFFF
    EXPECT_EQ(invalidUtf8Offset("xy\xe2\x82"), 2u);           // cut short at the end
}

TEST(HostJsonText, WrittenTextReplacesBytesThatAreNotUtf8)
{
    const std::string text = jsonText(Json{{"error", "bad \xff byte"}});
    EXPECT_EQ(text, "{\"error\":\"bad \xef\xbf\xbd byte\"}");
    EXPECT_EQ(parseJsonText(text).at("error"), "bad \xef\xbf\xbd byte");
}

TEST(HostJsonText, LocatingAMemberSkipsDeepSiblingsWithoutRecursion)
{
    std::string deep(200000, '[');
    deep.append(200000, ']');
    const std::string text = "{\"a\": " + deep + ", \"b\": 1}";
    EXPECT_EQ(locateJsonPath(text, {std::string("b")}), 6 + deep.size() + 2);
}

TEST(HostJsonText, LongMemberNameIsCutShortInAMessage)
{
    const std::string name(100000, 'n');
    EXPECT_EQ(refusal("{\"" + name + "\": 1e999}").message, "\"" + name.substr(0, 64) + "...\": the number 1e999 is out of range");
}

TEST(HostJsonText, RepeatedMemberKeepsItsFirstPlaceAndTakesTheLastValue)
{
    const Json value = parseJsonText(R"({"a": 1, "b": 2, "a": 3})");
    ASSERT_EQ(value.size(), 2u);
    EXPECT_EQ(value.begin().key(), "a");
    EXPECT_EQ(value.at("a"), 3);
    EXPECT_EQ(value.at("b"), 2);
}

TEST(HostJsonText, ObjectOfThreeHundredThousandMembersIsReadInLinearTime)
{
    std::string text = "{";
    for (int i = 0; i < 300000; ++i) text += (i == 0 ? "\"k" : ", \"k") + std::to_string(i) + "\": 1";
    text += "}";
    // Searching the members one by one for each new name took minutes for this.
    const Watchdog watchdog(std::chrono::seconds(30), "reading an object of 300,000 members");
    const Json value = parseJsonText(text);
    EXPECT_EQ(value.size(), 300000u);
    EXPECT_EQ(value.back(), 1);
}

TEST(HostJsonText, NulByteIsRefusedWhereverItStands)
{
    const Refusal after = refusal(std::string("{\"a\": 1}\0\xff", 10));
    EXPECT_EQ(after.message, "unexpected NUL byte");
    EXPECT_EQ(after.column, 9);
    const Refusal inside = refusal(std::string("[1,\0 2]", 7));
    EXPECT_EQ(inside.message, "unexpected NUL byte");
    EXPECT_EQ(inside.column, 4);
    const Refusal before = refusal(std::string("[x\0]", 4));
    EXPECT_NE(before.message.find("invalid literal"), std::string::npos) << before.message;
}

TEST(HostJsonText, ExpectationAfterALongTokenIsKeptAndTheTokenCut)
{
    const Refusal refused = refusal("{" + std::string(1000, '\t') + "x" + std::string(1000, '\t') + "}");
    EXPECT_LT(refused.message.size(), 200u) << refused.message;
    EXPECT_NE(refused.message.find("; expected string literal"), std::string::npos) << refused.message;
}
