// Matching long patterns: every character of a pattern up to the longest number a plan
// describes (24) is compared, wildcards count anywhere in it, and the comparison stays
// case-sensitive for every other character.

#include <string>

#include <gtest/gtest.h>

#include "DialPlan.h"
#include "ServiceHarness.h"

namespace {

constexpr unsigned int kNoMatch = 0;
constexpr unsigned int kFullMatch = 4;

const std::string kLongNumber = "004989123456789012345678";

class DialPlanLongPatterns : public ::testing::Test {
protected:
    ServiceHarness harness;  // keeps the plan's log file in a temporary directory
    DialPlan plan;

    // The result of matching `digits` against one send entry with this pattern, of the
    // pattern's length.
    unsigned int match(const std::string& pattern, std::string digits)
    {
        t_dialPlanEntry& entry = *plan.getEntry(0);
        entry.digitString = pattern;
        entry.action = "S";
        entry.minDigitLength = static_cast<std::uint32_t>(pattern.size());
        entry.maxDigitLength = static_cast<std::uint32_t>(pattern.size());
        entry.timer = 0;
        plan.setNumberOfEntries(1);
        return plan.matchEntry(&digits, 0);
    }
};

TEST_F(DialPlanLongPatterns, AFullLengthPatternMatchesItsOwnNumber)
{
    EXPECT_EQ(match(kLongNumber, kLongNumber), kFullMatch);
}

TEST_F(DialPlanLongPatterns, ADifferenceAtAnyPositionIsNoMatch)
{
    for (std::size_t position = 0; position < kLongNumber.size(); ++position) {
        std::string dialled = kLongNumber;
        dialled[position] = dialled[position] == '5' ? '6' : '5';
        EXPECT_EQ(match(kLongNumber, dialled), kNoMatch) << "difference at " << position;
    }
}

TEST_F(DialPlanLongPatterns, AWildcardAtAnyPositionAcceptsAnyCharacter)
{
    for (std::size_t position = 0; position < kLongNumber.size(); ++position) {
        for (const char wildcard : {'x', 'X'}) {
            std::string pattern = kLongNumber;
            pattern[position] = wildcard;
            for (const char dialledCharacter : {'0', '9', '*', '#', 'x', 'A'}) {
                std::string dialled = kLongNumber;
                dialled[position] = dialledCharacter;
                EXPECT_EQ(match(pattern, dialled), kFullMatch)
                    << wildcard << " at " << position << " against " << dialledCharacter;
            }
        }
    }
}

TEST_F(DialPlanLongPatterns, OnlyTheWildcardPositionIsFree)
{
    std::string pattern = kLongNumber;
    pattern[3] = 'x';
    std::string dialled = kLongNumber;
    dialled[3] = '7';
    dialled[20] = '*';
    EXPECT_EQ(match(pattern, dialled), kNoMatch);
}

TEST_F(DialPlanLongPatterns, LettersOtherThanXMatchOnlyThemselvesInTheirOwnCase)
{
    // 'a' and 'A', 'h' and 'H' differ only in the lower-case bit, as 'x' and 'X' do.
    std::string pattern = kLongNumber;
    pattern[10] = 'A';
    pattern[17] = 'h';
    std::string dialled = pattern;
    EXPECT_EQ(match(pattern, dialled), kFullMatch);
    dialled[10] = 'a';
    EXPECT_EQ(match(pattern, dialled), kNoMatch);
    dialled = pattern;
    dialled[17] = 'H';
    EXPECT_EQ(match(pattern, dialled), kNoMatch);
}

TEST_F(DialPlanLongPatterns, ALiteralPatternCharacterDoesNotAcceptAnX)
{
    std::string dialled = kLongNumber;
    dialled[12] = 'x';
    EXPECT_EQ(match(kLongNumber, dialled), kNoMatch);
    dialled[12] = 'X';
    EXPECT_EQ(match(kLongNumber, dialled), kNoMatch);
}

TEST_F(DialPlanLongPatterns, OnlyTheDialledLengthIsComparedAgainstALongPattern)
{
    // Nine of 24 characters dialled: the pattern may still match; the tenth differs.
    EXPECT_EQ(match(kLongNumber, kLongNumber.substr(0, 9)), 1u);
    std::string differing = kLongNumber.substr(0, 10);
    differing[9] = '0';
    EXPECT_EQ(match(kLongNumber, differing), kNoMatch);
}

}  // namespace
