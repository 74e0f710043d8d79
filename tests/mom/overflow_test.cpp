// Followers that fall too far behind load afresh instead of growing.
#include "mom_test.h"

#include <unistd.h>

#include <algorithm>
#include <fstream>

namespace mom_test {
namespace {

constexpr int kBound = 65536;  // notifications that may wait

class OverflowTest : public StoreTest {
protected:
    // Writes more than may wait for one follower: the embedded store counts notifications, a server counts bytes.
    void fall_behind(const ClientPtr &writer) {
        int writes = kBound + 5000;
        std::string text;
        if (has_server()) {
            server().connection().must({"CONFIG", "SET", "client-output-buffer-limit", "pubsub 100000 100000 1"});
            writes = 3000;
            text.assign(1000, 'x');
        }
        for (int value = 1; value <= writes; ++value) {
            Cap cap("/" + std::to_string(value % 100), value);
            cap.record.str_value = text.data();
            ASSERT_EQ(put(writer, cap.message(), {kInt, kStr}), 0);
        }
    }
};
INSTANTIATE_OVER_STORES(OverflowTest);

TEST_P(OverflowTest, IsALossAfterWhichTheFollowerEndsInTheStoresState) {
    const ClientPtr client = connect();
    const ClientPtr writer = connect();
    State followed;
    slot().hook = [&followed](MomClient *running, MomMsg *msg) {
        if (msg->cmd == OX_MOM_CMD_SUBSCRIBED) {
            followed = stored_state(running, kGlobalDb, Cap("").message());
        } else {
            update(followed, slot().events.back());
        }
    };
    recorder().reconnect_hook = [&client](MomClient *, int32_t) { EXPECT_EQ(follow<CapTable>(client), 0); };
    ASSERT_EQ(ox_mom_client_set_reconnect_cb(client.get(), kGlobalDb, on_reconnect, nullptr), 0);
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_TRUE(pump_until(client, [] { return slot().count(29) == 1; }));
    ASSERT_NO_FATAL_FAILURE(fall_behind(writer));

    ASSERT_TRUE(pump_until(client, [] { return slot().count(29) == 2; }));
    EXPECT_EQ(recorder().reconnections.size(), 1u);
    EXPECT_LE(slot().events.size(), static_cast<size_t>(kBound) + 2);
    ASSERT_EQ(put_int(writer, "/after", 1), 0);
    ASSERT_TRUE(settle(client, writer));
    EXPECT_EQ(followed.size(), 101u);
    EXPECT_EQ(followed, stored_state<CapTable>(client));
}

TEST_P(OverflowTest, LeavesOtherFollowersAlone) {
    const ClientPtr slow = connect();
    const ClientPtr quick = connect();
    ASSERT_EQ(ox_mom_client_set_reconnect_cb(quick.get(), kGlobalDb, on_reconnect, nullptr), 0);
    ASSERT_EQ(follow<CapTable>(slow, on_notification<0>), 0);
    ASSERT_EQ(follow<CapFabTable>(quick, on_notification<1>), 0);
    ASSERT_NO_FATAL_FAILURE(fall_behind(quick));
    ASSERT_EQ(put(quick, ByUrl<CapFabTable>("/a").message(), {kInt}), 0);
    ASSERT_TRUE(settle(quick, quick));
    EXPECT_EQ(slot(1).commands(), (std::vector<int32_t>{29, 4}));
    EXPECT_TRUE(recorder().reconnections.empty());
}

TEST_P(OverflowTest, AFieldFollowerIsGivenThePresentValue) {
    const ClientPtr client = connect();
    const ClientPtr writer = connect();
    ASSERT_EQ(ox_mom_client_set_reconnect_cb(client.get(), kGlobalDb, on_reconnect, nullptr), 0);
    ASSERT_EQ(follow<CapTable>(client, on_notification<0>), 0);
    ASSERT_EQ(follow_field(client, Cap("/1").message(), kInt, on_field<1>), 0);
    ASSERT_NO_FATAL_FAILURE(fall_behind(writer));
    ASSERT_TRUE(pump_until(client, [] { return !recorder().reconnections.empty(); }));
    ASSERT_FALSE(slot(1).events.empty());
    EXPECT_EQ(slot(1).events.back().as<CapTable>().int32_value, stored_int(writer, "/1"));
}

TEST(EmbeddedOverflowTest, WhatIsWithinTheBoundIsAllDelivered) {
    const ClientPtr client = test_support::connect_client("mem:within-the-bound", {kGlobalDb});
    ASSERT_EQ(follow<CapTable>(client), 0);
    for (int value = 1; value < kBound; ++value) {
        ASSERT_EQ(put_int(client, "/a", value), 0);
    }
    ASSERT_TRUE(pump_until(client, [] { return slot().events.size() == kBound; }));
    EXPECT_EQ(slot().events.back().as<CapTable>().int32_value, kBound - 1);
}

// What the process has in memory, in MiB.
double resident() {
    std::ifstream statm("/proc/self/statm");
    long pages = 0;
    statm >> pages >> pages;
    return static_cast<double>(pages) * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1 << 20);
}

TEST(EmbeddedOverflowTest, FewNotificationsOfManyBytesAreTooMuchToo) {
    const ClientPtr client = test_support::connect_client("mem:bytes", {kGlobalDb});
    const ClientPtr writer = test_support::connect_client("mem:bytes", {kGlobalDb});
    ASSERT_EQ(ox_mom_client_set_reconnect_cb(client.get(), kGlobalDb, on_reconnect, nullptr), 0);
    ASSERT_EQ(follow<CapTable>(client, [](MomClient *, MomMsg *) { return 0; }), 0);
    ASSERT_EQ(ox_mom_client_process(client.get(), 0), 1);
    std::string text(1 << 20, 'x');
    Cap cap("/a");
    cap.record.str_value = text.data();
    [[maybe_unused]] const double before = resident();
    double most = 0;
    for (int i = 0; i < 60; ++i) {
        ASSERT_EQ(put(writer, cap.message(), {kStr}), 0);
    }
    ASSERT_EQ(ox_mom_client_process(client.get(), 0), 60) << "within the bound";
    EXPECT_TRUE(recorder().reconnections.empty());
    for (int i = 0; i < 500; ++i) {
        ASSERT_EQ(put(writer, cap.message(), {kStr}), 0);
        most = std::max(most, resident());
    }
    ASSERT_TRUE(pump_until(client, [] { return recorder().reconnections.size() == 1; }));
    text.resize(1);
    cap.record.str_value = text.data();
    ASSERT_EQ(put(writer, cap.message(), {kStr}), 0);
    while (ox_mom_client_process(client.get(), 0) > 0) {
    }
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // which keep what is freed
    EXPECT_LT(most - before, 100);
    EXPECT_LT(resident() - before, 20) << "and gives it back";
#endif
}

// Short ones that have waited leave nothing behind either.
TEST(EmbeddedOverflowTest, WhatHasWaitedTakesNoMemoryAfterwards) {
    const ClientPtr client = test_support::connect_client("mem:waited", {kGlobalDb});
    ASSERT_EQ(follow<CapTable>(client, [](MomClient *, MomMsg *) { return 0; }), 0);
    std::string text(900, 'x');
    Cap cap("/a");
    cap.record.str_value = text.data();
    const double before = resident();
    for (int i = 0; i < 60000; ++i) {
        ASSERT_EQ(put(client, cap.message(), {kStr}), 0);
    }
    EXPECT_GT(resident() - before, 40);
    while (ox_mom_client_process(client.get(), 0) > 0) {
    }
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_LT(resident() - before, 25);
#endif
}

class ServerOverflowTest : public ServerTest {};
INSTANTIATE_OVER_SERVERS(ServerOverflowTest);

// A request that waits for a confirmation reads everything that was published before it.
TEST_P(ServerOverflowTest, WhatARequestReadsOnItsWayIsBoundedToo) {
    const ClientPtr client = connect();
    const ClientPtr writer = connect();
    RedisConnection raw = server().connection();
    raw.must({"CONFIG", "SET", "client-output-buffer-limit", "pubsub 0 0 0"});
    RedisConnection listener = server().connection();
    listener.must({"PSUBSCRIBE", "*"});
    ASSERT_EQ(ox_mom_client_set_reconnect_cb(client.get(), kGlobalDb, on_reconnect, nullptr), 0);
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_TRUE(settle(client, writer));
    ASSERT_EQ(put_int(writer, "/a", 1), 0);
    for (;;) {
        const RedisReply message = listener.next_message();
        const std::string channel(message->element[2]->str, message->element[2]->len);
        if (channel.find("cap_table") != std::string::npos) {
            listener = server().connection();
            raw.repeat({"PUBLISH", channel, {message->element[3]->str, message->element[3]->len}}, kBound + 5000);
            break;
        }
    }
    const int32_t status = follow_field(client, Cap("/a").message(), kInt, on_field<1>);
    EXPECT_TRUE(status == 0 || status == OX_MOM_E_LOST) << status;
    ASSERT_TRUE(pump_until(client, [] { return !recorder().reconnections.empty(); }));
    EXPECT_LE(slot().events.size(), static_cast<size_t>(kBound) + 1);
    EXPECT_EQ(put_int(client, "/a", 1), 0);
}

}  // namespace
}  // namespace mom_test
