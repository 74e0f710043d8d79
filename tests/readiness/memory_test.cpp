// The library on the real client, short of memory at each allocation in turn: at the start, at each kind of message,
// and through a reconnection. What was not told is made good by the next message, or by a start anew.
#include "readiness_test.h"

#include <algorithm>
#include <array>
#include <functional>
#include <thread>

#include <poll.h>

#include "each_allocation.h"

namespace readiness {
namespace {

using test_support::an_allocation_failed;
using test_support::fail_each_allocation;
using test_support::UncountedAllocations;

constexpr Wanted kAll = kEverything;
const std::array<Card, 4> kCards = {kLineCard, kFabricCard, kControlModule, kHpsCard};

// What the store holds before, and what brings every card back to it.
const std::vector<Order> &baseline() {
    static const std::vector<Order> orders = [] {
        std::vector<Order> all;
        for (const Card &card : kCards) {
            all.push_back({Order::kInstall, card});
            all.push_back({Order::kPass, card});
            all.push_back({card.node_type == 2 ? Order::kCmReadiness : Order::kReadiness, card, 1, 1});
        }
        for (const CardClass each : {CardClass::kLine, CardClass::kFab, CardClass::kCm, CardClass::kHps}) {
            all.push_back({Order::kState, {}, static_cast<int32_t>(each), 1});
        }
        return all;
    }();
    return orders;
}

void publish_all(Publisher &publisher, const std::vector<Order> &orders) {
    for (const Order &order : orders) {
        publisher.publish(order);
    }
}

int32_t ignore(int32_t, void *) { return 0; }

// Another thread finds no lock held that registering takes.
void expect_no_lock_held() {
    std::thread([] {
        const UncountedAllocations uncounted;
        EXPECT_EQ(trel_cap_event_callback_reg("another thread", ignore, 1), 0);
    }).join();
}

// The thread's list in both directions, and that it is one.
int length_of_list() {
    if (cap_nodes_list.next == nullptr) {
        return 0;
    }
    const auto *head = reinterpret_cast<const CapNode *>(&cap_nodes_list);
    int length = 0;
    for (const CapNode *node = cap_nodes_list.next; node != head; node = node->next) {
        EXPECT_EQ(node->next->prev, node);
        ++length;
    }
    return length;
}

bool readable(MomClient *client) {
    pollfd waiting{ox_mom_client_fd(client), POLLIN, 0};
    return poll(&waiting, 1, 30000) > 0;
}

class Memory : public ReadinessTest {
protected:
    void SetUp() override {
        ReadinessTest::SetUp();
        publish_all(publisher(), baseline());
    }
};
// A start as an application makes it: again until it succeeds.
struct Start {
    explicit Start(const std::string &store) : client(test_support::connect_client(store, {})) {
        EXPECT_EQ(trel_cap_event_callback_reg("memory", ignore, kAll.fe), 0);
        EXPECT_EQ(trel_cap_fab_event_callback_reg("memory", ignore, kAll.fab), 0);
        EXPECT_EQ(trel_cap_cm_event_callback_reg("memory", ignore, kAll.cm), 0);
        EXPECT_EQ(trel_cap_hps_event_callback_reg("memory", ignore, kAll.hps), 0);
        EXPECT_EQ(trel_cap_lc_and_hps_event_callback_reg("memory", ignore, kAll.lc_and_hps), 0);
    }
    Start(const Start &) = delete;
    Start &operator=(const Start &) = delete;
    ~Start() {
        trel_cap_sw_node_walk_cur(
            [](CapNode *pos, void *) { return trel_cap_sw_node_del(pos->record.node, pos->record.config_dev_type); },
            nullptr);
    }

    bool is_loaded() const {
        return g_trel_cap_global == client.get() && g_trel_cap_config_reconnect == 0 &&
               trel_cap_fe_ready_is_all_validated() != 0 && trel_cap_fab_ready_is_all_validated() != 0 &&
               trel_cap_cm_ready_is_all_validated() != 0 && trel_cap_hps_ready_is_all_validated() != 0;
    }
    bool comes_up() {
        for (int rounds = 0; rounds < 3000; ++rounds) {
            if (g_trel_cap_global != client.get()) {
                trel_cap_init(client.get(), "memory");
            }
            if (is_loaded()) {
                return true;
            }
            ox_mom_client_process(client.get(), 10);
        }
        return false;
    }
    // Lets everything that was published so far arrive.
    void take_all() {
        while (ox_mom_client_process(client.get(), 0) > 0 || poll_once()) {
        }
    }
    bool poll_once() const {
        pollfd waiting{ox_mom_client_fd(client.get()), POLLIN, 0};
        return poll(&waiting, 1, 20) > 0;
    }
    // What the client makes of the messages that wait, until everything has been read.
    int32_t load() const {
        int32_t status = 0;
        while (status >= 0 && !is_loaded() && !an_allocation_failed() && readable(client.get())) {
            status = ox_mom_client_process(client.get(), 0);
        }
        return std::min(status, 0);
    }

    test_support::ClientPtr client;
};

bool is_documented(int32_t status) {
    return status == 0 || status == OX_MOM_E_MEMORY || status == OX_MOM_E_CONNECT || status == OX_MOM_E_LOST ||
           status == TREL_CAP_E_NO_ANSWER;
}

class StartMemory : public Memory {
protected:
    // Each allocation of a call after which the library is to come up, on a thread that has started nothing before.
    void fail_at_the_start(const std::function<int32_t(Start &)> &call) const {
        std::thread([&] {
            std::unique_ptr<Start> start;
            const int failures = fail_each_allocation(
                [&] {
                    start.reset();
                    g_trel_cap_global = nullptr;
                    g_trel_cap_config_reconnect = 0;
                    trel_cap_fe_ready_clear_all_validated_flag();
                    start = std::make_unique<Start>(store());
                },
                [&] { return call(*start); },
                [&](int32_t status, bool failed) {
                    EXPECT_TRUE(is_documented(status)) << status;
                    EXPECT_TRUE(status == 0 || failed);
                    expect_no_lock_held();
                    ASSERT_TRUE(start->comes_up());
                    EXPECT_EQ(length_of_list(), static_cast<int>(kCards.size()));
                });
            EXPECT_GT(failures, 0);
        }).join();
    }
};
INSTANTIATE_TEST_SUITE_P(Stores, StartMemory,
                         testing::Values(test_support::StoreKind{"mem", ""},
                                         test_support::StoreKind{"redis", "redis-server"}),
                         test_support::store_label);

TEST_P(StartMemory, IsACodeAndTheNextStartSucceeds) {
    fail_at_the_start([](Start &start) { return trel_cap_init(start.client.get(), "memory"); });
}

TEST_P(StartMemory, WhileTheStoreIsReadIsMadeGood) {
    fail_at_the_start([](Start &start) {
        {
            const UncountedAllocations before;
            EXPECT_EQ(trel_cap_init(start.client.get(), "memory"), 0);
        }
        return start.load();
    });
}

// Each kind of message that a processor reads, from what was there before to what it tells.
struct Kind {
    std::string name;
    std::vector<Order> before;
    Order told;
};

std::vector<Kind> every_kind() {
    std::vector<Kind> kinds;
    for (const Card &card : kCards) {
        const std::string type = " " + std::to_string(card.node_type);
        const Order::Verb readiness = card.node_type == 2 ? Order::kCmReadiness : Order::kReadiness;
        const Order::Verb drop = card.node_type == 2 ? Order::kDropCmReadiness : Order::kDropReadiness;
        kinds.push_back({"installed" + type, {{Order::kRemove, card}}, {Order::kInstall, card}});
        kinds.push_back({"removed" + type, {{Order::kInstall, card}}, {Order::kRemove, card}});
        kinds.push_back({"ready" + type, {{Order::kRemove, card}}, {readiness, card, 1, 1}});
        kinds.push_back({"unready" + type, {{readiness, card, 1, 1}}, {readiness, card, 0, 1}});
        kinds.push_back({"dropped" + type, {{readiness, card, 1, 1}}, {drop, card}});
    }
    kinds.push_back({"passed", {{Order::kRemove, kLineCard}}, {Order::kPass, kLineCard}});
    kinds.push_back({"denied", {{Order::kPass, kLineCard}}, {Order::kDeny, kLineCard}});
    kinds.push_back({"withdrawn", {{Order::kPass, kLineCard}}, {Order::kWithdrawCheck, kLineCard}});
    for (const CardClass each : {CardClass::kLine, CardClass::kFab, CardClass::kCm, CardClass::kHps}) {
        const auto number = static_cast<int32_t>(each);
        kinds.push_back(
            {"state " + std::to_string(number), {{Order::kState, {}, number, 0}}, {Order::kState, {}, number, 1}});
        kinds.push_back(
            {"no state " + std::to_string(number), {{Order::kState, {}, number, 1}}, {Order::kDropState, {}, number}});
    }
    return kinds;
}

std::vector<int32_t> nodes() {
    std::vector<int32_t> all;
    trel_cap_sw_node_walk_cur(
        [](CapNode *pos, void *to) {
            static_cast<std::vector<int32_t> *>(to)->push_back(pos->record.node);
            return 0;
        },
        &all);
    return all;
}

// On the embedded store: elsewhere each failure costs a pause, and the library does the same.
class MessageMemory : public Memory {};
INSTANTIATE_TEST_SUITE_P(Stores, MessageMemory, testing::Values(test_support::StoreKind{"mem", ""}),
                         test_support::store_label);

TEST_P(MessageMemory, AtAMessageIsMadeGoodByTheNext) {
    std::thread([this] {
        Start start(store());
        LocalPublisher own(store());
        ASSERT_TRUE(start.comes_up());
        const std::vector<int32_t> expected = nodes();
        ASSERT_EQ(expected.size(), kCards.size());
        int failures = 0;
        for (const Kind &kind : every_kind()) {
            SCOPED_TRACE(kind.name);
            failures += fail_each_allocation(
                [&] {
                    publish_all(own, baseline());
                    publish_all(own, kind.before);
                    start.take_all();
                    own.publish(kind.told);
                    ASSERT_TRUE(readable(start.client.get()));
                },
                [&] { return std::min(ox_mom_client_process(start.client.get(), 0), 0); },
                [&](int32_t status, bool) {
                    EXPECT_TRUE(status == 0 || status == OX_MOM_E_MEMORY) << status;
                    length_of_list();
                    expect_no_lock_held();
                    EXPECT_TRUE(start.comes_up());
                });
            publish_all(own, baseline());
            start.take_all();
            EXPECT_EQ(nodes(), expected);
        }
        EXPECT_GT(failures, 0);
    }).join();
}

class ReconnectionMemory : public testing::TestWithParam<test_support::StoreKind> {
protected:
    // Until everything has been read again, or an attempt has been made without memory: the first wake is the loss, the
    // next the end of the pause.
    static int32_t come_back(const Start &start) {
        int32_t status = 0;
        bool was_lost = false;
        for (int wakes = 0; status >= 0 && (!was_lost || !start.is_loaded()); ++wakes) {
            if ((wakes >= 2 && an_allocation_failed()) || !readable(start.client.get())) {
                break;
            }
            status = ox_mom_client_process(start.client.get(), 0);
            was_lost = was_lost || wakes > 1 || !start.is_loaded();
        }
        return std::min(status, 0);
    }

    // One in so many of the allocations, from the first on, with a server of its own.
    static void fail_allocations(int first, int step, test_support::FailingAllocations::Length length) {
        test_support::RedisOptions options;
        options.program = GetParam().program;
        const test_support::RedisServer server(options);
        LocalPublisher publisher(server.store_name());
        publish_all(publisher, baseline());
        test_support::RedisConnection raw = server.connection();
        int nth = first;
        for (bool failed = true; failed && !HasFailure(); nth += step) {
            g_trel_cap_global = nullptr;
            trel_cap_fe_ready_clear_all_validated_flag();
            Start start(server.store_name());
            ASSERT_TRUE(start.comes_up());
            raw.must({"CLIENT", "KILL", "TYPE", "pubsub"});
            int32_t status = 0;
            {
                const test_support::FailingAllocations failing(nth, length);
                status = come_back(start);
                failed = an_allocation_failed();
            }
            SCOPED_TRACE("allocation " + std::to_string(nth));
            EXPECT_TRUE(status == 0 || status == OX_MOM_E_MEMORY) << status;
            expect_no_lock_held();
            EXPECT_TRUE(start.comes_up()) << "not all is followed";
            EXPECT_EQ(length_of_list(), static_cast<int>(kCards.size()));
        }
        EXPECT_GT(nth, first + step) << "no allocation to fail";
    }
};
INSTANTIATE_OVER_SERVERS(ReconnectionMemory);

// Several at once: most of the time they pause between attempts.
TEST_P(ReconnectionMemory, IsTriedAgainUntilAllIsFollowed) {
    constexpr int kThreads = 6;
    std::vector<std::thread> threads;
    for (int first = 1; first <= kThreads; ++first) {
        threads.emplace_back([=] {
            fail_allocations(first, kThreads, test_support::FailingAllocations::Length::kOnce);
            fail_allocations(first, kThreads, test_support::FailingAllocations::Length::kFromThenOn);
        });
    }
    std::for_each(threads.begin(), threads.end(), [](std::thread &thread) { thread.join(); });
}

}  // namespace
}  // namespace readiness
