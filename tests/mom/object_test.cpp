// Records without an index: written and read whole.
#include "contract_test.h"

#include <thread>

namespace mom_test {
namespace {

class ObjectTest : public StoreTest {};
INSTANTIATE_OVER_STORES(ObjectTest);

ObjectPtr get(const ClientPtr &client, const ProtobufCMessage *request, int32_t *error = nullptr,
              int32_t db = kGlobalDb) {
    return ObjectPtr(ox_mom_get_sync(client.get(), db, request, error));
}

const CapGlbState &glb(const ObjectPtr &object) { return *reinterpret_cast<const CapGlbState *>(object.get()); }

TEST_P(ObjectTest, AMissingOneIsNoError) {
    const ClientPtr client = connect();
    int32_t error = 77;
    EXPECT_EQ(get(client, Single<CapGlbState>().message(), &error), nullptr);
    EXPECT_EQ(error, 0);
}

TEST_P(ObjectTest, IsReadBackAsWritten) {
    const ClientPtr writer = connect();
    const ClientPtr reader = connect();
    for (const bool ready : {true, false, true}) {
        ASSERT_EQ(set<CapGlbState>(writer, ready), 0);
        int32_t error = 77;
        const ObjectPtr object = get(reader, Single<CapGlbState>().message(), &error);
        ASSERT_NE(object, nullptr);
        EXPECT_EQ(error, 0);
        EXPECT_EQ(object->descriptor, descriptor<CapGlbState>());
        EXPECT_EQ(glb(object).ready, ready);
    }
}

TEST_P(ObjectTest, OneOfDefaultsIsThere) {
    const ClientPtr client = connect();
    ASSERT_EQ(set<CapGlbState>(client, false), 0);
    EXPECT_NE(get(client, Single<CapGlbState>().message()), nullptr);
}

TEST_P(ObjectTest, TheRequestsValuesDoNotMatter) {
    const ClientPtr client = connect();
    ASSERT_EQ(set<CapGlbState>(client, false), 0);
    EXPECT_FALSE(glb(get(client, Single<CapGlbState>(true).message())).ready);
}

TEST_P(ObjectTest, TypesAndDatabasesAreApart) {
    const ClientPtr client = connect({kCardDb, kGlobalDb});
    ASSERT_EQ(set<CapGlbState>(client, true), 0);
    EXPECT_EQ(get(client, Single<CapCmGlbState>().message()), nullptr);
    EXPECT_EQ(get(client, Single<CapFabGlbState>().message()), nullptr);
    EXPECT_EQ(get(client, Single<CapHpsGlbState>().message()), nullptr);
    EXPECT_EQ(get(client, Single<CapGlbState>().message(), nullptr, kCardDb), nullptr);
    ASSERT_EQ(set<CapGlbState>(client, false, kCardDb), 0);
    EXPECT_TRUE(glb(get(client, Single<CapGlbState>().message())).ready);
}

TEST_P(ObjectTest, IsGoneWhenDeleted) {
    const ClientPtr client = connect();
    const Single<CapGlbState> state(true);
    EXPECT_EQ(del(client, state.message()), 0) << "there is none yet";
    ASSERT_EQ(set<CapGlbState>(client, true), 0);
    EXPECT_EQ(del(client, state.message()), 0);
    EXPECT_EQ(get(client, state.message()), nullptr);
    EXPECT_TRUE(stored_state<CapGlbState>(client).empty());
    ASSERT_EQ(set<CapGlbState>(client, true), 0);
    EXPECT_NE(get(client, state.message()), nullptr);
}

TEST_P(ObjectTest, OutlivesItsClientAndMayBeReleasedOnAnyThread) {
    ProtobufCMessage *object = nullptr;
    {
        const ClientPtr client = connect();
        ASSERT_EQ(set<CapGlbState>(client, true), 0);
        object = get(client, Single<CapGlbState>().message()).release();
    }
    ASSERT_NE(object, nullptr);
    int32_t released = 77;
    std::thread([object, &released] { released = ox_mom_ox_obj_free(object); }).join();
    EXPECT_EQ(released, 0);
}

TEST_P(ObjectTest, AWrongCallIsRefused) {
    const ClientPtr client = connect();
    const Single<CapGlbState> state(true);
    int32_t error = 0;
    EXPECT_EQ(ox_mom_get_sync(nullptr, kGlobalDb, state.message(), &error), nullptr);
    EXPECT_EQ(error, OX_MOM_E_ARGUMENT);
    error = 0;
    EXPECT_EQ(ox_mom_get_sync(client.get(), kGlobalDb, nullptr, &error), nullptr);
    EXPECT_EQ(error, OX_MOM_E_ARGUMENT);
    EXPECT_EQ(ox_mom_get_sync(client.get(), kGlobalDb, nullptr, nullptr), nullptr);
    EXPECT_EQ(ox_mom_set_sync(nullptr, kGlobalDb, state.message()), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(ox_mom_set_sync(client.get(), kGlobalDb, nullptr), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(ox_mom_del_sync(nullptr, kGlobalDb, state.message()), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(ox_mom_del_sync(client.get(), kGlobalDb, nullptr), OX_MOM_E_ARGUMENT);
}

TEST_P(ObjectTest, ARecordOfTheOtherKindIsRefused) {
    const ClientPtr client = connect();
    int32_t error = 0;
    EXPECT_EQ(ox_mom_get_sync(client.get(), kGlobalDb, Cap("/a").message(), &error), nullptr);
    EXPECT_EQ(error, OX_MOM_E_ARGUMENT);
    EXPECT_EQ(ox_mom_set_sync(client.get(), kGlobalDb, Cap("/a", 1).message()), OX_MOM_E_ARGUMENT);
    Cap no_index("/a");
    no_index.record.index = nullptr;
    EXPECT_EQ(del(client, no_index.message()), OX_MOM_E_ARGUMENT);
    EXPECT_TRUE(stored_state<CapTable>(client).empty());
}

}  // namespace
}  // namespace mom_test
