// The quoted form of texts in the host's output lines.

#include <string>

#include <gtest/gtest.h>

#include "TextQuote.h"

TEST(HostTextQuote, PlainTextIsOnlyQuoted) { EXPECT_EQ(quoteText("dialstringresponse:112,2"), "\"dialstringresponse:112,2\""); }

TEST(HostTextQuote, QuotesBackslashesNewlinesAndTabsAreEscaped)
{
    EXPECT_EQ(quoteText("a\"b\\c\nd\te"), "\"a\\\"b\\\\c\\nd\\te\"");
}

TEST(HostTextQuote, OtherControlAndNonAsciiBytesBecomeHex)
{
    EXPECT_EQ(quoteText(std::string("\r\0\x7f\xc3\xa4", 5)), "\"\\x0D\\x00\\x7F\\xC3\\xA4\"");
}

TEST(HostTextQuote, EmptyTextIsTwoQuotes) { EXPECT_EQ(quoteText(""), "\"\""); }

TEST(HostTextQuote, EveryByteComesBackFromItsQuotedForm)
{
    std::string every;
    for (int c = 0; c < 256; ++c) every += static_cast<char>(c);
    for (const std::string& text : {std::string(), std::string("dialstringresponse:112,2"), std::string("a\"b\\c\nd\te"), every}) {
        SCOPED_TRACE(quoteText(text));
        EXPECT_EQ(unquoteText(quoteText(text)), text);
    }
}

TEST(HostTextQuote, AnythingButOneQuotedFormIsRefused)
{
    for (const char* bad : {"", "\"", "abc", "\"abc", "abc\"", "\"a\"b\"", "\"a\\\"", "\"\\q\"", "\"\\x4\"", "\"\\xG0\""}) {
        SCOPED_TRACE(bad);
        EXPECT_FALSE(unquoteText(bad).has_value());
    }
    EXPECT_EQ(unquoteText("\"\\xc3\\xA4\""), "\xc3\xa4") << "hex digits of either case";
}
