// A lost connection and its way back.
#include "mom_test.h"
#include "proxy.h"

#include <csignal>
#include <filesystem>
#include <thread>

namespace mom_test {
namespace {

using Commands = std::vector<int32_t>;
using Data = RedisServer::Data;

class ReconnectTest : public ServerTest {
protected:
    // Runs the client until it has told of one more reconnection.
    static bool comes_back(const ClientPtr &client) {
        const size_t before = recorder().reconnections.size();
        return pump_until(client, [before] { return recorder().reconnections.size() > before; });
    }

    static void watch(const ClientPtr &client, int32_t db = kGlobalDb) {
        EXPECT_EQ(ox_mom_client_set_reconnect_cb(client.get(), db, on_reconnect, nullptr), 0);
    }

    // Runs the client until the proxy has come to something, of which the client itself may not be told.
    static bool run_until(const ClientPtr &client, const std::function<bool()> &so) {
        const Stopwatch watch;
        while (!so()) {
            if (watch.elapsed() > kLongEnough || ox_mom_client_process(client.get(), 5) < 0) {
                return false;
            }
        }
        return true;
    }

    // Loses the connection, and has the way back stop when the server has said so many bytes.
    static bool comes_back_as_far_as(int bytes, const ClientPtr &client, Proxy &proxy) {
        const int before = proxy.begun();
        proxy.hold_after(bytes);
        proxy.cut();
        return run_until(client, [&] { return proxy.begun() > before && proxy.is_holding(); });
    }

    // Clients reach the server through it.
    Proxy &use_proxy() {
        proxy_ = std::make_unique<Proxy>(server().socket_path());
        use_store(proxy_->store_name());
        return *proxy_;
    }

private:
    std::unique_ptr<Proxy> proxy_;
};
INSTANTIATE_OVER_SERVERS(ReconnectTest);

TEST_P(ReconnectTest, RequestsFailAtOnceWhileTheConnectionIsLost) {
    const ClientPtr client = connect();
    server().kill();
    const Cap cap("/a");
    const Single<CapGlbState> state(true);
    int32_t error = 0;
    const MomFieldCb field_cb = on_field<0>;
    const Stopwatch watch;
    EXPECT_EQ(error_of_read(client), OX_MOM_E_LOST);
    EXPECT_EQ(put_int(client, "/a", 1), OX_MOM_E_LOST);
    EXPECT_EQ(ox_mom_get_sync(client.get(), kGlobalDb, state.message(), &error), nullptr);
    EXPECT_EQ(error, OX_MOM_E_LOST);
    EXPECT_EQ(ox_mom_set_sync(client.get(), kGlobalDb, state.message()), OX_MOM_E_LOST);
    EXPECT_EQ(del(client, cap.message()), OX_MOM_E_LOST);
    EXPECT_EQ(follow<CapTable>(client), OX_MOM_E_LOST);
    EXPECT_EQ(ox_mom_subscribe_field(client.get(), kGlobalDb, cap.message(), 1, &kInt, &field_cb, nullptr, 1),
              OX_MOM_E_LOST);
    EXPECT_EQ(ox_mom_scan_sync(client.get(), kGlobalDb, cap.message(), 0, on_notification<0>, nullptr), OX_MOM_E_LOST);
    EXPECT_LT(watch.elapsed(), kRequestLimit) << "none has waited for an answer";
    EXPECT_TRUE(slot().events.empty());
    EXPECT_STRNE(ox_mom_last_error(), "");
}

TEST_P(ReconnectTest, ProcessWaitsPatientlyWhileTheServerIsGone) {
    const Proxy &proxy = use_proxy();
    const ClientPtr client = connect();
    watch(client);
    server().kill();
    ASSERT_TRUE(run_until(client, [&] { return proxy.ended() >= 8; })) << "it tries again and again";
    EXPECT_EQ(error_of_read(client), OX_MOM_E_LOST);
    EXPECT_TRUE(recorder().reconnections.empty());
    server().start();
    EXPECT_TRUE(comes_back(client));
    EXPECT_EQ(put_int(client, "/a", 1), 0);
}

TEST_P(ReconnectTest, TheCallbackIsToldWhereAndWhat) {
    const ClientPtr client = connect();
    watch(client);
    server().restart(Data::kDropped);
    ASSERT_TRUE(comes_back(client));
    ASSERT_EQ(recorder().reconnections.size(), 1u);
    EXPECT_EQ(recorder().reconnections[0].client, client.get());
    EXPECT_EQ(recorder().reconnections[0].db, kGlobalDb);
    EXPECT_EQ(recorder().reconnections[0].type, OX_MOM_RECONNECT_RESTORED);
    ASSERT_TRUE(settle(client, client));
    EXPECT_EQ(recorder().reconnections.size(), 1u) << "once";
}

TEST_P(ReconnectTest, CallbacksComeInOrderOfDatabaseAfterAllAreBack) {
    const ClientPtr client = connect({kGlobalDb, 5, kCardDb, 2});
    for (const int32_t db : {5, kGlobalDb, kCardDb}) {
        watch(client, db);
    }
    recorder().reconnect_hook = [&client](MomClient *, int32_t) {
        for (const int32_t db : {kCardDb, 2, 5, kGlobalDb}) {
            EXPECT_EQ(put(client, Cap("/a", 1).message(), {kInt}, db), 0) << db;
        }
    };
    server().restart(Data::kDropped);
    ASSERT_TRUE(pump_until(client, [] { return recorder().reconnections.size() == 3; }));
    EXPECT_EQ(recorder().reconnections[0].db, kCardDb);
    EXPECT_EQ(recorder().reconnections[1].db, 5);
    EXPECT_EQ(recorder().reconnections[2].db, kGlobalDb);
    ASSERT_TRUE(settle(client, client));
    EXPECT_EQ(recorder().reconnections.size(), 3u);
}

TEST_P(ReconnectTest, OnlyConnectedDatabasesAreToldAndOnlyByTheLatestCallback) {
    const ClientPtr client = connect({kGlobalDb, 2});
    watch(client, 2);
    watch(client, kCardDb);  // never connected
    watch(client, kGlobalDb);
    ASSERT_EQ(ox_mom_client_set_reconnect_cb(client.get(), 2, nullptr, nullptr), 0);
    server().restart(Data::kDropped);
    ASSERT_TRUE(comes_back(client));
    ASSERT_TRUE(settle(client, client));
    ASSERT_EQ(recorder().reconnections.size(), 1u);
    EXPECT_EQ(recorder().reconnections[0].db, kGlobalDb);
}

TEST_P(ReconnectTest, RecordSubscriptionsAreForgotten) {
    const ClientPtr client = connect();
    watch(client);
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(ox_mom_client_process(client.get(), 0), 1);
    server().restart(Data::kDropped);
    ASSERT_TRUE(comes_back(client));
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_TRUE(settle(client, client));
    EXPECT_EQ(slot().commands(), (Commands{29}));

    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(put_int(client, "/a", 2), 0);
    ASSERT_TRUE(settle(client, client));
    EXPECT_EQ(slot().commands(), (Commands{29, 29, 4}));
}

TEST_P(ReconnectTest, FieldSubscriptionsAreRenewedWithThePresentValueFirst) {
    const ClientPtr client = connect({kCardDb, kGlobalDb});
    watch(client);
    int mark = 0;
    ASSERT_EQ(put_int(client, "/kept", 1), 0);
    ASSERT_EQ(put(client, Card(1, 2, 3, 4).message(), {8}, kCardDb), 0);
    ASSERT_EQ(follow_field(client, Cap("/kept").message(), kInt, on_field<0>, &mark), 0);
    ASSERT_EQ(follow_field(client, Card(1, 2, 3, 4).message(), 8, on_field<1>, nullptr, kCardDb), 0);
    server().restart(Data::kKept);
    ASSERT_TRUE(comes_back(client));

    ASSERT_EQ(slot(0).commands(), (Commands{4}));
    EXPECT_EQ(slot(0).events[0].as<CapTable>().int32_value, 1);
    EXPECT_EQ(slot(0).events[0].arg, &mark);
    EXPECT_EQ(slot(0).events[0].db, kGlobalDb);
    ASSERT_EQ(slot(1).commands(), (Commands{4}));
    EXPECT_EQ(slot(1).events[0].db, kCardDb);
    EXPECT_LT(slot(0).events[0].order, recorder().reconnections[0].order);
    EXPECT_LT(slot(1).events[0].order, recorder().reconnections[0].order);

    ASSERT_EQ(put_int(client, "/kept", 2), 0);
    ASSERT_TRUE(settle(client, client));
    ASSERT_EQ(slot(0).commands(), (Commands{4, 4})) << "renewed once";
    EXPECT_EQ(slot(0).events[1].as<CapTable>().int32_value, 2);
}

TEST_P(ReconnectTest, AFieldFollowerIsToldWhenItsRecordIsGone) {
    const ClientPtr client = connect();
    watch(client);
    ASSERT_EQ(put_int(client, "/gone", 1), 0);
    ASSERT_EQ(follow_field(client, Cap("/gone").message(), kInt), 0);
    server().restart(Data::kDropped);
    ASSERT_TRUE(comes_back(client));
    ASSERT_EQ(slot().commands(), (Commands{3}));
    EXPECT_TRUE(slot().events[0].has_result);
    EXPECT_EQ(slot().events[0].record, nullptr);
    ASSERT_EQ(put_int(client, "/gone", 2), 0);
    ASSERT_TRUE(settle(client, client));
    EXPECT_EQ(slot().commands(), (Commands{3, 4}));
}

// The follower that a program is: subscribes and scans, and does so anew after each loss.
class Follower {
public:
    explicit Follower(const ClientPtr &client) : client_(client) {
        slot().hook = [this](MomClient *running, MomMsg *msg) {
            if (msg->cmd == OX_MOM_CMD_SUBSCRIBED) {
                state_ = stored_state(running, kGlobalDb, Cap("").message());
                ++loads_;
            } else {
                update(state_, slot().events.back());
            }
        };
        recorder().reconnect_hook = [this](MomClient *, int32_t) { subscribe(); };
        EXPECT_EQ(ox_mom_client_set_reconnect_cb(client.get(), kGlobalDb, on_reconnect, nullptr), 0);
        subscribe();
    }

    void subscribe() { EXPECT_EQ(follow<CapTable>(client_), 0); }
    const State &state() const { return state_; }
    int loads() const { return loads_; }

private:
    const ClientPtr &client_;
    State state_;
    int loads_ = 0;
};

TEST_P(ReconnectTest, FiveKillsAndEmptyRestartsLater) {
    const ClientPtr client = connect();
    Follower follower(client);
    ASSERT_TRUE(pump_until(client, [&] { return follower.loads() == 1; }));
    for (int round = 1; round <= 5; ++round) {
        ASSERT_EQ(put_int(client, "/before/" + std::to_string(round), round), 0);
        server().restart(Data::kDropped);
        const ClientPtr writer = connect();
        ASSERT_EQ(put_int(writer, "/early/" + std::to_string(round), round), 0);
        ASSERT_TRUE(pump_until(client, [&] { return follower.loads() == round + 1; })) << round;
        ASSERT_EQ(put_int(writer, "/late/" + std::to_string(round), round), 0);
        ASSERT_TRUE(settle(client, writer));
        EXPECT_EQ(follower.state(), stored_state<CapTable>(writer)) << round;
        EXPECT_EQ(follower.state().size(), 2u) << round;
    }
    EXPECT_EQ(recorder().reconnections.size(), 5u);
}

TEST_P(ReconnectTest, KillsAndRestartsWithDataLoseNothing) {
    const ClientPtr client = connect();
    Follower follower(client);
    ASSERT_TRUE(pump_until(client, [&] { return follower.loads() == 1; }));
    for (int round = 1; round <= 3; ++round) {
        ASSERT_EQ(put_int(client, "/" + std::to_string(round), round), 0);
        server().restart(Data::kKept);
        ASSERT_TRUE(pump_until(client, [&] { return follower.loads() == round + 1; })) << round;
        EXPECT_EQ(follower.state().size(), static_cast<size_t>(round));
    }
    EXPECT_EQ(follower.state(), stored_state<CapTable>(client));
}

TEST_P(ReconnectTest, WritesWhileTheFollowerIsCutOffAreLoadedAfterwards) {
    const ClientPtr client = connect();
    Follower follower(client);
    ASSERT_TRUE(pump_until(client, [&] { return follower.loads() == 1; }));
    for (int round = 1; round <= 4; ++round) {
        RedisConnection raw = server().connection();
        raw.must({"CLIENT", "KILL", "TYPE", "pubsub"});
        const ClientPtr writer = connect();
        ASSERT_EQ(put_int(writer, "/cut", round), 0);
        ASSERT_EQ(del(writer, Cap("/gone/" + std::to_string(round - 1)).message()), 0);
        ASSERT_EQ(put_int(writer, "/gone/" + std::to_string(round), round), 0);
        ASSERT_TRUE(pump_until(client, [&] { return follower.loads() == round + 1; })) << round;
        ASSERT_TRUE(settle(client, writer));
        EXPECT_EQ(follower.state(), stored_state<CapTable>(writer)) << round;
    }
}

TEST_P(ReconnectTest, ACutOfTheNotificationsIsNoticedWithoutARequest) {
    const ClientPtr client = connect();
    watch(client);
    ASSERT_EQ(follow_field(client, Cap("/a").message(), kInt), 0);
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_TRUE(pump_until(client, [] { return slot().events.size() == 1; }));
    server().connection().must({"CLIENT", "KILL", "TYPE", "pubsub"});
    ASSERT_TRUE(comes_back(client));
    EXPECT_EQ(slot().commands(), (Commands{4, 4}));
}

TEST_P(ReconnectTest, MakingRequestsIsEnoughToComeBack) {
    const ClientPtr client = connect();
    watch(client);
    server().restart(Data::kDropped);
    const Stopwatch watch;
    int32_t error = 1;
    while ((error = error_of_read(client)) != 0 && watch.elapsed() < kLongEnough) {
        ASSERT_EQ(error, OX_MOM_E_LOST);
        std::this_thread::sleep_for(milliseconds(2));
    }
    ASSERT_EQ(error, 0);
    EXPECT_TRUE(recorder().reconnections.empty()) << "told inside process() only";
    EXPECT_TRUE(comes_back(client));
}

TEST_P(ReconnectTest, APollLoopAloneComesBack) {
    const Proxy &proxy = use_proxy();
    const ClientPtr client = connect();
    watch(client);
    const int fd = ox_mom_client_fd(client.get());
    ASSERT_EQ(follow_field(client, Cap("/a").message(), kInt), 0);
    ASSERT_EQ(ox_mom_client_process(client.get(), 0), 0);
    server().kill();
    int rounds = 0;
    bool started = false;
    while (recorder().reconnections.empty() && readable(fd, kLongEnough)) {
        ASSERT_GE(ox_mom_client_process(client.get(), 0), 0);
        ++rounds;
        if (!started && proxy.ended() >= 8) {  // so that it has paused between attempts
            server().start();
            started = true;
        }
    }
    EXPECT_EQ(recorder().reconnections.size(), 1u);
    EXPECT_LT(rounds, 1000) << "the loop spins";
    EXPECT_EQ(ox_mom_client_fd(client.get()), fd);
}

TEST_P(ReconnectTest, ProcessDoesNotWaitForAServerThatAcceptsAndSaysNothing) {
    Proxy &proxy = use_proxy();
    const ClientPtr client = connect();
    watch(client);
    ASSERT_TRUE(comes_back_as_far_as(0, client, proxy));
    const Stopwatch watch;
    for (int times = 0; times < 20; ++times) {
        ASSERT_EQ(ox_mom_client_process(client.get(), 0), 0);
    }
    EXPECT_EQ(error_of_read(client), OX_MOM_E_LOST);
    EXPECT_LT(watch.elapsed(), kRequestLimit) << "all at once";
    proxy.let_through();
    EXPECT_TRUE(comes_back(client));
}

TEST_P(ReconnectTest, ADatabaseMayBeConnectedAtAnyMomentOfAReconnection) {
    Proxy &proxy = use_proxy();
    ClientPtr client;
    const auto follow_afresh = [&] {
        client = connect();
        watch(client);
        return follow_field(client, Cap("/followed").message(), kInt);
    };
    ASSERT_EQ(follow_afresh(), 0);
    const int before = proxy.passed();
    proxy.cut();
    ASSERT_TRUE(comes_back(client));
    const int whole_way = proxy.passed() - before;
    constexpr int kMoments = 12;
    for (int moment = 0; moment < kMoments; ++moment) {
        ASSERT_EQ(follow_afresh(), 0);
        ASSERT_TRUE(comes_back_as_far_as(whole_way * moment / kMoments, client, proxy)) << moment;
        ASSERT_EQ(error_of_read(client), OX_MOM_E_LOST) << moment;
        proxy.let_through();
        ASSERT_EQ(ox_mom_client_connect_sync(client.get(), moment), 0) << moment;
        for (int i = 1; i <= 20; ++i) {
            ASSERT_EQ(put(client, Cap("/a", i).message(), {kInt}, moment), 0) << moment;
            ASSERT_EQ(stored_int(client, "/a", moment), i) << moment;
        }
        ASSERT_EQ(error_of_read(client), 0) << "with what was connected before, " << moment;
        ASSERT_TRUE(comes_back(client)) << "which is told, " << moment;
    }
}

TEST_P(ReconnectTest, LosingItAgainInsideTheCallback) {
    const ClientPtr client = connect();
    watch(client);
    int32_t inside = 0;
    recorder().reconnect_hook = [&](MomClient *, int32_t) {
        recorder().reconnect_hook = nullptr;
        server().restart(Data::kDropped);
        inside = put_int(client, "/a", 1);
        EXPECT_NE(follow<CapTable>(client), 0);
    };
    server().restart(Data::kDropped);
    ASSERT_TRUE(comes_back(client));
    EXPECT_EQ(inside, OX_MOM_E_LOST);
    if (recorder().reconnections.size() == 1) {
        ASSERT_TRUE(comes_back(client));
    }
    EXPECT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_TRUE(settle(client, client));
    EXPECT_EQ(recorder().reconnections.size(), 2u);
    EXPECT_EQ(slot().count(29), 0);
}

TEST_P(ReconnectTest, ProcessInsideTheCallback) {
    const ClientPtr client = connect();
    watch(client);
    recorder().reconnect_hook = [&client](MomClient *running, int32_t) {
        EXPECT_EQ(follow<CapTable>(client), 0);
        EXPECT_TRUE(pump_until(running, [] { return slot().count(29) == 1; }));
    };
    server().restart(Data::kDropped);
    ASSERT_TRUE(comes_back(client));
    EXPECT_EQ(slot().count(29), 1);
    EXPECT_EQ(recorder().reconnections.size(), 1u);
}

TEST_P(ReconnectTest, DestroyInsideTheCallback) {
    MomClient *client = connect({kCardDb, kGlobalDb}).release();
    for (const int32_t db : {kCardDb, kGlobalDb}) {
        ASSERT_EQ(ox_mom_client_set_reconnect_cb(client, db, on_reconnect, nullptr), 0);
    }
    recorder().reconnect_hook = [](MomClient *running, int32_t) { ox_mom_client_destroy(running); };
    server().restart(Data::kDropped);
    int32_t status = 0;
    const Stopwatch watch;
    while (status >= 0 && recorder().reconnections.empty() && watch.elapsed() < kLongEnough) {
        status = ox_mom_client_process(client, 1000);
    }
    EXPECT_EQ(status, OX_MOM_E_DESTROYED);
    EXPECT_EQ(recorder().reconnections.size(), 1u);
}

TEST_P(ReconnectTest, DestroyInsideTheRenewedValue) {
    MomClient *client = connect().release();
    ASSERT_EQ(ox_mom_client_set_reconnect_cb(client, kGlobalDb, on_reconnect, nullptr), 0);
    const MomFieldCb field_cb = on_field<0>;
    ASSERT_EQ(ox_mom_subscribe_field(client, kGlobalDb, Cap("/a").message(), 1, &kInt, &field_cb, nullptr, 1), 0);
    slot().hook = [](MomClient *running, MomMsg *) { ox_mom_client_destroy(running); };
    server().restart(Data::kDropped);
    int32_t status = 0;
    const Stopwatch watch;
    while (status >= 0 && slot().events.empty() && watch.elapsed() < kLongEnough) {
        status = ox_mom_client_process(client, 1000);
    }
    EXPECT_EQ(status, OX_MOM_E_DESTROYED);
    EXPECT_TRUE(recorder().reconnections.empty());
}

TEST_P(ReconnectTest, DestroyWhileTheConnectionIsLost) {
    for (const bool noticed : {false, true}) {
        ClientPtr client = connect();
        ASSERT_EQ(follow<CapTable>(client), 0);
        server().kill();
        if (noticed) {
            EXPECT_EQ(error_of_read(client), OX_MOM_E_LOST);
            EXPECT_GE(ox_mom_client_process(client.get(), 100), 0);
        }
        client.reset();
        server().start();
    }
}

TEST_P(ReconnectTest, NoSignalReachesTheProgram) {
    std::signal(SIGPIPE, SIG_DFL);
    const ClientPtr client = connect({kCardDb, kGlobalDb});
    ASSERT_EQ(follow<CapTable>(client), 0);
    for (int round = 0; round < 3; ++round) {
        server().kill();
        for (int times = 0; times < 5; ++times) {
            EXPECT_EQ(put_int(client, "/a", 1), OX_MOM_E_LOST);
            EXPECT_EQ(put(client, Cap("/a").message(), {kInt}, kCardDb), OX_MOM_E_LOST);
            EXPECT_EQ(follow<CapFabTable>(client), OX_MOM_E_LOST);
            EXPECT_GE(ox_mom_client_process(client.get(), 10), 0);
        }
        server().start();
        watch(client);
        ASSERT_TRUE(comes_back(client));
    }
}

TEST_P(ReconnectTest, ADatabaseConnectedWhileLostIsNotConnected) {
    const ClientPtr client = connect();
    watch(client);
    server().kill();
    EXPECT_EQ(error_of_read(client), OX_MOM_E_LOST);
    EXPECT_NE(ox_mom_client_connect_sync(client.get(), kCardDb), 0);
    EXPECT_EQ(ox_mom_client_connect_sync(client.get(), kGlobalDb), 0) << "connected once: nothing is done";
    server().start();
    ASSERT_TRUE(comes_back(client));
    EXPECT_EQ(ox_mom_client_connect_sync(client.get(), kCardDb), 0);
    EXPECT_EQ(put(client, Cap("/a").message(), {kInt}, kCardDb), 0);
}

TEST_P(ReconnectTest, LossesLeaveNoDescriptorBehind) {
    const ClientPtr client = connect({kCardDb, kGlobalDb});
    watch(client);
    const auto descriptors = [] {
        const auto all = std::filesystem::directory_iterator("/proc/self/fd");
        return std::distance(begin(all), end(all));
    };
    ASSERT_EQ(follow_field(client, Cap("/a").message(), kInt), 0);
    const auto before = descriptors();
    for (int round = 0; round < 3; ++round) {
        server().connection().must({"CLIENT", "KILL", "TYPE", "pubsub"});
        ASSERT_TRUE(comes_back(client));
    }
    ASSERT_TRUE(settle(client, client));
    ASSERT_TRUE(settle(client, client, kCardDb)) << "each database has its connection again";
    EXPECT_EQ(descriptors(), before);
}

}  // namespace
}  // namespace mom_test
