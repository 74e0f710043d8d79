// The library on a store that is real: what one function writes another reads.

#include <array>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "trel_cap/trel_cap.h"

namespace trel_cap_tests {
namespace {

constexpr int32_t kCapabilities = TREL_CAP_DB_CAPABILITIES;

class EmbeddedStore : public ::testing::Test {
protected:
    // A store of each test's own.
    const std::string store = std::string("mem:") + ::testing::UnitTest::GetInstance()->current_test_info()->name();
    std::unique_ptr<MomClient, void (*)(MomClient *)> owner{ox_mom_client_create(store.c_str()), ox_mom_client_destroy};
    MomClient *const client = owner.get();
    uint8_t boolean = 0x2a;
    int32_t integer = 0x2a;

    void SetUp() override {
        ASSERT_NE(client, nullptr) << ox_mom_last_error();
        ASSERT_EQ(trel_cap_init(client, "test"), 0);
    }

    // Another process's write of some field of a capability.
    void write(const char *url, int32_t field, void (*fill)(CapTable &)) {
        CapTable table;
        CapTableIndex index;
        cap_table__init(&table);
        cap_table_index__init(&index);
        table.index = &index;
        std::string own_url = url;
        index.url = own_url.data();
        fill(table);
        ASSERT_EQ(ox_mom_hmset_sync(client, kCapabilities, &table.base, &field, 1), 0);
    }
};

TEST_F(EmbeddedStore, AClientMadeAfterOneWasDestroyedIsANewOne) {
    trel_cap_log_level(0);  // each is another client of this thread, which the library remarks on
    for (int round = 0; round < 200; ++round) {
        MomClient *const next = ox_mom_client_create(store.c_str());
        ASSERT_EQ(trel_cap_init(next, "test"), 0) << round;
        MomClientStatus status{};
        status.size = sizeof status;
        ASSERT_EQ(ox_mom_client_status(next, &status), 0);
        EXPECT_EQ(status.state, OX_MOM_STATE_UP) << round << ": taken for the one before, and nothing started";
        ox_mom_client_destroy(next);
    }
}

TEST_F(EmbeddedStore, AWrittenBooleanReadsBackAndTheIntegerStaysUnset) {
    EXPECT_EQ(trel_cap_ce_get_g_cap_bool(client, "/a", &boolean), TREL_CAP_E_NO_RECORD);
    EXPECT_EQ(boolean, 0x2a);
    EXPECT_EQ(trel_cap_ce_set_g_cap_bool(client, "/a", 1), 0);
    EXPECT_EQ(trel_cap_ce_get_g_cap_bool(client, "/a", &boolean), 0);
    EXPECT_EQ(boolean, 1);
    EXPECT_EQ(trel_cap_ce_get_g_cap_int32(client, "/a", &integer), TREL_CAP_E_NO_VALUE);
    EXPECT_EQ(integer, -1);
}

TEST_F(EmbeddedStore, AWrittenFalseAndAWrittenZeroAreValues) {
    EXPECT_EQ(trel_cap_ce_set_g_cap_bool(client, "/a", 0), 0);
    EXPECT_EQ(trel_cap_ce_set_g_cap_int32(client, "/a", 0), 0);
    EXPECT_EQ(trel_cap_ce_get_g_cap_bool(client, "/a", &boolean), 0);
    EXPECT_EQ(boolean, 0);
    EXPECT_EQ(trel_cap_ce_get_g_cap_int32(client, "/a", &integer), 0);
    EXPECT_EQ(integer, 0);
}

TEST_F(EmbeddedStore, AWriteChangesTheOneFieldOfTheOneRecord) {
    EXPECT_EQ(trel_cap_ce_set_g_cap_int32(client, "/a", 42), 0);
    EXPECT_EQ(trel_cap_ce_set_g_cap_int32(client, "/b", 43), 0);
    EXPECT_EQ(trel_cap_ce_set_g_cap_bool(client, "/a", 1), 0);
    EXPECT_EQ(trel_cap_ce_set_g_cap_state(client, "/a", 1), 0);
    EXPECT_EQ(trel_cap_ce_get_g_cap_int32(client, "/a", &integer), 0);
    EXPECT_EQ(integer, 42);
    EXPECT_EQ(trel_cap_ce_get_g_cap_bool(client, "/a", &boolean), 0);
    EXPECT_EQ(boolean, 1);
    EXPECT_EQ(trel_cap_ce_get_g_cap_int32(client, "/b", &integer), 0);
    EXPECT_EQ(integer, 43);
    EXPECT_EQ(trel_cap_ce_get_g_cap_bool(client, "/b", &boolean), TREL_CAP_E_NO_VALUE);
}

TEST_F(EmbeddedStore, AStateAloneIsNoValue) {
    EXPECT_EQ(trel_cap_ce_set_cap_view_state(client, "/a", 1), 0);
    EXPECT_EQ(trel_cap_ce_get_glb_view_bool(client, "/a", &boolean), TREL_CAP_E_NO_VALUE);
    EXPECT_EQ(trel_cap_ce_get_glb_view_int32(client, "/a", &integer), TREL_CAP_E_NO_VALUE);
}

TEST_F(EmbeddedStore, UrlsOf255BytesAreKeptApart) {
    std::string one(255, 'u');
    std::string two(255, 'u');
    one.back() = '1';
    two.back() = '2';
    EXPECT_EQ(trel_cap_ce_set_g_cap_int32(client, one.c_str(), 1), 0);
    EXPECT_EQ(trel_cap_ce_set_g_cap_int32(client, two.c_str(), 2), 0);
    EXPECT_EQ(trel_cap_ce_get_g_cap_int32(client, one.c_str(), &integer), 0);
    EXPECT_EQ(integer, 1);
    EXPECT_EQ(trel_cap_ce_set_g_cap_int32(client, (one + "x").c_str(), 3), TREL_CAP_E_ARGUMENT);
    EXPECT_EQ(trel_cap_ce_get_g_cap_int32(client, one.c_str(), &integer), 0);
    EXPECT_EQ(integer, 1);
}

TEST_F(EmbeddedStore, ReadinessIsOfEachClassAlone) {
    const auto expect_ready = [this](uint8_t device, uint8_t hps, uint8_t cm, uint8_t fab) {
        uint8_t ready = 0x2a;
        EXPECT_EQ(trel_cap_ce_get_glb_ready(client, &ready), 0);
        EXPECT_EQ(ready, device);
        EXPECT_EQ(trel_cap_ce_get_hps_glb_ready(client, &ready), 0);
        EXPECT_EQ(ready, hps);
        EXPECT_EQ(trel_cap_ce_get_cm_glb_ready(client, &ready), 0);
        EXPECT_EQ(ready, cm);
        EXPECT_EQ(trel_cap_ce_get_fab_glb_ready(client, &ready), 0);
        EXPECT_EQ(ready, fab);
    };
    expect_ready(0, 0, 0, 0);
    CapGlbState device;
    cap_glb_state__init(&device);
    device.ready = 1;
    ASSERT_EQ(ox_mom_set_sync(client, kCapabilities, &device.base), 0);
    expect_ready(1, 0, 0, 0);
    CapCmGlbState cm;
    cap_cm_glb_state__init(&cm);
    cm.ready = 1;
    ASSERT_EQ(ox_mom_set_sync(client, kCapabilities, &cm.base), 0);
    device.ready = 0;
    ASSERT_EQ(ox_mom_set_sync(client, kCapabilities, &device.base), 0);
    expect_ready(0, 0, 1, 0);
}

// What a field subscription delivers can be read.
struct Followed {
    int calls = 0;
    int32_t status = 0;
    std::array<char, 64> url{};
    uint8_t value = 0x2a;
    uint32_t length = 0;
};

int32_t follow(MomClient *, MomMsg *msg, void *arg) {
    auto &followed = *static_cast<Followed *>(arg);
    ++followed.calls;
    followed.url.fill('\0');
    followed.status = trel_cap_ce_get_g_cap_bool_by_pmsg(msg, static_cast<uint32_t>(followed.url.size()),
                                                         followed.url.data(), &followed.value, &followed.length);
    return 0;
}

TEST_F(EmbeddedStore, ANotificationTellsTheNewValue) {
    Followed followed;
    CapTable request;
    CapTableIndex index;
    cap_table__init(&request);
    cap_table_index__init(&index);
    std::string url = "/a";
    index.url = url.data();
    request.index = &index;
    const int32_t field = TREL_CAP_FIELD_BOOL;
    const MomFieldCb callback = follow;
    void *argument = &followed;
    ASSERT_EQ(ox_mom_subscribe_field(client, kCapabilities, &request.base, 1, &field, &callback, &argument, 1), 0);

    EXPECT_EQ(trel_cap_ce_set_g_cap_bool(client, "/a", 1), 0);
    EXPECT_EQ(ox_mom_client_process(client, 1000), 1);
    EXPECT_EQ(followed.status, 0);
    EXPECT_STREQ(followed.url.data(), "/a");
    EXPECT_EQ(followed.value, 1);
    EXPECT_EQ(followed.length, 2U);

    ASSERT_EQ(ox_mom_del_sync(client, kCapabilities, &request.base), 0);
    EXPECT_EQ(ox_mom_client_process(client, 1000), 1);
    EXPECT_EQ(followed.status, TREL_CAP_E_NO_RECORD);
    EXPECT_EQ(followed.calls, 2);
}

// A value that another process wrote is read with the type it was written with.
TEST_F(EmbeddedStore, AnotherWritersNumberIsRead) {
    write("/a", TREL_CAP_FIELD_INT32, [](CapTable &table) { table.int32_value = -7; });
    EXPECT_EQ(trel_cap_ce_get_g_cap_int32(client, "/a", &integer), 0);
    EXPECT_EQ(integer, -7);
    EXPECT_EQ(trel_cap_ce_get_g_cap_bool(client, "/a", &boolean), TREL_CAP_E_NO_VALUE);
}

}  // namespace
}  // namespace trel_cap_tests
