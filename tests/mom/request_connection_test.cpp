// The connections that requests are made on: closed, refused or silent, each by itself, while following goes on.
#include "mom_test.h"
#include "proxy.h"

#include <set>
#include <thread>

namespace mom_test {
namespace {

using Commands = std::vector<int32_t>;

// How many connections of that kind the server has, but for those that ask.
size_t connections(RedisConnection &raw, const std::string &type) {
    const std::string list = raw.text({"CLIENT", "LIST", "TYPE", type});
    size_t count = 0;
    for (size_t at = list.find("id="); at != std::string::npos; at = list.find("\nid=", at + 1)) {
        ++count;
    }
    return count - (type == "normal" ? 1 : 0);
}

class RequestConnectionTest : public ServerTest {
protected:
    // A follower of a type and of a field, which has loaded.
    ClientPtr follower(const std::vector<int32_t> &databases = {kGlobalDb}) {
        ClientPtr client = connect(databases);
        for (const int32_t db : databases) {
            EXPECT_EQ(ox_mom_client_set_reconnect_cb(client.get(), db, on_reconnect, nullptr), 0);
        }
        EXPECT_EQ(follow<CapTable>(client, on_notification<0>), 0);
        EXPECT_EQ(follow_field(client, Cap("/a").message(), kInt, on_field<1>), 0);
        EXPECT_EQ(put_int(client, "/a", 1), 0);
        EXPECT_TRUE(settle(client, client));
        return client;
    }

    // Until a request would look whether its connection still stands: a connection in use is not looked at.
    static void rest(const ClientPtr &client) {
        EXPECT_GE(ox_mom_client_process(client.get(), 0), 0);
        std::this_thread::sleep_for(milliseconds(5));
    }

    static void expect_no_loss(const ClientPtr &client) {
        EXPECT_TRUE(settle(client, client));
        EXPECT_TRUE(recorder().reconnections.empty());
        EXPECT_EQ(slot(0).count(OX_MOM_CMD_SUBSCRIBED), 1);
        EXPECT_EQ(slot(1).events.size(), static_cast<size_t>(slot(0).count(OX_MOM_CMD_DELIVERED)));
    }
};
INSTANTIATE_OVER_SERVERS(RequestConnectionTest);

class IdleTimeoutTest : public RequestConnectionTest {
protected:
    RedisOptions server_options() const override {
        RedisOptions options;
        options.arguments = {"--timeout", "1"};
        return options;
    }
};
INSTANTIATE_OVER_SERVERS(IdleTimeoutTest);

TEST_P(IdleTimeoutTest, IsNoticedByNothingButANewConnection) {
    const ClientPtr client = follower({kCardDb, kGlobalDb});
    RedisConnection raw = server().connection();
    for (int round = 2; round <= 3; ++round) {
        ASSERT_GE(connections(raw, "normal"), 1u);
        ASSERT_TRUE(process_until(client, [&] { return connections(raw, "normal") == 0; }));
        ASSERT_EQ(put_int(client, "/a", round), 0) << ox_mom_last_error();
        ASSERT_EQ(stored_int(client, "/a"), round);
        ASSERT_EQ(put(client, Card(1, 2, 3, round).message(), {8}, kCardDb), 0);
    }
    expect_no_loss(client);
}

TEST_P(IdleTimeoutTest, IsNoLossOfAProgramThatOnlyMakesRequestsEither) {
    const ClientPtr client = connect();
    ASSERT_EQ(ox_mom_client_set_reconnect_cb(client.get(), kGlobalDb, on_reconnect, nullptr), 0);
    RedisConnection raw = server().connection();
    ASSERT_TRUE(process_until(client, [&] { return connections(raw, "normal") == 0; }));
    EXPECT_EQ(connections(raw, "pubsub"), 1u);
    EXPECT_EQ(put_int(client, "/a", 1), 0) << ox_mom_last_error();
    ASSERT_TRUE(settle(client, client));
    EXPECT_TRUE(recorder().reconnections.empty());
}

TEST_P(RequestConnectionTest, OneThatTheServerClosedIsOpenedAnew) {
    const ClientPtr client = follower();
    for (const int requests : {0, 1, 100}) {
        for (int i = 1; i <= requests; ++i) {
            ASSERT_EQ(put_int(client, "/a", i), 0);
        }
        server().connection().must({"CLIENT", "KILL", "TYPE", "normal"});
        rest(client);
        ASSERT_EQ(put_int(client, "/a", 7), 0) << ox_mom_last_error();
        server().connection().must({"CLIENT", "KILL", "TYPE", "normal"});
        rest(client);
        ASSERT_EQ(stored_int(client, "/a"), 7) << ox_mom_last_error();
        ASSERT_EQ(stored_state<CapTable>(client).size(), 1u);
    }
    expect_no_loss(client);
}

// The follower's own connection stands, so nothing is lost: the request alone finds no way to the server.
TEST_P(RequestConnectionTest, AServerThatIsFullIsLostToTheRequestThatFindsItSo) {
    const ClientPtr client = follower();
    RedisConnection raw = server().connection();
    raw.must({"CLIENT", "KILL", "TYPE", "normal", "SKIPME", "yes"});
    const size_t full = connections(raw, "normal") + 1 + connections(raw, "pubsub");
    raw.must({"CONFIG", "SET", "maxclients", std::to_string(full)});
    rest(client);
    EXPECT_EQ(error_of_read(client), OX_MOM_E_LOST) << ox_mom_last_error();
    raw.must({"CONFIG", "SET", "maxclients", "1000"});
    EXPECT_EQ(stored_int(client, "/a"), 1);
    expect_no_loss(client);
}

TEST_P(RequestConnectionTest, AReadWhoseConnectionEndsIsMadeAgainOnce) {
    Proxy proxy(server().socket_path());
    use_store(proxy.store_name());
    const ClientPtr client = follower();
    ASSERT_EQ(set<CapGlbState>(client, true), 0);
    for (const int32_t round : {1, 2}) {
        proxy.cut_next_answer();
        ASSERT_EQ(stored_int(client, "/a"), 1) << round << ox_mom_last_error();
        proxy.cut_next_answer();
        ASSERT_EQ(stored_state<CapTable>(client).size(), 1u) << round;
        proxy.cut_next_answer();
        ASSERT_EQ(stored_state<CapGlbState>(client).size(), 1u) << round;
    }
    expect_no_loss(client);
}

TEST_P(RequestConnectionTest, AScanWhoseConnectionEndsGoesOnWithABatchOnce) {
    constexpr size_t kBatch = 256;  // records that a scan asks for at once
    const ClientPtr writer = connect();
    for (size_t i = 0; i < 2 * kBatch; ++i) {
        ASSERT_EQ(put_int(writer, "/" + std::to_string(i), 1), 0);
    }
    Proxy proxy(server().socket_path());
    use_store(proxy.store_name());
    const ClientPtr client = connect();
    ASSERT_EQ(ox_mom_client_set_reconnect_cb(client.get(), kGlobalDb, on_reconnect, nullptr), 0);
    std::set<std::string> seen;
    slot().hook = [&](MomClient *, MomMsg *) {
        if (slot().events.size() == 1) {
            proxy.cut_next_answer();
        }
        EXPECT_TRUE(seen.insert(slot().events.back().as<CapTable>().index->url).second) << "each record once";
    };
    ASSERT_EQ(ox_mom_scan_sync(client.get(), kGlobalDb, Cap("").message(), 0, on_notification<0>, nullptr), 0);
    EXPECT_EQ(seen.size(), 2 * kBatch);
    ASSERT_TRUE(settle(client, writer));
    EXPECT_TRUE(recorder().reconnections.empty());
}

TEST_P(RequestConnectionTest, ALoadThatFailsIsMadeAgain) {
    Proxy proxy(server().socket_path());
    use_store(proxy.store_name());
    const ClientPtr client = connect();
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    int32_t loaded = 1;
    slot().hook = [&](MomClient *, MomMsg *msg) {
        if (msg->cmd == OX_MOM_CMD_SUBSCRIBED) {
            proxy.cut_next_answers(loaded == 1 ? 2 : 0);  // made again once by itself
            loaded = ox_mom_scan_sync(client.get(), kGlobalDb, Cap("").message(), 0, on_notification<1>, nullptr);
        }
    };
    recorder().reconnect_hook = [&client](MomClient *, int32_t) { EXPECT_EQ(follow<CapTable>(client), 0); };
    ASSERT_EQ(ox_mom_client_set_reconnect_cb(client.get(), kGlobalDb, on_reconnect, nullptr), 0);
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_TRUE(pump_until(client, [&] { return loaded != 1; }));
    EXPECT_EQ(loaded, OX_MOM_E_LOST);
    ASSERT_TRUE(pump_until(client, [&] { return loaded == 0; }));
    EXPECT_EQ(recorder().reconnections.size(), 1u);
    EXPECT_EQ(slot(1).events.size(), 1u);
}

TEST_P(RequestConnectionTest, AWriteWhoseConnectionEndsIsLostForItMayHaveBeenDone) {
    Proxy proxy(server().socket_path());
    const ClientPtr client = follower();
    use_store(proxy.store_name());
    const ClientPtr writer = connect();
    ASSERT_EQ(ox_mom_client_set_reconnect_cb(writer.get(), kGlobalDb, on_reconnect, nullptr), 0);
    ASSERT_EQ(put_int(writer, "/b", 1), 0);
    proxy.cut_next_answer();
    ASSERT_EQ(put_int(writer, "/b", 2), OX_MOM_E_LOST);
    EXPECT_STRNE(ox_mom_last_error(), "");
    EXPECT_EQ(stored_int(writer, "/b"), 2) << "here it was";
    ASSERT_TRUE(settle(client, writer));
    ASSERT_TRUE(settle(writer, writer));
    EXPECT_TRUE(recorder().reconnections.empty());
    EXPECT_EQ(slot(0).commands(), (Commands{29, 4, 4, 4})) << "and told once";
}

TEST_P(RequestConnectionTest, OneThatIsSilentAloneIsNoLossOfTheStore) {
    setenv("OX_MOM_TIMEOUT_MS", "300", 1);
    Proxy proxy(server().socket_path());
    const ClientPtr client = follower();
    unsetenv("OX_MOM_TIMEOUT_MS");
    // The request waits behind another client's, and the server answers all others.
    RedisConnection raw = server().connection();
    raw.must({"CLIENT", "PAUSE", "10000", "WRITE"});
    const Stopwatch watch;
    EXPECT_EQ(put_int(client, "/late", 1), OX_MOM_E_TIMEOUT);
    EXPECT_LT(watch.elapsed(), milliseconds(1300));
    EXPECT_EQ(stored_int(client, "/a"), 1) << "on a connection that is not kept waiting: " << ox_mom_last_error();
    raw.must({"CLIENT", "UNPAUSE"});
    EXPECT_EQ(put_int(client, "/a", 2), 0);
    EXPECT_EQ(stored_int(client, "/a"), 2);
    ASSERT_TRUE(settle(client, client));
    EXPECT_TRUE(recorder().reconnections.empty());
}

TEST_P(RequestConnectionTest, ADatabaseThatIsRefusedLeavesTheOthersAlone) {
    const ClientPtr client = follower();
    RedisConnection raw = server().connection();
    raw.must({"ACL", "SETUSER", "default", "-select"});
    EXPECT_EQ(ox_mom_client_connect_sync(client.get(), kCardDb), OX_MOM_E_REFUSED);
    EXPECT_NE(std::string(ox_mom_last_error()).find("select"), std::string::npos) << ox_mom_last_error();
    EXPECT_EQ(put_int(client, "/a", 2), 0) << ox_mom_last_error();
    EXPECT_EQ(put(client, Card(1, 2, 3, 4).message(), {8}, kCardDb), OX_MOM_E_NOT_CONNECTED);
    raw.must({"ACL", "SETUSER", "default", "+select"});
    EXPECT_EQ(ox_mom_client_connect_sync(client.get(), kCardDb), 0) << ox_mom_last_error();
    EXPECT_EQ(put(client, Card(1, 2, 3, 4).message(), {8}, kCardDb), 0);
    expect_no_loss(client);
}

TEST_P(RequestConnectionTest, ADatabaseAskedForDuringAPauseIsTriedAtOnce) {
    Proxy proxy(server().socket_path());
    use_store(proxy.store_name());
    const ClientPtr client = follower();
    server().kill();
    while (proxy.ended() < 4) {  // two connections, and two attempts
        ASSERT_GE(ox_mom_client_process(client.get(), 10), 0);
    }
    server().start();
    EXPECT_EQ(ox_mom_client_connect_sync(client.get(), kCardDb), 0) << ox_mom_last_error();
    EXPECT_EQ(put(client, Card(1, 2, 3, 4).message(), {8}, kCardDb), 0);
    EXPECT_EQ(put_int(client, "/a", 1), 0);
}

// A program that only makes requests has to be told that the store was away, and no more often.
TEST_P(RequestConnectionTest, TheFirstRequestAfterThePauseIsMade) {
    const ClientPtr client = connect();
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    server().restart(RedisServer::Data::kDropped);
    EXPECT_EQ(put_int(client, "/a", 1), OX_MOM_E_LOST);
    ASSERT_TRUE(readable(ox_mom_client_fd(client.get()), kLongEnough)) << "the pause is over";
    EXPECT_EQ(put_int(client, "/a", 1), 0) << ox_mom_last_error();
}

}  // namespace
}  // namespace mom_test
