// Capabilities of nodes and classes, and following them: the library on the real client, over every store.

#include <array>
#include <chrono>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "store_fixture.h"
#include "trel_cap/trel_cap.h"

namespace trel_cap_tests {
namespace {

using test_support::ClientPtr;

struct Values {
    int32_t boolean = 0;
    int32_t integer = 0;
    std::string string;
};

// Another process's write of fields of a capability record; a Table's value fields have the same names in every type.
template <class Table>
void publish(MomClient *client, Table &table, Values values, const std::vector<int32_t> &fields) {
    table.bool_value = values.boolean;
    table.int32_value = values.integer;
    table.str_value = values.string.data();
    ASSERT_EQ(ox_mom_hmset_sync(client, 28, &table.base, fields.data(), static_cast<uint32_t>(fields.size())), 0)
        << ox_mom_last_error();
}

template <class Table>
void publish(MomClient *client, Table table, const std::string &url, const Values &values,
             const std::vector<int32_t> &fields) {
    CapTableIndex index = CAP_TABLE_INDEX__INIT;
    std::string own_url = url;
    index.url = own_url.data();
    table.index = &index;
    publish(client, table, values, fields);
}

template <class Table>
void publish(MomClient *client, Table table, int32_t node, const std::string &url, const Values &values,
             const std::vector<int32_t> &fields) {
    CapGlbTableIndex index = CAP_GLB_TABLE_INDEX__INIT;
    std::string own_url = url;
    index.node = node;
    index.url = own_url.data();
    table.index = &index;
    publish(client, table, values, fields);
}

class CapabilityStore : public test_support::StoreTest {
protected:
    ClientPtr publisher;
    ClientPtr owner;
    MomClient *client = nullptr;
    uint8_t boolean = 0x2a;
    int32_t integer = 0x2a;
    std::array<char, 512> str;
    uint32_t length = 0x2a;

    void SetUp() override {
        StoreTest::SetUp();
        publisher = connect();
        owner = connect({1, 28});
        client = owner.get();
        g_trel_cap_global = nullptr;
        ASSERT_EQ(trel_cap_init(client, "test"), 0);
    }
    void publish_fe(int32_t node, const Values &values, const std::vector<int32_t> &fields) const {
        publish(publisher.get(), CapGlbTable CAP_GLB_TABLE__INIT, node, "/a", values, fields);
    }
    std::string read_str(int32_t node, int32_t size) {
        str.fill('x');
        EXPECT_EQ(trel_cap_ce_get_fe_cap_str(client, node, "/a", size, str.data(), &length), 0);
        EXPECT_EQ(length, std::strlen(str.data()));
        return str.data();
    }
    // Everything that is on its way: until what is written now has come, behind it.
    void process() {
        CapTableIndex index = CAP_TABLE_INDEX__INIT;
        CapTable fence = CAP_TABLE__INIT;
        index.url = const_cast<char *>("/fence");  // only read
        fence.index = &index;
        if (fences_ == 0) {
            const int32_t field = TREL_CAP_FIELD_INT32;
            const MomFieldCb cb = on_fence;
            void *arg = &fence_;
            ASSERT_EQ(ox_mom_subscribe_field(client, 28, &fence.base, 1, &field, &cb, &arg, 1), 0);
        }
        publish(publisher.get(), fence, {0, ++fences_, ""}, {TREL_CAP_FIELD_INT32});
        EXPECT_TRUE(process_until([this] { return fence_ == fences_; }));
    }
    bool process_until(const std::function<bool()> &so) const {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(40);
        while (!so()) {
            if (std::chrono::steady_clock::now() > end || ox_mom_client_process(client, 100) < 0) {
                return false;
            }
        }
        return true;
    }

private:
    static int32_t on_fence(MomClient *, MomMsg *msg, void *arg) {
        const auto *result = static_cast<const MomHashResult *>(msg->result);
        if (result->record != nullptr) {
            *static_cast<int32_t *>(arg) = reinterpret_cast<const CapTable *>(result->record)->int32_value;
        }
        return 0;
    }

    int32_t fences_ = 0;
    int32_t fence_ = 0;  // the latest that has come
};

INSTANTIATE_OVER_STORES(CapabilityStore);

// What only a server can show: records that were not written by the client, and a store that goes and comes back.
class CapabilityServer : public CapabilityStore {};

INSTANTIATE_OVER_SERVERS(CapabilityServer);

TEST_P(CapabilityStore, ANodesValuesAreItsOwn) {
    publish_fe(1, {1, 9216, "jumbo"}, {6, 7, 8});
    publish_fe(2, {0, -1, ""}, {6, 7, 8});
    EXPECT_EQ(trel_cap_ce_get_fe_cap_bool(client, 1, "/a", &boolean), 0);
    EXPECT_EQ(boolean, 1);
    EXPECT_EQ(trel_cap_ce_get_fe_cap_int32(client, 1, "/a", &integer), 0);
    EXPECT_EQ(integer, 9216);
    EXPECT_EQ(read_str(1, 512), "jumbo");
    EXPECT_EQ(trel_cap_ce_get_fe_cap_bool(client, 2, "/a", &boolean), 0);
    EXPECT_EQ(boolean, 0);
    EXPECT_EQ(trel_cap_ce_get_fe_cap_int32(client, 2, "/a", &integer), 0);
    EXPECT_EQ(integer, -1);
    EXPECT_EQ(read_str(2, 512), "");
}

TEST_P(CapabilityStore, HpsAndFabricNodesAreReadAsLineCardsAndControlModulesAreNot) {
    publish_fe(1, {0, 10, ""}, {7});
    publish(publisher.get(), CapCmGlbTable CAP_CM_GLB_TABLE__INIT, 1, "/a", {0, 20, ""}, {7});
    const auto expect_read = [this](auto getter, int32_t expected) {
        EXPECT_EQ(getter(client, 1, "/a", &integer), 0);
        EXPECT_EQ(integer, expected);
    };
    expect_read(trel_cap_ce_get_fe_cap_int32, 10);
    expect_read(trel_cap_ce_get_hps_cap_int32, 10);
    expect_read(trel_cap_ce_get_fab_cap_int32, 10);
    expect_read(trel_cap_ce_get_cm_cap_int32, 20);
}

TEST_P(CapabilityStore, WhatANodeDoesNotHaveIsReset) {
    EXPECT_EQ(trel_cap_ce_get_cm_cap_bool(client, 1, "/a", &boolean), TREL_CAP_E_NO_RECORD);
    EXPECT_EQ(boolean, 0);
    publish_fe(1, {1, 0, ""}, {6});
    EXPECT_EQ(trel_cap_ce_get_fe_cap_int32(client, 1, "/a", &integer), TREL_CAP_E_NO_VALUE);
    EXPECT_EQ(integer, -1);
    str.fill('x');
    EXPECT_EQ(trel_cap_ce_get_fe_cap_str(client, 1, "/a", 512, str.data(), &length), TREL_CAP_E_NO_VALUE);
    EXPECT_STREQ(str.data(), "");
    EXPECT_EQ(length, 0U);
}

TEST_P(CapabilityStore, ALongStringIsCut) {
    const std::string stored(300, 's');
    publish_fe(1, {0, 0, stored}, {8});
    EXPECT_EQ(read_str(1, 512), stored.substr(0, 255));
    EXPECT_EQ(read_str(1, 100), stored.substr(0, 99));
}

TEST_P(CapabilityServer, AStringEndsAtAZeroByte) {
    publish_fe(1, {0, 0, "abcde"}, {8});
    auto connection = server().connection();
    connection.must({"SELECT", "28"});
    const std::vector<std::string> keys = connection.list({"SMEMBERS", "records:s_frame.cap_glb_table"});
    ASSERT_EQ(keys.size(), 1U);
    connection.must({"HSET", keys[0], "8",
                     std::string("\x42\x05"
                                 "ab\0de",
                                 7)});
    EXPECT_EQ(read_str(1, 512), "ab");
}

TEST_P(CapabilityStore, AClasssValuesAreItsOwn) {
    publish(publisher.get(), CapTable CAP_TABLE__INIT, "/a", {1, 1, ""}, {6, 7});
    EXPECT_EQ(trel_cap_ce_get_cm_g_cap_int32(client, "/a", &integer), TREL_CAP_E_NO_RECORD);
    EXPECT_EQ(integer, -1);
    EXPECT_EQ(trel_cap_ce_get_cm_g_cap_bool(client, "/a", &boolean), TREL_CAP_E_NO_RECORD);
    EXPECT_EQ(boolean, 0x2a);
    publish(publisher.get(), CapHpsTable CAP_HPS_TABLE__INIT, "/a", {0, 2, ""}, {6, 7});
    publish(publisher.get(), CapFabTable CAP_FAB_TABLE__INIT, "/a", {1, 3, ""}, {6, 7});
    publish(publisher.get(), CapCmTable CAP_CM_TABLE__INIT, "/a", {0, 4, ""}, {7});
    const auto expect_read = [this](auto getter, int32_t expected) {
        EXPECT_EQ(getter(client, "/a", &integer), 0);
        EXPECT_EQ(integer, expected);
    };
    expect_read(trel_cap_ce_get_g_cap_int32, 1);
    expect_read(trel_cap_ce_get_hps_g_cap_int32, 2);
    expect_read(trel_cap_ce_get_fab_g_cap_int32, 3);
    expect_read(trel_cap_ce_get_cm_g_cap_int32, 4);
    EXPECT_EQ(trel_cap_ce_get_hps_g_cap_bool(client, "/a", &boolean), 0);
    EXPECT_EQ(boolean, 0);
    EXPECT_EQ(trel_cap_ce_get_fab_g_cap_bool(client, "/a", &boolean), 0);
    EXPECT_EQ(boolean, 1);
    EXPECT_EQ(trel_cap_ce_get_cm_g_cap_bool(client, "/a", &boolean), TREL_CAP_E_NO_VALUE);
}

// What a follower heard.
struct Heard {
    std::vector<std::string> urls;
    std::vector<int32_t> values;
    std::vector<int32_t> statuses;
};

template <class Value>
int32_t hear(MomMsg *msg, void *arg, int32_t (*read)(MomMsg *, uint32_t, char *, Value *, uint32_t *)) {
    auto &heard = *static_cast<Heard *>(arg);
    std::array<char, 64> url{};
    Value value = 0;
    uint32_t length = 0;
    heard.statuses.push_back(read(msg, static_cast<uint32_t>(url.size()), url.data(), &value, &length));
    heard.urls.emplace_back(url.data(), length);
    heard.values.push_back(value);
    return 0;
}
int32_t hear_bool(MomClient *, MomMsg *msg, void *arg) { return hear(msg, arg, trel_cap_ce_get_g_cap_bool_by_pmsg); }
int32_t hear_int32(MomClient *, MomMsg *msg, void *arg) { return hear(msg, arg, trel_cap_ce_get_g_cap_int32_by_pmsg); }

TEST_P(CapabilityStore, AFollowedCapabilityOfTheDeviceIsHeardWhenItsValueIsWritten) {
    Heard heard;
    ASSERT_EQ(trel_cap_ce_subscribe_g_cap_bool_ext(client, "/a", hear_bool, &heard), 0);
    process();
    EXPECT_THAT(heard.values, testing::IsEmpty());
    EXPECT_EQ(trel_cap_ce_set_g_cap_bool(publisher.get(), "/a", 1), 0);
    EXPECT_EQ(trel_cap_ce_set_g_cap_int32(publisher.get(), "/a", 5), 0);
    EXPECT_EQ(trel_cap_ce_set_g_cap_bool(publisher.get(), "/b", 1), 0);
    EXPECT_EQ(trel_cap_ce_set_g_cap_bool(publisher.get(), "/a", 0), 0);
    process();
    EXPECT_THAT(heard.statuses, testing::ElementsAre(0, 0));
    EXPECT_THAT(heard.values, testing::ElementsAre(1, 0));
    EXPECT_THAT(heard.urls, testing::ElementsAre("/a", "/a"));
}

TEST_P(CapabilityStore, TwoSubscriptionsAreTwo) {
    Heard heard;
    ASSERT_EQ(trel_cap_ce_subscribe_g_cap_int32_ext(client, "/a", hear_int32, &heard), 0);
    ASSERT_EQ(trel_cap_ce_subscribe_g_cap_int32_ext(client, "/a", hear_int32, &heard), 0);
    EXPECT_EQ(trel_cap_ce_set_g_cap_int32(publisher.get(), "/a", 5), 0);
    process();
    EXPECT_THAT(heard.values, testing::ElementsAre(5, 5));
}

struct Follow {
    int32_t (*subscribe)(MomClient *, const char *, MomFieldCb, void *);
    MomFieldCb fp;
    std::vector<int32_t> heard;
};

// Three classes and the device, each with a boolean and an integer of its own, all followed at once.
TEST_P(CapabilityStore, EachClassIsFollowedApart) {
    const Follow follows[] = {
        {trel_cap_ce_subscribe_g_cap_bool_ext, hear_bool, {1}},
        {trel_cap_ce_subscribe_g_cap_int32_ext, hear_int32, {10}},
        {trel_cap_ce_subscribe_hps_g_cap_bool_ext, hear_bool, {0}},
        {trel_cap_ce_subscribe_hps_g_cap_int32_ext, hear_int32, {20}},
        {trel_cap_ce_subscribe_fab_g_cap_bool_ext, hear_bool, {1}},
        {trel_cap_ce_subscribe_fab_g_cap_int32_ext, hear_int32, {30}},
        {trel_cap_ce_subscribe_cm_g_cap_bool_ext, hear_bool, {0}},
        {trel_cap_ce_subscribe_cm_g_cap_int32_ext, hear_int32, {40}},
    };
    std::array<Heard, std::size(follows)> heard;
    for (size_t i = 0; i < heard.size(); ++i) {
        ASSERT_EQ(follows[i].subscribe(client, "/a", follows[i].fp, &heard[i]), 0);
    }
    publish(publisher.get(), CapTable CAP_TABLE__INIT, "/a", {1, 10, ""}, {6, 7});
    publish(publisher.get(), CapHpsTable CAP_HPS_TABLE__INIT, "/a", {0, 20, ""}, {6, 7});
    publish(publisher.get(), CapFabTable CAP_FAB_TABLE__INIT, "/a", {1, 30, ""}, {6, 7});
    publish(publisher.get(), CapCmTable CAP_CM_TABLE__INIT, "/a", {0, 40, ""}, {6, 7});
    process();
    for (size_t i = 0; i < heard.size(); ++i) {
        EXPECT_EQ(heard[i].values, follows[i].heard) << i;
    }
}

// The short forms have no user data: these hear into variables of the process.
Heard short_heard;
int32_t hear_short(MomClient *, MomMsg *msg, void *arg) {
    EXPECT_EQ(arg, nullptr);
    return hear_bool(nullptr, msg, &short_heard);
}

TEST_P(CapabilityStore, TheFabricBooleansShortFormFollowsTheDevices) {
    short_heard = {};
    ASSERT_EQ(trel_cap_ce_subscribe_fab_g_cap_bool(client, "/a", hear_short), 0);
    publish(publisher.get(), CapFabTable CAP_FAB_TABLE__INIT, "/a", {1, 0, ""}, {6});
    process();
    EXPECT_THAT(short_heard.values, testing::IsEmpty());
    publish(publisher.get(), CapTable CAP_TABLE__INIT, "/a", {1, 0, ""}, {6});
    process();
    EXPECT_THAT(short_heard.values, testing::ElementsAre(1));
}

TEST_P(CapabilityStore, AControlModulesShortFormFollowsItsClass) {
    short_heard = {};
    ASSERT_EQ(trel_cap_ce_subscribe_cm_g_cap_bool(client, "/a", hear_short), 0);
    publish(publisher.get(), CapTable CAP_TABLE__INIT, "/a", {1, 0, ""}, {6});
    publish(publisher.get(), CapCmTable CAP_CM_TABLE__INIT, "/a", {0, 0, ""}, {6});
    process();
    EXPECT_THAT(short_heard.statuses, testing::ElementsAre(0));
    EXPECT_THAT(short_heard.values, testing::ElementsAre(0));
}

TEST_P(CapabilityServer, FollowingGoesOnAfterTheServerHasRestarted) {
    Heard heard;
    ASSERT_EQ(trel_cap_ce_subscribe_cm_g_cap_int32_ext(client, "/a", hear_int32, &heard), 0);
    server().restart(test_support::RedisServer::Data::kDropped);
    publisher = connect();
    // The value is heard once it is there and the client is back, be it as written or as found.
    publish(publisher.get(), CapCmTable CAP_CM_TABLE__INIT, "/a", {0, 7, ""}, {7});
    ASSERT_TRUE(process_until([&] { return !heard.values.empty() && heard.values.back() == 7; }));
    publish(publisher.get(), CapCmTable CAP_CM_TABLE__INIT, "/a", {0, 8, ""}, {7});
    process();
    EXPECT_EQ(heard.values.back(), 8);
}

}  // namespace
}  // namespace trel_cap_tests
