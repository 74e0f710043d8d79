// Stores named by a sentinel's service: the master is asked for at every connection.
#include "mom_test.h"
#include "sentinel_servers.h"
#include "standard_error.h"

#include <optional>
#include <thread>

namespace mom_test {
namespace {

class SentinelTest : public ServerTest {
protected:
    void SetUp() override { servers_.emplace(GetParam().program); }

    RedisServer &master() { return servers_->master(); }
    RedisServer &replica() { return servers_->replica(); }
    RedisServer &sentinel() { return servers_->sentinel(); }
    bool replica_is_ready() { return servers_->replica_is_ready(); }
    bool fail_over() { return servers_->fail_over(); }
    bool replica_has_everything() { return servers_->replica_has_everything(); }

    std::string name(const std::string &hosts) { return "sentinel://" + hosts + "/service"; }
    std::string address(int port) { return "127.0.0.1:" + std::to_string(port); }

private:
    std::optional<test_support::SentinelServers> servers_;
};
INSTANTIATE_OVER_SERVERS(SentinelTest);

TEST_P(SentinelTest, TheMasterIsFoundAndUsed) {
    const ClientPtr client = test_support::connect_client(name(address(sentinel().port())), {kGlobalDb});
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_EQ(follow<CapTable>(client), 0);
    EXPECT_EQ(stored_int(test_support::connect_client(master().store_name(), {kGlobalDb}), "/a"), 1);
}

TEST_P(SentinelTest, SentinelsThatDoNotAnswerArePassedOver) {
    const std::string gone = address(test_support::unused_port());
    const std::string hosts = gone + "," + address(sentinel().port()) + "," + gone;
    const ClientPtr client = test_support::connect_client(name(hosts), {kGlobalDb});
    EXPECT_EQ(put_int(client, "/a", 1), 0);
}

TEST_P(SentinelTest, NoSentinelAndNoSuchServiceAreSaid) {
    const ClientPtr nobody(ox_mom_client_create(name(address(test_support::unused_port())).c_str()));
    EXPECT_EQ(ox_mom_client_connect_sync(nobody.get(), kGlobalDb), OX_MOM_E_CONNECT);
    EXPECT_STRNE(ox_mom_last_error(), "");
    const std::string other = "sentinel://" + address(sentinel().port()) + "/other-service";
    const ClientPtr stranger(ox_mom_client_create(other.c_str()));
    EXPECT_EQ(ox_mom_client_connect_sync(stranger.get(), kGlobalDb), OX_MOM_E_CONNECT);
    EXPECT_NE(std::string(ox_mom_last_error()).find("other-service"), std::string::npos) << ox_mom_last_error();
}

TEST_P(SentinelTest, AMasterThatDoesNotTakeThePartIsNotUsed) {
    // The sentinel still names it, but it has become a replica.
    const ClientPtr client(ox_mom_client_create(name(address(sentinel().port())).c_str()));
    sentinel().pause();
    master().connection().must({"REPLICAOF", "127.0.0.1", std::to_string(replica().port())});
    sentinel().resume();
    EXPECT_EQ(ox_mom_client_connect_sync(client.get(), kGlobalDb), OX_MOM_E_CONNECT);
}

// Follows through a change of masters, made by change(), and ends in the state of the new one.
template <typename Change>
void expect_to_follow_the_change(const ClientPtr &client, const std::string &new_master, Change change) {
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
    ASSERT_EQ(put_int(client, "/before", 1), 0);
    change();
    ASSERT_TRUE(pump_until(client, [] { return !recorder().reconnections.empty() && slot().count(29) >= 2; }));

    const ClientPtr writer = test_support::connect_client(new_master, {kGlobalDb});
    const Stopwatch watch;
    while (put_int(writer, "/after", 2) != 0 && watch.elapsed() < kLongEnough) {
        std::this_thread::sleep_for(milliseconds(20));  // until it has taken the part
    }
    ASSERT_TRUE(pump_until(client, [&followed] { return followed.size() == 2; }))
        << followed.size() << " records after " << recorder().reconnections.size() << " reconnections";
    EXPECT_EQ(followed, stored_state<CapTable>(writer));
    EXPECT_EQ(put_int(client, "/again", 3), 0);
}

TEST_P(SentinelTest, AFailOverIsAReconnection) {
    const ClientPtr client = test_support::connect_client(name(address(sentinel().port())), {kGlobalDb});
    ASSERT_TRUE(replica_is_ready());
    expect_to_follow_the_change(client, replica().store_name(), [this] {
        ASSERT_TRUE(replica_has_everything());
        master().kill();
        ASSERT_TRUE(fail_over());
    });
}

TEST_P(SentinelTest, ADemotedMasterIsNotFollowedAnyLonger) {
    const ClientPtr client = test_support::connect_client(name(address(sentinel().port())), {kGlobalDb});
    ASSERT_TRUE(replica_is_ready());
    expect_to_follow_the_change(client, replica().store_name(), [this] {
        ASSERT_TRUE(replica_has_everything());
        ASSERT_TRUE(fail_over());
    });
}

TEST_P(SentinelTest, APlannedFailOverIsFollowedAsSoonAsItIsAnnounced) {
    const ClientPtr client = test_support::connect_client(name(address(sentinel().port())), {kGlobalDb});
    ASSERT_EQ(ox_mom_client_set_reconnect_cb(client.get(), kGlobalDb, on_reconnect, nullptr), 0);
    ASSERT_TRUE(replica_is_ready());
    // The client listens, too, by now.
    RedisConnection raw = sentinel().connection();
    ASSERT_TRUE(process_until(client, [&raw] {
        return raw.text({"CLIENT", "LIST", "TYPE", "pubsub"}).find("sub=1 ") != std::string::npos;
    }));
    RedisConnection listener = sentinel().connection();
    listener.must({"SUBSCRIBE", "+switch-master"});
    StandardError printed;
    // A sentinel takes its time to tell the old master, who then cuts everybody off. This one can't be told.
    master().pause();
    ASSERT_TRUE(fail_over());
    listener.next_message();
    const Stopwatch watch;
    ASSERT_TRUE(pump_until(client, [] { return !recorder().reconnections.empty(); }));
    EXPECT_LT(watch.elapsed(), milliseconds(2000));
    EXPECT_NE(printed.text().find("the master; the next attempt is made at once"), std::string::npos) << printed.text();
    EXPECT_EQ(put_int(client, "/a", 1), 0);
}

// Several sentinels, some of which have come to name another master, and announced nothing.
class SentinelMajorityTest : public ServerTest {
protected:
    void SetUp() override {
        servers_.emplace(GetParam().program, test_support::SentinelOptions{.sentinels = 3});
        client_ = test_support::connect_client(servers().store_name(), {kGlobalDb});
        ASSERT_EQ(ox_mom_client_set_reconnect_cb(client_.get(), kGlobalDb, on_reconnect, nullptr), 0);
        for (size_t i = 0; i < 3; ++i) {
            ASSERT_TRUE(is_listened_to(i));
        }
        servers().replica().connection().must({"REPLICAOF", "NO", "ONE"});
        for (size_t i = 0; i < 3; ++i) {
            name_master(i, servers().master());  // lest a sentinel makes the other one a replica again
        }
    }

    void name_master(size_t sentinel, const RedisServer &server) {
        RedisConnection raw = servers().sentinel(sentinel).connection();
        raw.must({"SENTINEL", "REMOVE", "service"});
        raw.must({"SENTINEL", "MONITOR", "service", "127.0.0.1", std::to_string(server.port()), "2"});
    }

    bool is_listened_to(size_t sentinel) {
        RedisConnection raw = servers().sentinel(sentinel).connection();
        return process_until(client_, [&raw] {
            return raw.text({"CLIENT", "LIST"}).find("sub=1 ") != std::string::npos;
        });
    }

    // The announcement is made while nobody listens.
    void change_mind(size_t sentinel) {
        name_master(sentinel, servers().replica());
        servers().sentinel(sentinel).connection().must({"CLIENT", "KILL", "TYPE", "pubsub"});
    }

    test_support::SentinelServers &servers() { return *servers_; }

    ClientPtr client_;

private:
    std::optional<test_support::SentinelServers> servers_;
};
INSTANTIATE_OVER_SERVERS(SentinelMajorityTest);

// The old one still answers everything.
TEST_P(SentinelMajorityTest, AChangeThatWasAnnouncedToNobodyIsFollowedOnceMostNameIt) {
    for (size_t i = 1; i < 3; ++i) {
        change_mind(i);
    }
    ASSERT_TRUE(pump_until(client_, [] { return !recorder().reconnections.empty(); }));
    ASSERT_EQ(put_int(client_, "/a", 1), 0) << ox_mom_last_error();
    EXPECT_EQ(stored_int(test_support::connect_client(servers().replica().store_name(), {kGlobalDb}), "/a"), 1)
        << "though the first sentinel still names the old one, which says that it is the master";
}

// It never runs the client, and the old master confirms all that it writes.
TEST_P(SentinelMajorityTest, AProgramThatMakesRequestsOnlyFollowsItToo) {
    for (size_t i = 0; i < 3; ++i) {
        change_mind(i);
    }
    const ClientPtr there = test_support::connect_client(servers().replica().store_name(), {kGlobalDb});
    const Stopwatch watch;
    for (int value = 1; stored_int(there, "/a") == -1 && watch.elapsed() < kLongEnough; ++value) {
        put_int(client_, "/a", value);
        std::this_thread::sleep_for(milliseconds(5));
    }
    EXPECT_NE(stored_int(there, "/a"), -1);
}

TEST_P(SentinelMajorityTest, OneThatIsAloneIsNotBelieved) {
    change_mind(0);
    ASSERT_TRUE(is_listened_to(0));
    ASSERT_GE(ox_mom_client_process(client_.get(), 0), 0);  // its answer has come
    ASSERT_EQ(put_int(client_, "/a", 1), 0) << ox_mom_last_error();
    MomClientStatus status{};
    status.size = sizeof status;
    ASSERT_EQ(ox_mom_client_status(client_.get(), &status), 0);
    EXPECT_EQ(status.losses, 0U);
    EXPECT_EQ(stored_int(test_support::connect_client(servers().master().store_name(), {kGlobalDb}), "/a"), 1);
}

TEST_P(SentinelTest, AMasterThatRefusesWritesIsLeftForTheOneThatTheSentinelNames) {
    const ClientPtr client = test_support::connect_client(name(address(sentinel().port())), {kGlobalDb});
    ASSERT_EQ(ox_mom_client_set_reconnect_cb(client.get(), kGlobalDb, on_reconnect, nullptr), 0);
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    // Told by no announcement, and without a connection cut.
    RedisConnection raw = sentinel().connection();
    raw.must({"SENTINEL", "REMOVE", "service"});
    replica().connection().must({"REPLICAOF", "NO", "ONE"});
    master().connection().must({"REPLICAOF", "127.0.0.1", std::to_string(replica().port())});
    raw.must({"SENTINEL", "MONITOR", "service", "127.0.0.1", std::to_string(replica().port()), "1"});
    EXPECT_EQ(put_int(client, "/a", 2), OX_MOM_E_LOST);
    EXPECT_NE(std::string(ox_mom_last_error()).find("READONLY"), std::string::npos) << ox_mom_last_error();
    ASSERT_TRUE(pump_until(client, [] { return !recorder().reconnections.empty(); }));
    EXPECT_EQ(put_int(client, "/a", 3), 0) << ox_mom_last_error();
    EXPECT_EQ(stored_int(test_support::connect_client(replica().store_name(), {kGlobalDb}), "/a"), 3);
}

}  // namespace
}  // namespace mom_test
