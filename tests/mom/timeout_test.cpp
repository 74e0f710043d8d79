// Servers that answer late, slowly or in part.
#include "mom_test.h"
#include "proxy.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <sys/time.h>

namespace mom_test {
namespace {

constexpr milliseconds kTimeout(150);

void set_timeout(milliseconds limit) { setenv("OX_MOM_TIMEOUT_MS", std::to_string(limit.count()).c_str(), 1); }

class TimeoutTest : public ServerTest {
protected:
    // A client whose requests end soon. On a busy machine they may end so before the server has answered: connecting is
    // tried again.
    ClientPtr connect_for_a_moment() {
        set_timeout(kTimeout);
        ClientPtr client(ox_mom_client_create(store().c_str()));
        set_timeout(kRequestLimit);
        const Stopwatch watch;
        while (ox_mom_client_connect_sync(client.get(), kGlobalDb) != 0 && watch.elapsed() < kLongEnough) {
        }
        return client;
    }

    // Until the client's requests are answered, through as many losses as the machine is too slow for.
    static bool is_answered(const ClientPtr &client) {
        const Stopwatch watch;
        while (error_of_read(client) != 0) {
            if (watch.elapsed() > kLongEnough || ox_mom_client_process(client.get(), 5) < 0) {
                return false;
            }
        }
        return true;
    }

    static bool comes_back(const ClientPtr &client) {
        const size_t before = recorder().reconnections.size();
        EXPECT_EQ(ox_mom_client_set_reconnect_cb(client.get(), kGlobalDb, on_reconnect, nullptr), 0);
        return pump_until(client, [before] { return recorder().reconnections.size() > before; });
    }
};
INSTANTIATE_OVER_SERVERS(TimeoutTest);

template <typename Request>
void expect_timeout(const char *name, Request request) {
    const Stopwatch watch;
    EXPECT_EQ(request(), OX_MOM_E_TIMEOUT) << name;
    EXPECT_GE(watch.elapsed(), kTimeout - milliseconds(10)) << name;
    EXPECT_LT(watch.elapsed(), kLongEnough) << name;
}

TEST_P(TimeoutTest, EveryRequestEndsInTime) {
    const Cap cap("/a");
    const Single<CapGlbState> state(true);
    const MomFieldCb field_cb = on_field<0>;
    ClientPtr client;
    const std::vector<std::pair<const char *, std::function<int32_t()>>> requests = {
        {"hgetall", [&] { return error_of_read(client); }},
        {"hmset", [&] { return put_int(client, "/a", 1); }},
        {"get",
         [&] {
             int32_t error = 0;
             EXPECT_EQ(ox_mom_get_sync(client.get(), kGlobalDb, state.message(), &error), nullptr);
             return error;
         }},
        {"set", [&] { return ox_mom_set_sync(client.get(), kGlobalDb, state.message()); }},
        {"del", [&] { return del(client, cap.message()); }},
        {"scan",
         [&] { return ox_mom_scan_sync(client.get(), kGlobalDb, cap.message(), 0, on_notification<0>, nullptr); }},
        {"subscribe", [&] { return follow<CapTable>(client); }},
        {"subscribe_field",
         [&] {
             return ox_mom_subscribe_field(client.get(), kGlobalDb, cap.message(), 1, &kInt, &field_cb, nullptr, 1);
         }},
    };
    for (const auto &[name, request] : requests) {
        client = connect_for_a_moment();
        server().pause();
        expect_timeout(name, request);
        EXPECT_EQ(error_of_read(client), OX_MOM_E_LOST) << "which is no second timeout, after " << name;
        server().resume();
        EXPECT_TRUE(comes_back(client)) << "after " << name;
        EXPECT_TRUE(is_answered(client)) << "after " << name;
    }
}

// A signal every millisecond, handled, as long as this lives.
class Signals {
public:
    Signals() {
        struct sigaction handled = {};
        handled.sa_handler = [](int) { ++count; };
        sigaction(SIGALRM, &handled, nullptr);
        repeat({.tv_sec = 0, .tv_usec = 1000});
    }
    Signals(const Signals &) = delete;
    Signals &operator=(const Signals &) = delete;
    ~Signals() {
        repeat({});
        std::signal(SIGALRM, SIG_DFL);
    }

    static inline std::atomic<int> count = 0;

private:
    static void repeat(timeval interval) {
        const itimerval timer = {.it_interval = interval, .it_value = interval};
        setitimer(ITIMER_REAL, &timer, nullptr);
    }
};

TEST_P(TimeoutTest, SignalsNeitherEndNorStretchARequest) {
    const ClientPtr patient = connect();
    ASSERT_EQ(put_int(patient, "/a", 1), 0);
    const ClientPtr client = connect_for_a_moment();
    const Signals signals;
    while (Signals::count < 100) {
        ASSERT_EQ(stored_int(patient, "/a"), 1);
    }
    server().pause();
    const int before = Signals::count;
    expect_timeout("hgetall", [&] { return error_of_read(client); });
    EXPECT_GT(Signals::count, before);
    server().resume();
    EXPECT_TRUE(comes_back(client));
    EXPECT_EQ(stored_int(patient, "/a"), 1);
}

TEST_P(TimeoutTest, ALateAnswerIsNeverTakenForAnothers) {
    const ClientPtr writer = connect();
    ASSERT_EQ(put_int(writer, "/late", 1), 0);
    ASSERT_EQ(put_int(writer, "/asked", 2), 0);
    const ClientPtr client = connect_for_a_moment();
    for (int times = 0; times < 3; ++times) {
        server().pause();
        EXPECT_EQ(error_of_read(client, "/late"), OX_MOM_E_TIMEOUT);
        server().resume();
        const Stopwatch watch;
        int32_t asked = -1;
        while ((asked = stored_int(client, "/asked")) == -1 && watch.elapsed() < kLongEnough) {
            ASSERT_GE(ox_mom_client_process(client.get(), 5), 0);
        }
        ASSERT_EQ(asked, 2);
    }
}

TEST_P(TimeoutTest, AnAnswerThatTricklesInDoesNotStretchTheTime) {
    Proxy proxy(server().socket_path());
    use_store(proxy.store_name());
    const ClientPtr patient = connect();
    Cap cap("/long");
    std::string text(60000, 'x');  // a minute, in drops
    cap.record.str_value = text.data();
    ASSERT_EQ(put(patient, cap.message(), {kStr}), 0);
    const ClientPtr client = connect_for_a_moment();
    proxy.drip(true);
    expect_timeout("hgetall", [&] { return error_of_read(client, "/long"); });
    proxy.drip(false);
    EXPECT_TRUE(is_answered(client));
    EXPECT_EQ(as<CapTable>(read(patient, cap.message())).str_value, text);
}

TEST_P(TimeoutTest, AnAnswerInPiecesIsAnAnswer) {
    Proxy proxy(server().socket_path());
    use_store(proxy.store_name());
    const ClientPtr client = connect();
    ASSERT_EQ(put_int(client, "/a", 5), 0);
    proxy.drip(true);
    EXPECT_EQ(stored_int(client, "/a"), 5);
    EXPECT_EQ(follow_field(client, Cap("/a").message(), kInt), 0);
    proxy.drip(false);
}

TEST_P(TimeoutTest, ATimeoutIsNoLossOfTheOtherClients) {
    const ClientPtr patient = connect();
    const ClientPtr client = connect_for_a_moment();
    server().pause();
    EXPECT_EQ(error_of_read(client), OX_MOM_E_TIMEOUT);
    server().resume();
    EXPECT_EQ(put_int(patient, "/a", 1), 0);
}

TEST_P(TimeoutTest, TheTimeIsThatOfTheClientsCreation) {
    const ClientPtr client = connect_for_a_moment();
    set_timeout(2 * kLongEnough);
    server().pause();
    expect_timeout("hgetall", [&] { return error_of_read(client); });
}

TEST_P(TimeoutTest, WithoutASettingItIsThreeSeconds) {
    unsetenv("OX_MOM_TIMEOUT_MS");
    const ClientPtr client = connect();
    server().pause();
    const Stopwatch watch;
    EXPECT_EQ(error_of_read(client), OX_MOM_E_TIMEOUT);
    EXPECT_GE(watch.elapsed(), milliseconds(2900));
    EXPECT_NE(std::string(ox_mom_last_error()).find("in 3000 ms"), std::string::npos) << ox_mom_last_error();
}

TEST_P(TimeoutTest, AnAnswerCutAnywhereIsALossOfThatRequestAndNothingElse) {
    Proxy proxy(server().socket_path());
    use_store(proxy.store_name());
    const ClientPtr client = connect();
    ASSERT_EQ(ox_mom_client_set_reconnect_cb(client.get(), kGlobalDb, on_reconnect, nullptr), 0);
    ASSERT_EQ(put_int(client, "/a", 5), 0);
    const int before = proxy.passed();
    ASSERT_EQ(stored_int(client, "/a"), 5);
    const int answer = proxy.passed() - before;
    ASSERT_GT(answer, 10);
    for (int bytes = 0; bytes < answer; bytes += 3) {
        proxy.cut_after(bytes);
        const HashResultPtr result = read(client, Cap("/a").message());
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->error_code, OX_MOM_E_LOST) << bytes;
        EXPECT_EQ(result->record, nullptr) << bytes;
        proxy.cut_after(-1);
        ASSERT_EQ(stored_int(client, "/a"), 5) << bytes;
    }
    ASSERT_TRUE(settle(client, client));
    EXPECT_TRUE(recorder().reconnections.empty()) << "the connection for notifications stands";
}

TEST_P(TimeoutTest, ANotificationCutAnywhereIsALossAndNothingElse) {
    Proxy proxy(server().socket_path());
    const ClientPtr writer = connect();
    use_store(proxy.store_name());
    for (int bytes = 0; bytes < 60; bytes += 7) {
        const ClientPtr client = connect();
        ASSERT_EQ(follow<CapTable>(client), 0);
        ASSERT_EQ(ox_mom_client_process(client.get(), 1000), 1);
        slot().events.clear();
        const int ended = proxy.ended();
        proxy.cut_after(bytes);
        ASSERT_EQ(put_int(writer, "/a", bytes), 0);
        while (proxy.ended() == ended) {
            ASSERT_GE(ox_mom_client_process(client.get(), 1), 0);
        }
        proxy.cut_after(-1);
        ASSERT_TRUE(comes_back(client)) << bytes;
        EXPECT_TRUE(slot().events.empty()) << bytes;
    }
}

constexpr int kBatch = 256;  // records that a scan asks for at once

int32_t scan(const ClientPtr &client) {
    return ox_mom_scan_sync(client.get(), kGlobalDb, Cap("").message(), 0, on_notification<0>, nullptr);
}

TEST_P(TimeoutTest, AScanEndsInTimeHoweverSlowlyItsRecordsCome) {
    constexpr int kSlow = 200;
    set_timeout(milliseconds(2000));
    Proxy proxy(server().socket_path());
    use_store(proxy.store_name());
    const ClientPtr client = connect();
    for (int i = 0; i < kBatch + kSlow; ++i) {
        ASSERT_EQ(put_int(client, "/" + std::to_string(i), i), 0);
    }
    // Each of the last comes in 50 ms or so.
    slot().hook = [&proxy](MomClient *, MomMsg *) { proxy.drip(true); };
    const Stopwatch watch;
    EXPECT_EQ(scan(client), OX_MOM_E_TIMEOUT);
    EXPECT_LT(watch.elapsed(), milliseconds(5000));
    EXPECT_EQ(slot().events.size(), static_cast<size_t>(kBatch));
}

TEST_P(TimeoutTest, AScanOfManyBatchesHasALimitAsAWhole) {
    constexpr int kBatches = 40;
    const ClientPtr writer = connect();
    for (int i = 0; i < kBatches * kBatch; ++i) {
        ASSERT_EQ(put_int(writer, "/" + std::to_string(i), i), 0);
    }
    set_timeout(milliseconds(500));
    const ClientPtr client = connect();
    RedisConnection raw = server().connection();
    slot().hook = [&raw](MomClient *, MomMsg *) {
        if (slot().events.size() % kBatch == 1) {
            raw.must({"CLIENT", "PAUSE", "250", "ALL"});  // in time for one
        }
    };
    const Stopwatch watch;
    EXPECT_EQ(scan(client), OX_MOM_E_TIMEOUT);
    EXPECT_LT(watch.elapsed(), milliseconds(8000));
    EXPECT_LT(slot().events.size(), static_cast<size_t>(kBatches * kBatch));
}

}  // namespace
}  // namespace mom_test
