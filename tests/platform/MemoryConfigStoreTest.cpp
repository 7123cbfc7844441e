// The in-memory configuration store: queries fill the roots asked for, registrations and
// writes are recorded, and writes merge into what the store holds.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "MemoryConfigStore.h"

namespace {

class NullAgent : public MgmtAgentIfc {
public:
    bool setData(ManageableData&) override { return true; }
    bool getData(ManageableData&) override { return true; }
    void manageableDataChanged(ManageableData&) override {}
    void resetUserData() override {}
};

class MemoryConfigStoreTest : public ::testing::Test {
protected:
    MemoryConfigStore store;
    NullAgent agent;

    ManageableData query(const std::vector<std::string>& rootIds, bool& result)
    {
        ManageableData data;
        for (const auto& rootId : rootIds) data.addRootId(rootId);
        result = store.queryData(data);
        return data;
    }
};

}  // namespace

TEST_F(MemoryConfigStoreTest, AQueryFillsAPlainItem)
{
    store.setItem("software-type", "Valtrek SIP");
    ManageableData data;
    data.setRootId("software-type", &store);

    ASSERT_TRUE(store.queryData(data));

    const DataNode* node = data.interogate("software-type");
    ASSERT_NE(nullptr, node);
    EXPECT_EQ("Valtrek SIP", node->getValue());
    EXPECT_EQ(&store, data.getDictionary("software-type")) << "the caller's dictionary stays";
}

TEST_F(MemoryConfigStoreTest, AQueryFillsAStructuredItemWithItsRows)
{
    ASSERT_TRUE(store.mergeSerialized("canonicalDialSettings{countryCode=\"49\";"
                                      "lookUp{localCode=\"89\";internationalCode=\"4989\"};"
                                      "lookUp{localCode=\"30\";internationalCode=\"4930\"}}"));
    bool found = false;
    ManageableData data = query({"canonicalDialSettings"}, found);

    ASSERT_TRUE(found);
    std::string value;
    EXPECT_TRUE(data.interogate("countryCode", value));
    EXPECT_EQ("49", value);
    EXPECT_TRUE(data.interogate("lookUp[2]/internationalCode", value));
    EXPECT_EQ("4930", value);
}

TEST_F(MemoryConfigStoreTest, AQueryForAnAbsentItemFails)
{
    bool found = true;
    ManageableData data = query({"software-type"}, found);

    EXPECT_FALSE(found);
    const DataNode* root = data.getRoot("software-type");
    ASSERT_NE(nullptr, root) << "the root asked for stays";
    EXPECT_FALSE(root->hasValue());
}

TEST_F(MemoryConfigStoreTest, AQueryFailsWhenAnyItemIsAbsentAndStillFillsThePresentOnes)
{
    store.setItem("autodialtimer", "4");
    bool found = true;
    ManageableData data = query({"autodialtimer", "absent"}, found);

    EXPECT_FALSE(found);
    std::string value;
    EXPECT_TRUE(data.interogate("autodialtimer", "autodialtimer", value));
    EXPECT_EQ("4", value);
}

TEST_F(MemoryConfigStoreTest, AQueryWithoutRootsFails)
{
    ManageableData data;
    EXPECT_FALSE(store.queryData(data));
}

TEST_F(MemoryConfigStoreTest, AQueryReplacesWhatTheContainerHeldForTheRoot)
{
    store.setItem("canonicalDialSettings", "countryCode", "1");
    ManageableData data;
    data.populate("canonicalDialSettings", "areaCode", "stale");

    ASSERT_TRUE(store.queryData(data));

    EXPECT_EQ("canonicalDialSettings{countryCode=\"1\"}", data.serialize());
}

TEST_F(MemoryConfigStoreTest, AnItemRemovedIsAbsent)
{
    store.setItem("emergency-e164", "112");
    store.removeItem("emergency-e164");
    bool found = true;
    query({"emergency-e164"}, found);
    EXPECT_FALSE(found);
}

TEST_F(MemoryConfigStoreTest, ItemsCanBeReadBack)
{
    store.setItem("phone-lock-active", "true");
    store.setItem("canonicalDialSettings", "areaCode", "89");
    std::string value;

    EXPECT_TRUE(store.getItem("phone-lock-active", value));
    EXPECT_EQ("true", value);
    EXPECT_TRUE(store.getItem("canonicalDialSettings", "areaCode", value));
    EXPECT_EQ("89", value);
    EXPECT_FALSE(store.getItem("canonicalDialSettings", "countryCode", value));
    EXPECT_FALSE(store.getItem("absent", value));
}

TEST_F(MemoryConfigStoreTest, MalformedSerialisedItemsAreRefused)
{
    store.setItem("a", "1");
    EXPECT_FALSE(store.mergeSerialized("a=\"2"));
    std::string value;
    store.getItem("a", value);
    EXPECT_EQ("1", value);
}

TEST_F(MemoryConfigStoreTest, ASnapshotIsACopy)
{
    store.setItem("a", "1");
    ManageableData snapshot = store.snapshot();
    store.setItem("a", "2");
    EXPECT_EQ("a=\"1\"", snapshot.serialize());
}

TEST_F(MemoryConfigStoreTest, RegistrationsAreRecordedInOrder)
{
    EXPECT_TRUE(store.registerAgent("canonicalDialSettings", &agent, true));
    EXPECT_TRUE(store.registerAgent("server-type", &agent, true));

    EXPECT_EQ((std::vector<std::string>{"canonicalDialSettings", "server-type"}), store.registrations());
    EXPECT_EQ(&agent, store.agentFor("server-type"));
    EXPECT_EQ(nullptr, store.agentFor("emergency-e164"));
}

TEST_F(MemoryConfigStoreTest, ARefusedRegistrationFailsAndIsStillRecorded)
{
    store.refuseRegistration("fac-prefix-numbers");

    EXPECT_TRUE(store.registerAgent("hot-keypad-dialling", &agent, true));
    EXPECT_FALSE(store.registerAgent("fac-prefix-numbers", &agent, true));
    EXPECT_TRUE(store.registerAgent("server-type", &agent, true));

    EXPECT_EQ((std::vector<std::string>{"hot-keypad-dialling", "fac-prefix-numbers", "server-type"}),
              store.registrations());
    EXPECT_EQ(nullptr, store.agentFor("fac-prefix-numbers"));
}

TEST_F(MemoryConfigStoreTest, UpdatesAreRecordedAsTheirTextAndMergedIntoTheStore)
{
    store.setItem("canonicalDialSettings", "countryCode", "49");
    store.setItem("canonicalDialSettings", "dialNeedsAccessCode", "0");
    ManageableData defaults;
    defaults.setRootId("canonicalDialSettings", &store);
    defaults.populate("dialNeedsAccessCode", "1");
    defaults.populate("dialNeedsIntGWcode", "0");

    EXPECT_TRUE(store.updateData(defaults));

    EXPECT_EQ((std::vector<std::string>{"canonicalDialSettings{dialNeedsAccessCode=\"1\";dialNeedsIntGWcode=\"0\"}"}),
              store.updates());
    std::string value;
    EXPECT_TRUE(store.getItem("canonicalDialSettings", "countryCode", value));
    EXPECT_EQ("49", value) << "items not written stay";
    EXPECT_TRUE(store.getItem("canonicalDialSettings", "dialNeedsAccessCode", value));
    EXPECT_EQ("1", value);
    EXPECT_TRUE(store.getItem("canonicalDialSettings", "dialNeedsIntGWcode", value));
    EXPECT_EQ("0", value);
}

TEST_F(MemoryConfigStoreTest, TheUpdateObserverSeesEachUpdate)
{
    std::vector<std::string> seen;
    store.setUpdateObserver([&seen](const std::string& text) { seen.push_back(text); });
    ManageableData data;
    data.populate("a", "a", "1");

    EXPECT_TRUE(store.updateData(data));
    EXPECT_TRUE(store.updateData(data));

    EXPECT_EQ((std::vector<std::string>{"a=\"1\"", "a=\"1\""}), seen);
}

TEST_F(MemoryConfigStoreTest, ItIsFoundAsAnExecutableAndCastsToTheManagementInterface)
{
    Executable* asExecutable = &store;
    EXPECT_EQ(static_cast<LocalMgmtIfc*>(&store), dynamic_cast<LocalMgmtIfc*>(asExecutable));
}
