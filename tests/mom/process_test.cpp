// process(), and a client inside somebody else's poll loop.
#include "mom_test.h"

#include <thread>

namespace mom_test {
namespace {

constexpr milliseconds kSoon(5000);
constexpr milliseconds kMoment(20);

class ProcessTest : public StoreTest {};
INSTANTIATE_OVER_STORES(ProcessTest);

TEST_P(ProcessTest, ReturnsHowManyCallbacksItMade) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client, on_message<0>), 0);
    ASSERT_EQ(follow<CapTable>(client, on_message<1>), 0);
    int32_t made = ox_mom_client_process(client.get(), 0);
    EXPECT_EQ(made, 2);
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_EQ(put_int(client, "/a", 2), 0);
    while (made < 6) {
        const int32_t more = ox_mom_client_process(client.get(), 5000);
        ASSERT_GT(more, 0);
        made += more;
    }
    EXPECT_EQ(made, 6);
    EXPECT_EQ(slot(0).events.size() + slot(1).events.size(), 6u);
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 0);
}

TEST_P(ProcessTest, WaitsNoLongerThanItsTimeout) {
    const ClientPtr client = connect();
    const Stopwatch at_once;
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 0);
    EXPECT_LT(at_once.elapsed(), milliseconds(100));
    const Stopwatch waited;
    EXPECT_EQ(ox_mom_client_process(client.get(), 150), 0);
    EXPECT_GE(waited.elapsed(), milliseconds(149));
    EXPECT_LT(waited.elapsed(), milliseconds(1000));
}

TEST_P(ProcessTest, DoesNotWaitWhenSomethingIsDue) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    const Stopwatch watch;
    EXPECT_EQ(ox_mom_client_process(client.get(), 10000), 1);
    EXPECT_LT(watch.elapsed(), milliseconds(2000));
}

TEST_P(ProcessTest, WithoutALimitWaitsForTheNextNotification) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(ox_mom_client_process(client.get(), 0), 1);
    std::thread writer([this] {
        std::this_thread::sleep_for(milliseconds(50));
        ASSERT_EQ(put_int(connect(), "/a", 1), 0);
    });
    EXPECT_EQ(ox_mom_client_process(client.get(), -1), 1);
    EXPECT_EQ(slot().count(4), 1);
    writer.join();
}

TEST_P(ProcessTest, TheDescriptorIsQuietWhenNothingIsDue) {
    const ClientPtr client = connect();
    const int fd = ox_mom_client_fd(client.get());
    ASSERT_GE(fd, 0);
    while (ox_mom_client_process(client.get(), 0) > 0 || readable(fd, milliseconds(0))) {
    }
    EXPECT_FALSE(readable(fd, kMoment));
    EXPECT_EQ(ox_mom_client_fd(client.get()), fd) << "it stays the same";
}

TEST_P(ProcessTest, TheDescriptorIsReadableForAConfirmationAndQuietAfterIt) {
    const ClientPtr client = connect();
    const int fd = ox_mom_client_fd(client.get());
    ASSERT_EQ(follow<CapTable>(client), 0);
    EXPECT_TRUE(readable(fd, milliseconds(0)));
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 1);
    EXPECT_FALSE(readable(fd, kMoment));
}

TEST_P(ProcessTest, TheDescriptorIsReadableForANotificationAndQuietAfterIt) {
    const ClientPtr client = connect();
    const ClientPtr writer = connect();
    const int fd = ox_mom_client_fd(client.get());
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(ox_mom_client_process(client.get(), 0), 1);
    for (int times = 1; times <= 20; ++times) {
        ASSERT_EQ(put_int(writer, "/a", times), 0);
        while (slot().count(4) < times) {
            ASSERT_TRUE(readable(fd, kSoon));
            ASSERT_GE(ox_mom_client_process(client.get(), 0), 0);
        }
    }
    EXPECT_FALSE(readable(fd, kMoment));
}

TEST_P(ProcessTest, TheDescriptorIsReadableForWhatARequestReadOnItsWay) {
    const ClientPtr client = connect();
    const ClientPtr writer = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(ox_mom_client_process(client.get(), 0), 1);
    ASSERT_EQ(put_int(writer, "/a", 1), 0);
    // Waiting for this confirmation reads the notification before it.
    ASSERT_EQ(follow_field(client, Cap("/b").message(), kInt, on_field<1>), 0);
    EXPECT_TRUE(readable(ox_mom_client_fd(client.get()), kSoon));
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 1);
    EXPECT_EQ(slot().count(4), 1);
}

TEST_P(ProcessTest, WhatACallbackLeavesUndoneKeepsTheDescriptorReadable) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    slot().hook = [&client](MomClient *, MomMsg *msg) {
        if (msg->cmd == OX_MOM_CMD_SUBSCRIBED && slot(1).events.empty()) {
            EXPECT_EQ(follow<CapTable>(client, on_message<1>), 0);
        }
    };
    ASSERT_GE(ox_mom_client_process(client.get(), 0), 1);
    if (slot(1).events.empty()) {
        EXPECT_TRUE(readable(ox_mom_client_fd(client.get()), milliseconds(0)));
        EXPECT_EQ(ox_mom_client_process(client.get(), 0), 1);
    }
    EXPECT_EQ(slot(1).count(29), 1);
}

TEST_P(ProcessTest, APollLoopAloneDeliversEverything) {
    constexpr int kWrites = 300;
    const ClientPtr client = connect();
    const int fd = ox_mom_client_fd(client.get());
    ASSERT_EQ(follow<CapTable>(client), 0);
    std::thread writer([this] {
        const ClientPtr mine = connect();
        for (int value = 0; value < kWrites; ++value) {
            ASSERT_EQ(put_int(mine, "/a", value), 0);
        }
    });
    while (slot().count(4) < kWrites && readable(fd, kSoon)) {
        EXPECT_GE(ox_mom_client_process(client.get(), 0), 0);
    }
    writer.join();
    EXPECT_EQ(slot().count(4), kWrites);
}

}  // namespace
}  // namespace mom_test
