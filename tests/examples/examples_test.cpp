#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "running.h"
#include "store_fixture.h"

namespace examples_test {

namespace {

using testing::UnorderedElementsAre;

constexpr const char *kUrl = "/l3/arp/capacity";

class Examples : public test_support::ServerTest {
protected:
    Running start(const std::string &example, const std::vector<std::string> &arguments = {}) const {
        return Running(store(), example, arguments);
    }
    void publish(const std::string &value) const { EXPECT_EQ(start("publish", {kUrl, value}).finish(), 0); }
    void must(int db, const std::vector<std::string> &command) {
        test_support::RedisConnection connection = server().connection();
        connection.must({"SELECT", std::to_string(db)});
        connection.must(command);
    }
    void expect_read(const std::string &line, int status) const {
        Running reader = start("read_capability", {kUrl});
        EXPECT_EQ(reader.line(), line);
        EXPECT_EQ(reader.finish(), status);
    }
};

INSTANTIATE_OVER_SERVERS(Examples);

TEST_P(Examples, ReadsWhatAnotherProcessPublishes) {
    expect_read("/l3/arp/capacity was never published", 1);
    publish("4096");
    expect_read("/l3/arp/capacity = 4096", 0);
    must(28, {"HDEL", "p_libpub.cap_table:/l3/arp/capacity", "7"});
    expect_read("/l3/arp/capacity is not an integer", 1);
}

TEST_P(Examples, FollowsACapabilityAcrossARestart) {
    publish("4096");
    Running follower = start("follow_capability", {kUrl});
    EXPECT_EQ(follower.line(), "at first: /l3/arp/capacity = 4096");
    publish("8192");
    EXPECT_EQ(follower.line(), "change 1: /l3/arp/capacity = 8192");
    server().restart(test_support::RedisServer::Data::kKept);
    EXPECT_EQ(follower.line(), "change 2: /l3/arp/capacity = 8192");
    publish("-1");
    EXPECT_EQ(follower.line(), "change 3: /l3/arp/capacity = -1");
}

TEST_P(Examples, FollowsACapabilityThatIsNotThereYet) {
    Running follower = start("follow_capability", {kUrl});
    EXPECT_EQ(follower.line(), "at first: /l3/arp/capacity has no value");
    publish("0");
    EXPECT_EQ(follower.line(), "change 1: /l3/arp/capacity = 0");
}

TEST_P(Examples, FollowsReadinessAndServesItsInputInOneLoop) {
    Running follower = start("poll_readiness");
    follower.type("\n");
    EXPECT_EQ(follower.line(), "0 events so far");
    publish("1");
    EXPECT_EQ(follower.line(), "node 17 is ready");
    EXPECT_EQ(follower.line(), "the device is ready");
    follower.type("\n");
    EXPECT_EQ(follower.line(), "2 events so far");
    follower.end_input();
    EXPECT_EQ(follower.finish(), 0);
}

TEST_P(Examples, WaitForTheStoreAndTellAgainWhatARestartHasKept) {
    server().kill();
    Running application = start("first_application");
    server().start();
    publish("4096");
    EXPECT_EQ(application.line(), "line card 17 is ready");
    EXPECT_EQ(application.line(), "the device is ready");
    EXPECT_EQ(application.line(), "room for 4096 ARP entries");
    server().restart(test_support::RedisServer::Data::kKept);
    for (const char *record : {"check", "card", "readiness"}) {
        EXPECT_EQ(application.line(), "line card 17 is ready") << record;
    }
    EXPECT_EQ(application.line(), "the device is ready");
    EXPECT_EQ(application.line(), "room for 4096 ARP entries");
    server().restart(test_support::RedisServer::Data::kDropped);
    EXPECT_EQ(application.line(), "removed card 17 is not ready");
}

TEST_P(Examples, FollowThatTheDeviceIsNoLongerReady) {
    Running follower = start("follow_device");
    EXPECT_EQ(follower.line(), "the device is not ready");
    publish("1");
    EXPECT_EQ(follower.line(), "the device is ready");
    server().restart(test_support::RedisServer::Data::kKept);
    EXPECT_EQ(follower.line(), "the device is ready");
    server().restart(test_support::RedisServer::Data::kDropped);
    EXPECT_EQ(follower.line(), "the device is not ready");
}

TEST_P(Examples, TellEachOfTwoThreads) {
    Running threads = start("two_threads");
    publish("1");
    EXPECT_THAT((std::vector{threads.line(), threads.line()}),
                UnorderedElementsAre("first thread: the device is ready", "second thread: the device is ready"));
    EXPECT_EQ(threads.finish(), 0);
}

TEST_P(Examples, FailWithoutAStore) {
    const std::vector<std::pair<std::string, std::vector<std::string>>> commands = {
        {"read_capability", {kUrl}}, {"follow_capability", {kUrl}}, {"follow_device", {}},
        {"poll_readiness", {}},      {"two_threads", {}},           {"publish", {kUrl, "1"}}};
    for (const auto &[example, arguments] : commands) {
        for (const char *store : {"unix:///nonexistent/socket", "nonsense"}) {
            EXPECT_EQ(Running(store, example, arguments).finish(), 1) << example;
        }
    }
}

TEST(EmbeddedExamples, PublishAsksForAStoreThatOthersSee) {
    testing::internal::CaptureStderr();
    const int status = Running("", "publish", {kUrl, "1"}).finish();
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_EQ(status, 2);
    EXPECT_NE(printed.find("OX_MOM_STORE=STORE"), std::string::npos) << printed;
}

}  // namespace

}  // namespace examples_test
