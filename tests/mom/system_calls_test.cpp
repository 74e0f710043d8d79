// System calls that fail, at each call in turn: every function says so by a code, or does what it was asked for;
// nothing is waited for in a loop, no descriptor is lost, and the same call without the fault succeeds.
#include "mom_test.h"
#include "proxy.h"
#include "system_calls.h"

#include <algorithm>
#include <atomic>
#include <optional>
#include <thread>

namespace mom_test {
namespace {

using test_support::a_system_call_failed;
using test_support::every_fault;
using test_support::FailingSystemCall;
using test_support::Fault;
using test_support::open_descriptors;
using test_support::system_calls_made;
using test_support::UncountedSystemCalls;

constexpr int kThreads = 4;             // most of the time they wait for the end of a pause
constexpr int kMostTurns = 500;         // of one call that fails
constexpr int kMostSystemCalls = 4000;  // of one function; more is a loop that nothing ends
constexpr char kText[] = "a text that is longer than what is kept without an allocation";

struct Stage {
    std::string store;
    Proxy *proxy = nullptr;  // before the server, if there is one
    ClientPtr writer;
    ClientPtr client;
    State followed;
};

struct Scenario {
    const char *name;
    void (*prepare)(Stage &stage);
    int32_t (*call)(Stage &stage);
    void (*check)(Stage &stage);  // once the call has succeeded
};

void nothing(Stage &) {}

void forget_client(Stage &stage) { stage.client.reset(); }

int32_t create_and_connect(Stage &stage) {
    if (!stage.client) {
        stage.client.reset(ox_mom_client_create(stage.store.c_str()));
    }
    return stage.client ? ox_mom_client_connect_sync(stage.client.get(), kGlobalDb) : OX_MOM_E_MEMORY;
}

int32_t destroy(Stage &stage) {
    stage.client.reset();
    return 0;
}

void connect_again(Stage &stage) { EXPECT_EQ(create_and_connect(stage), 0); }

int32_t write_record(Stage &stage) {
    char text[sizeof kText];
    std::copy(std::begin(kText), std::end(kText), text);
    Cap cap("/a", 2);
    cap.record.str_value = text;
    return put(stage.client, cap.message(), {kInt, kStr});
}

void put_record(Stage &stage) { ASSERT_EQ(put_int(stage.writer, "/a", 2), 0); }

void is_written(Stage &stage) { EXPECT_EQ(stored_int(stage.writer, "/a"), 2); }

int32_t read_record(Stage &stage) {
    const HashResultPtr result = read(stage.client, Cap("/a").message());
    const int32_t code = result ? result->error_code : OX_MOM_E_MEMORY;
    EXPECT_TRUE(code != 0 || (result->record != nullptr && as<CapTable>(result).int32_value == 2));
    return code;
}

int32_t delete_record(Stage &stage) { return del(stage.client, Cap("/a").message()); }

void is_deleted(Stage &stage) { EXPECT_EQ(stored_int(stage.writer, "/a"), -1); }

int32_t set_object(Stage &stage) { return set<CapGlbState>(stage.client, true); }

void put_object(Stage &stage) { ASSERT_EQ(set<CapGlbState>(stage.writer, true), 0); }

int32_t get_object(Stage &stage) {
    int32_t error = 0;
    const ObjectPtr object(
        ox_mom_get_sync(stage.client.get(), kGlobalDb, Single<CapGlbState>(false).message(), &error));
    EXPECT_EQ(error == 0, object != nullptr);
    return error;
}

void put_three(Stage &stage) {
    for (const char *url : {"/a", "/b", "/c"}) {
        ASSERT_EQ(put_int(stage.writer, url, 2), 0);
    }
}

int32_t scan(Stage &stage) {
    slot().events.clear();
    const Cap request("");
    const int32_t code =
        ox_mom_scan_sync(stage.client.get(), kGlobalDb, request.message(), 0, on_notification<0>, nullptr);
    EXPECT_TRUE(code != 0 || slot().events.size() == 3) << "success means all of them";
    return code;
}

int32_t subscribe(Stage &stage) { return follow<CapTable>(stage.client); }

int32_t subscribe_field(Stage &stage) { return follow_field(stage.client, Cap("/a").message(), kInt, on_field<1>); }

void tells_of_a_write(Stage &stage) {
    ASSERT_EQ(put_int(stage.writer, "/a", 3), 0);
    EXPECT_TRUE(pump_until(stage.client, [] { return !slot(0).events.empty() || !slot(1).events.empty(); }));
}

// A follower that applies what it is told and loads afresh when told to.
void follow_all(Stage &stage) {
    put_three(stage);
    slot().hook = [&stage](MomClient *client, MomMsg *msg) {
        if (msg->cmd == OX_MOM_CMD_SUBSCRIBED) {
            stage.followed = stored_state(client, kGlobalDb, Cap("").message());
        } else {
            update(stage.followed, slot().events.back());
        }
    };
    recorder().reconnect_hook = [&stage](MomClient *, int32_t) {
        // Not followed: then the connection is lost again, and this will be called again.
        const int32_t code = follow<CapTable>(stage.client);
        EXPECT_TRUE(code == 0 || code == OX_MOM_E_LOST || code == OX_MOM_E_MEMORY) << ox_mom_strerror(code);
    };
    ASSERT_EQ(ox_mom_client_set_reconnect_cb(stage.client.get(), kGlobalDb, on_reconnect, nullptr), 0);
    ASSERT_EQ(follow<CapTable>(stage.client), 0);
    ASSERT_TRUE(pump_until(stage.client, [] { return slot().count(29) == 1; }));
}

void follow_and_change(Stage &stage) {
    follow_all(stage);
    ASSERT_EQ(put_int(stage.writer, "/a", 7), 0);
    ASSERT_EQ(del(stage.writer, Cap("/b").message()), 0);
    ASSERT_TRUE(readable(ox_mom_client_fd(stage.client.get()), kLongEnough));
}

int32_t process(Stage &stage) { return std::min(ox_mom_client_process(stage.client.get(), 0), 0); }

void is_followed(Stage &stage) {
    const State expected = stored_state<CapTable>(stage.writer);
    EXPECT_TRUE(pump_until(stage.client, [&] { return stage.followed == expected; }));
}

void follow_and_cut(Stage &stage) {
    follow_all(stage);
    if (stage.proxy != nullptr) {
        stage.proxy->cut();
    }
}

bool waits_for(const ClientPtr &client) {
    const UncountedSystemCalls not_the_clients;
    return readable(ox_mom_client_fd(client.get()), kLongEnough);
}

// Until it is back, or an attempt has been made in spite of the fault: the first wake is the loss, the next is the end
// of the pause.
int32_t reconnect(Stage &stage) {
    int32_t code = 0;
    for (int wakes = 0; stage.proxy != nullptr && code == 0 && recorder().reconnections.empty(); ++wakes) {
        if ((wakes >= 2 && a_system_call_failed()) || !waits_for(stage.client)) {
            break;
        }
        code = process(stage);
    }
    return code;
}

constexpr Scenario kScenarios[] = {
    {"CreateAndConnect", forget_client, create_and_connect, nothing},
    {"Destroy", nothing, destroy, connect_again},
    {"Hmset", nothing, write_record, is_written},
    {"Hgetall", put_record, read_record, nothing},
    {"Del", put_record, delete_record, is_deleted},
    {"Set", nothing, set_object, nothing},
    {"Get", put_object, get_object, nothing},
    {"Scan", put_three, scan, nothing},
    {"Subscribe", nothing, subscribe, tells_of_a_write},
    {"SubscribeField", nothing, subscribe_field, tells_of_a_write},
    {"ProcessANotification", follow_and_change, process, is_followed},
    {"Reconnect", follow_and_cut, reconnect, is_followed},
};

// Two servers that speak one protocol take the client nowhere else.
enum class Way { kMem, kSocket, kName, kSentinel };
constexpr const char *kWays[] = {"mem", "socket", "name", "sentinel"};

struct Case {
    const Scenario *scenario;
    Way way;

    std::string name() const { return scenario->name + ("_" + std::string(kWays[static_cast<size_t>(way)])); }
    friend std::ostream &operator<<(std::ostream &out, const Case &each) { return out << each.name(); }
};

// How a server is named makes a difference until it is connected.
std::vector<Case> every_case() {
    std::vector<Case> cases = {{&kScenarios[0], Way::kName}, {&kScenarios[0], Way::kSentinel}};
    for (const Scenario &scenario : kScenarios) {
        cases.push_back({&scenario, Way::kMem});
        cases.push_back({&scenario, Way::kSocket});
    }
    return cases;
}

// A store, and the servers that it takes.
class Servers {
public:
    Servers(Way way, size_t number) : store_("mem:system-calls-" + std::to_string(number)), writers_store_(store_) {
        if (way == Way::kMem) {
            return;
        }
        RedisOptions options;
        options.tcp = way != Way::kSocket;
        server_.emplace(options);
        writers_store_ = server_->store_name();
        const std::string port = std::to_string(server_->port());
        if (way == Way::kSocket) {
            proxy_.emplace(server_->socket_path());
            store_ = proxy_->store_name();
        } else if (way == Way::kName) {
            store_ = "redis://localhost:" + port;
        } else {
            options.sentinel_config = "sentinel monitor service 127.0.0.1 " + port + " 1\n";
            sentinel_.emplace(options);
            store_ = "sentinel://127.0.0.1:" + std::to_string(sentinel_->port()) + "/service";
        }
    }

    Stage stage() {
        return {.store = store_,
                .proxy = proxy_ ? &*proxy_ : nullptr,
                .writer = test_support::connect_client(writers_store_, {kGlobalDb}),
                .client = test_support::connect_client(store_, {kGlobalDb}),
                .followed = {}};
    }

private:
    std::string store_;
    std::string writers_store_;  // past the proxy
    std::optional<RedisServer> server_;
    std::optional<RedisServer> sentinel_;
    std::optional<Proxy> proxy_;
};

class SystemCalls : public testing::TestWithParam<Case> {
protected:
    SystemCalls() { setenv("OX_MOM_TIMEOUT_MS", std::to_string(kRequestLimit.count()).c_str(), 1); }

    // One in so many of the faults, from the first on, on a store of its own.
    void fail_each_call(size_t first) {
        Servers servers(GetParam().way, first);
        for (size_t i = first; i < every_fault().size(); i += kThreads) {
            int nth = 0;
            do {
                ++nth;
                ASSERT_LT(nth, kMostTurns) << every_fault()[i];
                SCOPED_TRACE(testing::Message() << every_fault()[i] << ", call " << nth);
                run(servers, every_fault()[i], nth);
                failed_ += a_system_call_failed() ? 1 : 0;
            } while (a_system_call_failed() && !HasFailure());
        }
    }

    int failed() const { return failed_; }

private:
    static void run(Servers &servers, const Fault &fault, int nth) {
        const Scenario &scenario = *GetParam().scenario;
        recorder() = {};
        Stage stage = servers.stage();
        scenario.prepare(stage);
        int32_t code = 0;
        {
            const FailingSystemCall failing(fault, nth);
            code = scenario.call(stage);
        }
        const bool has_failed = a_system_call_failed();
        EXPECT_LT(system_calls_made(), kMostSystemCalls);
        EXPECT_TRUE(code == 0 || code == OX_MOM_E_MEMORY || code == OX_MOM_E_CONNECT || code == OX_MOM_E_LOST)
            << ox_mom_strerror(code) << ": " << ox_mom_last_error();
        EXPECT_TRUE(code == 0 || (has_failed && *ox_mom_last_error() != '\0')) << ox_mom_last_error();
        if (code != 0) {
            EXPECT_TRUE(recovers(stage)) << ox_mom_last_error();
            EXPECT_EQ(scenario.call(stage), 0) << "without the fault: " << ox_mom_last_error();
        }
        scenario.check(stage);
    }

    // Until the client answers again: the fault may have cost the connection.
    static bool recovers(const Stage &stage) {
        const Stopwatch watch;
        while (stage.client != nullptr && error_of_read(stage.client) == OX_MOM_E_LOST) {
            if (watch.elapsed() > kLongEnough || ox_mom_client_process(stage.client.get(), 5) < 0) {
                return false;
            }
        }
        return true;
    }

    std::atomic<int> failed_ = 0;
};
INSTANTIATE_TEST_SUITE_P(Stores, SystemCalls, testing::ValuesIn(every_case()),
                         [](const auto &each) { return each.param.name(); });

TEST_P(SystemCalls, ThatFailAreACodeAndNoMore) {
    const std::ptrdiff_t before = open_descriptors();
    std::vector<std::thread> threads;
    for (size_t first = 0; first < kThreads; ++first) {
        threads.emplace_back([this, first] { fail_each_call(first); });
    }
    std::for_each(threads.begin(), threads.end(), [](std::thread &thread) { thread.join(); });
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_TRUE(failed() > 0 || GetParam().way == Way::kMem || GetParam().scenario->call == destroy);
}

}  // namespace
}  // namespace mom_test
