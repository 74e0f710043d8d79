// process(), and a client inside somebody else's poll loop.
#include "asleep.h"
#include "contract_test.h"

#include <thread>
#include <unistd.h>

namespace mom_test {
namespace {

constexpr int32_t kMuchLonger = 100 * static_cast<int32_t>(kLongEnough.count());

class ProcessTest : public StoreTest {
protected:
    static void expect_quiet(const ClientPtr &client) {
        const int fd = ox_mom_client_fd(client.get());
        EXPECT_FALSE(readable(fd, milliseconds(0)));
        // Whatever the server has said before it confirms this has come then.
        ASSERT_EQ(follow_field(client, Cap("/nobody's").message(), kInt, on_field<5>), 0);
        EXPECT_EQ(ox_mom_client_process(client.get(), 0), 0);
        EXPECT_FALSE(readable(fd, milliseconds(0)));
    }
};
INSTANTIATE_OVER_STORES(ProcessTest);

TEST_P(ProcessTest, ReturnsHowManyCallbacksItMade) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client, on_notification<0>), 0);
    ASSERT_EQ(follow<CapTable>(client, on_notification<1>), 0);
    int32_t made = ox_mom_client_process(client.get(), 0);
    EXPECT_EQ(made, 2);
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_EQ(put_int(client, "/a", 2), 0);
    while (made < 6) {
        const int32_t more = ox_mom_client_process(client.get(), static_cast<int32_t>(kLongEnough.count()));
        ASSERT_GT(more, 0);
        made += more;
    }
    EXPECT_EQ(made, 6);
    EXPECT_EQ(slot(0).events.size() + slot(1).events.size(), 6u);
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 0);
}

TEST_P(ProcessTest, WaitsNoLongerThanItsTimeout) {
    const ClientPtr client = connect();
    const Stopwatch waited;
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 0);
    EXPECT_EQ(ox_mom_client_process(client.get(), 150), 0);
    EXPECT_GE(waited.elapsed(), milliseconds(149));
    EXPECT_LT(waited.elapsed(), kLongEnough);
}

TEST_P(ProcessTest, DoesNotWaitWhenSomethingIsDue) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    const Stopwatch watch;
    EXPECT_EQ(ox_mom_client_process(client.get(), kMuchLonger), 1);
    EXPECT_LT(watch.elapsed(), kLongEnough);
}

TEST_P(ProcessTest, WithoutALimitWaitsForTheNextNotification) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(ox_mom_client_process(client.get(), 0), 1);
    std::thread writer([this, waiting = gettid()] {
        const ClientPtr mine = connect();
        EXPECT_TRUE(test_support::falls_asleep(waiting));
        ASSERT_EQ(put_int(mine, "/a", 1), 0);
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
    expect_quiet(client);
    EXPECT_EQ(ox_mom_client_fd(client.get()), fd) << "it stays the same";
}

TEST_P(ProcessTest, TheDescriptorIsReadableForAConfirmationAndQuietAfterIt) {
    const ClientPtr client = connect();
    const int fd = ox_mom_client_fd(client.get());
    ASSERT_EQ(follow<CapTable>(client), 0);
    EXPECT_TRUE(readable(fd, milliseconds(0)));
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 1);
    expect_quiet(client);
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
            ASSERT_TRUE(readable(fd, kLongEnough));
            ASSERT_GE(ox_mom_client_process(client.get(), 0), 0);
        }
    }
    expect_quiet(client);
}

TEST_P(ProcessTest, TheDescriptorIsReadableForWhatARequestReadOnItsWay) {
    const ClientPtr client = connect();
    const ClientPtr writer = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(ox_mom_client_process(client.get(), 0), 1);
    ASSERT_EQ(put_int(writer, "/a", 1), 0);
    // Waiting for this confirmation reads the notification before it.
    ASSERT_EQ(follow_field(client, Cap("/b").message(), kInt, on_field<1>), 0);
    EXPECT_TRUE(readable(ox_mom_client_fd(client.get()), kLongEnough));
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 1);
    EXPECT_EQ(slot().count(4), 1);
}

TEST_P(ProcessTest, WhatACallbackLeavesUndoneKeepsTheDescriptorReadable) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    slot().hook = [&client](MomClient *, MomMsg *msg) {
        if (msg->cmd == OX_MOM_CMD_SUBSCRIBED && slot(1).events.empty()) {
            EXPECT_EQ(follow<CapTable>(client, on_notification<1>), 0);
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
    while (slot().count(4) < kWrites && readable(fd, kLongEnough)) {
        EXPECT_GE(ox_mom_client_process(client.get(), 0), 0);
    }
    writer.join();
    EXPECT_EQ(slot().count(4), kWrites);
}

}  // namespace
}  // namespace mom_test
