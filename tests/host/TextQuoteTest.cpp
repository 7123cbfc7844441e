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
