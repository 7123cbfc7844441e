// The number text cleaning table: every one of the 256 byte values is treated as the digit
// string utilities define it, and the list matching without copies finds the entry that
// splitting, cleaning and comparing each entry would find.

#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <vector>

#include "NumberText.h"

namespace {

std::string everyByte()
{
    std::string text;
    for (int c = 0; c < 256; ++c) text += static_cast<char>(c);
    return text;
}

// removePunctuation as it is defined: a new string of the characters not in " .,;!?",
// each passed through std::toupper.
std::string definedWithoutPunctuation(const std::string& text)
{
    const std::string punctuation = " .,;!?";
    std::string cleaned;
    for (const char c : text) {
        if (punctuation.find(c) == std::string::npos) cleaned += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return cleaned;
}

// The first list entry that, cleaned, is not empty and begins the number, found as the
// definition says: split at the commas, clean each entry, compare.
bool definedFirstEntry(const std::string& number, const std::string& list, std::string& matched)
{
    std::vector<std::string> entries;
    std::string entry;
    for (const char c : list + ",") {
        if (c != ',') {
            entry += c;
        } else if (!entry.empty()) {
            entries.push_back(entry);
            entry.clear();
        }
    }
    for (const std::string& candidate : entries) {
        const std::string cleaned = definedWithoutPunctuation(candidate);
        if (!cleaned.empty() && number.compare(0, cleaned.size(), cleaned) == 0) {
            matched = cleaned;
            return true;
        }
    }
    return false;
}

}  // namespace

TEST(NumberText, RemovePunctuationDropsTheSixMarksAndUpperCasesEveryOtherByte)
{
    std::string text = everyByte() + "a.b, c";
    const std::string expected = definedWithoutPunctuation(text);
    numbertext::removePunctuation(text);
    EXPECT_EQ(text, expected);
    EXPECT_EQ(text.size(), 256u - 6u + 3u);
    EXPECT_EQ(text.substr(text.size() - 3), "ABC");
}

TEST(NumberText, CopyWithoutPunctuationGivesWhatRemovePunctuationGives)
{
    std::string copy = "left over";
    const std::string text = "+49 (89) 1.23;4-5 ext!? x";
    numbertext::copyWithoutPunctuation(text, copy);
    std::string inPlace = text;
    numbertext::removePunctuation(inPlace);
    EXPECT_EQ(copy, inPlace);
    EXPECT_EQ(copy, "+49(89)1234-5EXTX");
}

TEST(NumberText, CopyWithoutPunctuationKeepsTheBufferItWasGiven)
{
    std::string copy;
    copy.reserve(64);
    const char* buffer = copy.data();
    numbertext::copyWithoutPunctuation("0 89 / 123 456 789 - 0 89 / 123 456 789", copy);
    EXPECT_EQ(copy, "089/123456789-089/123456789");
    EXPECT_EQ(copy.data(), buffer);
}

TEST(NumberText, KeepDialableKeepsDigitsStarHashAndALeadingPlusOnly)
{
    std::string text = "+" + everyByte() + "+";
    numbertext::keepDialable(text);
    EXPECT_EQ(text, "+#*0123456789");
}

TEST(NumberText, KeepDialableCleansWrittenNumbers)
{
    for (const auto& [written, dialable] : std::vector<std::pair<std::string, std::string>>{
             {"+49 (89) 1234-5", "+498912345"}, {"00+49", "0049"}, {"*#*", "*#*"}, {"", ""}, {"abc", ""}}) {
        std::string text = written;
        numbertext::keepDialable(text);
        EXPECT_EQ(text, dialable) << written;
    }
}

TEST(NumberText, FirstListEntryInListOrderWinsNotTheLongest)
{
    std::string matched;
    EXPECT_TRUE(numbertext::firstListEntryBeginning("9110", "911, 91", matched));
    EXPECT_EQ(matched, "911");
    EXPECT_TRUE(numbertext::firstListEntryBeginning("9110", "91,911", matched));
    EXPECT_EQ(matched, "91");
}

TEST(NumberText, ListEntriesAreCleanedBeforeTheyAreCompared)
{
    std::string matched;
    EXPECT_TRUE(numbertext::firstListEntryBeginning("ABC123", ",,a.b c!,", matched));
    EXPECT_EQ(matched, "ABC");
    EXPECT_TRUE(numbertext::firstListEntryBeginning("112", " 1 1 2 ", matched));
    EXPECT_EQ(matched, "112");
}

TEST(NumberText, EntriesOfBlanksOrEmptyNeverMatchAndLeaveTheResultAlone)
{
    std::string matched = "untouched";
    EXPECT_FALSE(numbertext::firstListEntryBeginning("112", "   ,,, . ,", matched));
    EXPECT_FALSE(numbertext::firstListEntryBeginning("112", "", matched));
    EXPECT_FALSE(numbertext::firstListEntryBeginning("11", "112", matched));
    EXPECT_FALSE(numbertext::firstListEntryBeginning("", "112", matched));
    EXPECT_EQ(matched, "untouched");
}

TEST(NumberText, ListMatchingFindsWhatSplittingCleaningAndComparingFinds)
{
    const std::vector<std::string> numbers = {"", "1", "112", "9110", "0049", "+49", "ABC", "*72", "a1", "1 2"};
    const std::vector<std::string> lists = {"",        ",",        "112",      "1,112",   "112,1",    " 112 ",
                                            "9 1, 91", ",,911,,",  "+,+4",     "a,B",     "0.0,00,0", "*,#",
                                            "x,1 1 2", "?,!,;,.", "1\t,11",   "a1,A1",   " , 1"};
    for (const std::string& number : numbers) {
        for (const std::string& list : lists) {
            std::string expected;
            const bool expectedFound = definedFirstEntry(number, list, expected);
            std::string matched;
            EXPECT_EQ(numbertext::firstListEntryBeginning(number, list, matched), expectedFound) << number << " in " << list;
            if (expectedFound) {
                EXPECT_EQ(matched, expected) << number << " in " << list;
            }
        }
    }
}
