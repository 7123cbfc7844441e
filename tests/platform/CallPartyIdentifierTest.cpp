// The call party record and its serial form: the three fields, each serialised.

#include <string>

#include <gtest/gtest.h>

#include "CallPartyIdentifier.h"

namespace {
std::string serialFormOf(const CallPartyIdentifier& party)
{
    std::string out;
    party.serialize(out);
    return out;
}
}  // namespace

TEST(CallPartyIdentifier, SerialFormIsDisplayNameNumberAndUriEachSerialised)
{
    const CallPartyIdentifier party("Anna Berg", "2001", "sip:2001@pbx");
    EXPECT_EQ("9:Anna Berg4:200112:sip:2001@pbx", serialFormOf(party));
}

TEST(CallPartyIdentifier, AnEmptyIdentifierHasThreeEmptyFields)
{
    EXPECT_EQ("0:0:0:", serialFormOf(CallPartyIdentifier()));
    EXPECT_TRUE(CallPartyIdentifier().isEmpty());
    EXPECT_FALSE(CallPartyIdentifier("", "1", "").isEmpty());
}

TEST(CallPartyIdentifier, SerializeAppends)
{
    std::string out = "handledialingstarted_dialparty_event:5:line1";
    CallPartyIdentifier("A", "1", "u").serialize(out);
    EXPECT_EQ("handledialingstarted_dialparty_event:5:line11:A1:11:u", out);
}

TEST(CallPartyIdentifier, RoundTripKeepsEveryField)
{
    std::string odd = "colon:comma,";
    odd += '\0';
    odd += "\xc3\xa9";
    const CallPartyIdentifier original(odd, "+49 89 1234", "sip:\"x\"@y;tag=1");

    CallPartyIdentifier copy;
    ASSERT_TRUE(copy.deserialize(serialFormOf(original)));

    EXPECT_EQ(original, copy);
    EXPECT_EQ(odd, copy.getDisplayName());
    EXPECT_EQ("+49 89 1234", copy.getNumber());
    EXPECT_EQ("sip:\"x\"@y;tag=1", copy.getUri());
}

TEST(CallPartyIdentifier, MalformedTextIsRefusedAndLeavesTheIdentifierUnchanged)
{
    const CallPartyIdentifier before("Anna", "2001", "sip:2001@pbx");
    for (const std::string text : {"", "no_dial_party", "4:Anna", "4:Anna4:2001", "4:Anna4:200112:sip:2001@pb",
                                   "4:Anna4:200112:sip:2001@pbxTRAILING", "x:Anna4:20010:", "s4:Anna4:20010:"}) {
        CallPartyIdentifier party = before;
        EXPECT_FALSE(party.deserialize(text)) << text;
        EXPECT_EQ(before, party) << text;
    }
}

TEST(CallPartyIdentifier, EqualityComparesAllThreeFields)
{
    const CallPartyIdentifier a("A", "1", "u");
    EXPECT_EQ(a, CallPartyIdentifier("A", "1", "u"));
    EXPECT_FALSE(a == CallPartyIdentifier("B", "1", "u"));
    EXPECT_FALSE(a == CallPartyIdentifier("A", "2", "u"));
    EXPECT_FALSE(a == CallPartyIdentifier("A", "1", "v"));
}

TEST(CallPartyIdentifier, SettersReplaceFields)
{
    CallPartyIdentifier party;
    party.setDisplayName("A");
    party.setNumber("1");
    party.setUri("u");
    EXPECT_EQ(CallPartyIdentifier("A", "1", "u"), party);
}
