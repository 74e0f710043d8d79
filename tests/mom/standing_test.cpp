// How a client stands with its store, as it tells a program that asks.
#include "mom_test.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace mom_test {
namespace {

MomClientStatus status_of(const ClientPtr &client) {
    MomClientStatus status;
    std::memset(&status, 0x55, sizeof status);
    status.size = sizeof status;
    EXPECT_EQ(ox_mom_client_status(client.get(), &status), 0) << ox_mom_last_error();
    return status;
}

int64_t now_ms() {
    return std::chrono::duration_cast<milliseconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

class StandingTest : public StoreTest {};
INSTANTIATE_OVER_STORES(StandingTest);

class ServerStandingTest : public ServerTest {};
INSTANTIATE_OVER_SERVERS(ServerStandingTest);

TEST_P(StandingTest, AClientBeginsIdleAndIsUpOnceConnected) {
    const int64_t before = now_ms();
    const ClientPtr client(ox_mom_client_create(store().c_str()));
    MomClientStatus status = status_of(client);
    EXPECT_EQ(status.state, OX_MOM_STATE_IDLE);
    EXPECT_EQ(status.store, store());
    EXPECT_STREQ(status.reason, "");
    EXPECT_EQ(status.reason_code + static_cast<int32_t>(status.losses + status.requests + status.delivered), 0);
    ASSERT_EQ(ox_mom_client_connect_sync(client.get(), kGlobalDb), 0);
    status = status_of(client);
    EXPECT_EQ(status.state, OX_MOM_STATE_UP);
    EXPECT_GE(status.since_ms, before);
    EXPECT_LE(status.since_ms, now_ms());
    EXPECT_LE(status.state_ms, static_cast<uint64_t>(now_ms() - before) + 1);
    EXPECT_EQ(status.retry_ms, 0u);
    const int64_t since = status.since_ms;
    ASSERT_EQ(ox_mom_client_connect_sync(client.get(), kCardDb), 0);
    EXPECT_EQ(status_of(client).since_ms, since) << "one database more is no change";
}

TEST_P(StandingTest, WhatAClientDoesIsCounted) {
    const ClientPtr client = connect();
    const uint64_t connects = status_of(client).requests;
    EXPECT_EQ(connects, 1u);
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(follow_field(client, Cap("/a").message(), kInt), 0);
    ASSERT_EQ(follow_field(client, Cap("/a").message(), kBool), 0);
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_EQ(stored_int(client, "/a"), 1);
    ASSERT_EQ(set<CapGlbState>(client, true), 0);
    ASSERT_NE(ObjectPtr(ox_mom_get_sync(client.get(), kGlobalDb, Single<CapGlbState>().message(), nullptr)), nullptr);
    ASSERT_EQ(del(client, Cap("/none").message()), 0);
    ASSERT_EQ(stored_state<CapTable>(client).size(), 1u);
    EXPECT_EQ(put(client, Cap("/a").message(), {kInt}, kCardDb), OX_MOM_E_NOT_CONNECTED);
    EXPECT_EQ(ox_mom_hmset_sync(client.get(), kGlobalDb, nullptr, &kInt, 1), OX_MOM_E_ARGUMENT);
    MomClientStatus status = status_of(client);
    EXPECT_EQ(status.requests - connects, 9u) << "the caller's own mistakes are none";
    EXPECT_EQ(status.record_subscriptions, 1u);
    EXPECT_EQ(status.field_subscriptions, 2u);
    EXPECT_EQ(status.delivered, 0u);
    ASSERT_TRUE(settle(client, client));
    status = status_of(client);
    // 29, the record, its integer; and settle()'s own two.
    EXPECT_EQ(status.delivered, 5u);
    EXPECT_EQ(status.waiting, 0u);
    EXPECT_EQ(status.record_subscriptions, 2u);
    EXPECT_EQ(status.timed_out, 0u);
}

TEST_P(StandingTest, WhatWaitsIsCounted) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    EXPECT_EQ(status_of(client).waiting, 1u);
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    uint64_t inside = 0;
    slot().hook = [&](MomClient *, MomMsg *msg) {
        inside = msg->cmd == OX_MOM_CMD_SUBSCRIBED ? inside : status_of(client).delivered;
    };
    ASSERT_TRUE(pump_until(client, [] { return slot().count(4) == 1; }));
    EXPECT_EQ(inside, 2u) << "the callback that asks is one of them";
    EXPECT_EQ(status_of(client).waiting, 0u);
}

TEST_P(StandingTest, AStructOfAnotherVersionIsFilledAsFarAsItIsKnown) {
    const ClientPtr client = connect();
    MomClientStatus status{};
    EXPECT_EQ(ox_mom_client_status(client.get(), nullptr), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(ox_mom_client_status(nullptr, &status), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(ox_mom_client_status(client.get(), &status), OX_MOM_E_ARGUMENT);
    status.size = sizeof status - 1;
    EXPECT_EQ(ox_mom_client_status(client.get(), &status), OX_MOM_E_ARGUMENT);
    struct Later {
        MomClientStatus known;
        std::array<uint64_t, 4> added;
    } later{};
    later.known.size = sizeof later;
    later.added.fill(7);
    EXPECT_EQ(ox_mom_client_status(client.get(), &later.known), 0);
    EXPECT_EQ(later.known.size, sizeof later);
    EXPECT_EQ(later.known.state, OX_MOM_STATE_UP);
    EXPECT_EQ(later.added, (std::array<uint64_t, 4>{}));
}

TEST(StandingNameTest, ANameIsShownAsItWasGivenButForItsPassword) {
    const std::vector<std::pair<std::string, std::string>> shown = {
        {"mem:", "mem:"},
        {"mem:a@b:c", "mem:a@b:c"},
        {"unix:///tmp/user:secret@host", "unix:///tmp/user:secret@host"},
        {"redis://localhost", "redis://localhost"},
        {"redis://user:s3cret@[::1]:7000", "redis://user@[::1]:7000"},
        {"redis://:s3cret@localhost", "redis://localhost"},
        {"redis://us%40er:s3:c@ret@localhost", "redis://us%40er@localhost"},
        {"sentinel://one:1,two:2/service", "sentinel://one:1,two:2/service"},
    };
    for (const auto &[name, expected] : shown) {
        const ClientPtr client(ox_mom_client_create(name.c_str()));
        ASSERT_NE(client, nullptr) << name;
        EXPECT_EQ(status_of(client).store, expected);
    }
    const ClientPtr client(ox_mom_client_create(("mem:" + std::string(1000, 'x')).c_str()));
    EXPECT_EQ(status_of(client).store, "mem:" + std::string(248, 'x') + "...") << "a longer one is cut, and shows it";
}

// It has closed the connection before the client has said anything.
TEST_P(ServerStandingTest, WhyAServerSendsItAwayIsTheReason) {
    const ClientPtr client = connect();
    server().kill();
    unlink(server().socket_path().c_str());
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    server().socket_path().copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 8), 0);
    pollfd connecting{.fd = listener, .events = POLLIN, .revents = 0};
    const Stopwatch watch;
    while (poll(&connecting, 1, 1) == 0 && watch.elapsed() < kLongEnough) {
        ASSERT_GE(ox_mom_client_process(client.get(), 0), 0);
    }
    const int connection = accept(listener, nullptr, nullptr);
    constexpr std::string_view kWhy = "-ERR max number of clients reached\r\n";
    EXPECT_EQ(send(connection, kWhy.data(), kWhy.size(), MSG_NOSIGNAL), static_cast<ssize_t>(kWhy.size()));
    close(connection);
    close(listener);
    ASSERT_TRUE(process_until(client, [&client] { return status_of(client).reason_code == OX_MOM_E_REFUSED; }))
        << status_of(client).reason;
    EXPECT_NE(std::string(status_of(client).reason).find("max number of clients"), std::string::npos);
}

TEST_P(ServerStandingTest, AFailedFirstConnectIsNoLossAndHasAReason) {
    const ClientPtr client(ox_mom_client_create(("unix://" + server().socket_path() + ".none").c_str()));
    ASSERT_EQ(ox_mom_client_connect_sync(client.get(), kGlobalDb), OX_MOM_E_CONNECT);
    const std::string why = ox_mom_last_error();
    const MomClientStatus status = status_of(client);
    EXPECT_EQ(status.state, OX_MOM_STATE_IDLE);
    EXPECT_EQ(status.losses, 0u);
    EXPECT_EQ(status.reason_code, OX_MOM_E_CONNECT);
    EXPECT_EQ(status.reason, why);
}

TEST_P(ServerStandingTest, ALossIsCountedWithItsReasonUntilTheStoreIsBack) {
    const ClientPtr client = connect();
    ASSERT_EQ(ox_mom_client_set_reconnect_cb(client.get(), kGlobalDb, on_reconnect, nullptr), 0);
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(follow_field(client, Cap("/a").message(), kInt), 0);
    for (uint64_t loss = 1; loss <= 2; ++loss) {
        server().kill();
        ASSERT_TRUE(process_until(client, [&] { return status_of(client).state == OX_MOM_STATE_LOST; }));
        MomClientStatus status = status_of(client);
        EXPECT_EQ(status.losses, loss);
        EXPECT_LE(status.retry_ms, 2000u);
        EXPECT_NE(std::string(status.reason).find(server().socket_path()), std::string::npos) << status.reason;
        const int64_t since = status.since_ms;
        ASSERT_TRUE(process_until(client, [&] { return status_of(client).reason_code == OX_MOM_E_CONNECT; }));
        status = status_of(client);
        EXPECT_EQ(status.losses, loss) << "an attempt that fails is no loss";
        EXPECT_EQ(status.since_ms, since);
        server().start();
        ASSERT_TRUE(pump_until(client, [&] { return recorder().reconnections.size() == loss; }));
        status = status_of(client);
        EXPECT_EQ(status.state, OX_MOM_STATE_UP);
        EXPECT_EQ(status.record_subscriptions, 0u) << "forgotten";
        EXPECT_EQ(status.field_subscriptions, 1u);
        EXPECT_EQ(status.reason_code, OX_MOM_E_CONNECT) << "of the latest, for who comes later";
    }
}

TEST_P(ServerStandingTest, RequestsThatRunOutOfTimeAreCounted) {
    setenv("OX_MOM_TIMEOUT_MS", "500", 1);  // of which a busy machine may sleep a part away
    const ClientPtr client = connect();
    unsetenv("OX_MOM_TIMEOUT_MS");
    server().pause();
    EXPECT_EQ(error_of_read(client), OX_MOM_E_TIMEOUT);
    EXPECT_EQ(error_of_read(client), OX_MOM_E_LOST);
    server().resume();
    const MomClientStatus status = status_of(client);
    EXPECT_EQ(status.timed_out, 1u);
    EXPECT_EQ(status.requests, 3u);
    EXPECT_EQ(status.losses, 1u);
}

// A replica that lost its master and may not show what it has: it answers everything but what reads.
TEST_P(ServerStandingTest, AServerThatCannotReadIsNotUp) {
    const ClientPtr client = connect();
    ASSERT_EQ(ox_mom_client_set_reconnect_cb(client.get(), kGlobalDb, on_reconnect, nullptr), 0);
    RedisConnection raw = server().connection();
    raw.must({"CONFIG", "SET", "replica-serve-stale-data", "no"});
    raw.must({"REPLICAOF", "127.0.0.1", std::to_string(test_support::unused_port())});
    const ClientPtr newcomer(ox_mom_client_create(store().c_str()));
    EXPECT_EQ(ox_mom_client_connect_sync(newcomer.get(), kGlobalDb), OX_MOM_E_REFUSED);
    raw.must({"CLIENT", "KILL", "TYPE", "normal"});
    raw.must({"CLIENT", "KILL", "TYPE", "pubsub"});
    ASSERT_TRUE(process_until(
        client, [&] { return std::string(status_of(client).reason).find("MASTERDOWN") != std::string::npos; }));
    EXPECT_EQ(status_of(client).state, OX_MOM_STATE_LOST);
    EXPECT_EQ(status_of(client).reason_code, OX_MOM_E_REFUSED);
    EXPECT_TRUE(recorder().reconnections.empty());
    raw.must({"REPLICAOF", "NO", "ONE"});
    ASSERT_TRUE(pump_until(client, [] { return recorder().reconnections.size() == 1; }));
    EXPECT_EQ(stored_int(client, "/a"), -1);
    EXPECT_EQ(put_int(client, "/a", 1), 0);
}

TEST_P(ServerStandingTest, AServerThatCannotReadAnyMoreIsLost) {
    const ClientPtr client = connect();
    ASSERT_EQ(ox_mom_client_set_reconnect_cb(client.get(), kGlobalDb, on_reconnect, nullptr), 0);
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    RedisConnection raw = server().connection();
    raw.must({"CONFIG", "SET", "replica-serve-stale-data", "no"});
    raw.must({"REPLICAOF", "127.0.0.1", std::to_string(test_support::unused_port())});
    EXPECT_EQ(error_of_read(client), OX_MOM_E_LOST);
    EXPECT_EQ(status_of(client).state, OX_MOM_STATE_LOST);
    EXPECT_NE(std::string(status_of(client).reason).find("MASTERDOWN"), std::string::npos) << status_of(client).reason;
    raw.must({"REPLICAOF", "NO", "ONE"});
    ASSERT_TRUE(pump_until(client, [] { return recorder().reconnections.size() == 1; }));
    EXPECT_EQ(stored_int(client, "/a"), 1);
}

// Loads as slowly as it is told, and answers meanwhile.
class LoadingTest : public ServerTest {
protected:
    RedisOptions server_options() const override {
        RedisOptions options;
        options.arguments = {"--key-load-delay", "10000", "--loading-process-events-interval-bytes", "1024"};
        return options;
    }
};
INSTANTIATE_OVER_SERVERS(LoadingTest);

TEST_P(LoadingTest, AServerThatIsLoadingIsNotUp) {
    std::atomic<bool> connected = false;
    std::thread follower([&] {
        const ClientPtr client = connect();
        ASSERT_EQ(ox_mom_client_set_reconnect_cb(client.get(), kGlobalDb, on_reconnect, nullptr), 0);
        for (int i = 0; i < 1000; ++i) {
            ASSERT_EQ(put_int(client, "/" + std::string(100, 'x') + std::to_string(i), i), 0);
        }
        connected = true;
        ASSERT_TRUE(process_until(
            client, [&] { return std::string(status_of(client).reason).find("LOADING") != std::string::npos; }));
        const ClientPtr newcomer(ox_mom_client_create(store().c_str()));
        EXPECT_EQ(ox_mom_client_connect_sync(newcomer.get(), kGlobalDb), OX_MOM_E_REFUSED);
        EXPECT_EQ(error_of_read(client), OX_MOM_E_LOST);
        server().connection().must({"CONFIG", "SET", "key-load-delay", "0"});
        ASSERT_TRUE(pump_until(client, [] { return recorder().reconnections.size() == 1; }));
        EXPECT_EQ(stored_state<CapTable>(client).size(), 1000u);
    });
    while (!connected) {
        std::this_thread::yield();
    }
    // Returns when the server has loaded.
    server().restart(RedisServer::Data::kKept);
    follower.join();
}

}  // namespace
}  // namespace mom_test
