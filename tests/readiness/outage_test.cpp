// What happens to cards while an application is cut off from the store, in each of the ways in which it can be.
#include "readiness_test.h"
#include "sentinel_servers.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <string>

namespace readiness {
namespace {

using test_support::RedisServer;

// One card for each thing that happens.
constexpr Card kKept{.node = 0x101, .node_type = 3, .slotid = 1};
constexpr Card kPulled{.node = 0x102, .node_type = 3, .slotid = 2};
constexpr Card kUnready{.node = 0x103, .node_type = 3, .slotid = 3};
constexpr Card kDropped{.node = 0x104, .node_type = 3, .slotid = 4};    // its readiness
constexpr Card kWithdrawn{.node = 0x105, .node_type = 3, .slotid = 5};  // its check
constexpr Card kReplaced{.node = 0x106, .node_type = 3, .slotid = 6};   // by one of another type
constexpr Card kReplacement{.node = 0x106, .node_type = 3, .slotid = 6, .config_dev_type = 78};
constexpr Card kMoved{.node = 0x107, .node_type = 3, .slotid = 7};
constexpr Card kMovedTo{.node = 0x107, .node_type = 3, .slotid = 17};
constexpr Card kPulledFabric{.node = 0x201, .node_type = 5, .slotid = 8};
constexpr Card kAll[] = {kKept, kPulled, kUnready, kDropped, kWithdrawn, kReplaced, kMoved};
constexpr Card kNotReady[] = {kPulled, kUnready, kDropped, kWithdrawn, kPulledFabric};

class Outages : public ReadinessTest {
protected:
    void bring_up_all() {
        for (const Card &card : kAll) {
            publisher().bring_up(card);
        }
        publisher().install(kPulledFabric);
        publisher().ready(kPulledFabric);
        for (const CardClass card_class : {CardClass::kLine, CardClass::kFab}) {
            publisher().state(card_class, true);
        }
    }

    void change_cards() {
        publisher().remove(kPulled);
        publisher().remove(kPulledFabric);
        publisher().unready(kUnready);
        publisher().drop_readiness(kDropped);
        publisher().withdraw_check(kWithdrawn);
        for (const auto &[before, after] : {std::pair(kReplaced, kReplacement), std::pair(kMoved, kMovedTo)}) {
            publisher().remove(before);
            publisher().drop_readiness(before);
            publisher().withdraw_check(before);
            publisher().bring_up(after);
        }
    }

    // What it was told since the outage is true of what the store holds now, and its list is that of an application
    // that has just been started.
    void expect_the_stores_state(Application &application, const std::vector<Heard> &told) {
        for (const Card &card : kNotReady) {
            for (const int32_t event : {TREL_CAP_EVENT_FE_NODE, TREL_CAP_EVENT_FAB_NODE}) {
                EXPECT_EQ(std::count(told.begin(), told.end(), of_node(event, card.node, true)), 0)
                    << "node " << card.node << " is announced";
            }
        }
        for (const Card &card : {kPulled, kUnready, kDropped, kPulledFabric}) {
            EXPECT_NE(std::count(told.begin(), told.end(), node_lost(card)), 0) << "node " << card.node;
        }
        for (const Card &card : {kKept, kReplacement, kMovedTo}) {
            const auto last =
                std::find_if(told.rbegin(), told.rend(), [&](const Heard &heard) { return heard.node == card.node; });
            ASSERT_NE(last, told.rend()) << "node " << card.node;
            EXPECT_EQ(*last, node_ready(card));
        }
        Application fresh(store(), kLineCardsAndFabric);
        EXPECT_EQ(application.nodes(), fresh.nodes());
    }

    // Cuts the application off, so that it is told of nothing that is done meanwhile, and lets it come back.
    void expect_to_survive(const std::function<void(const std::function<void()> &meanwhile)> &outage) {
        bring_up_all();
        Application application(store(), kLineCardsAndFabric);
        application.heard(publisher());
        Application::Stall stall(application);
        outage([this] { change_cards(); });
        stall.end();
        ASSERT_TRUE(application.comes_back(1));
        expect_the_stores_state(application, heard(application));
    }

    static constexpr Wanted kLineCardsAndFabric{.fe = 0x03, .fab = 0x18, .cm = 0x20};
};
INSTANTIATE_OVER_STORES(Outages);

TEST_P(Outages, ASlowFollowerIsCutOff) {
    if (has_server()) {
        server().connection().must({"CONFIG", "SET", "client-output-buffer-limit", "pubsub 100000 100000 1"});
    }
    expect_to_survive([this](const auto &meanwhile) {
        const int writes = has_server() ? 10000 : 66000;
        for (int i = 0; i < writes; ++i) {
            publisher().ready(kKept);
        }
        meanwhile();
    });
}

class ServerOutages : public Outages {};
INSTANTIATE_OVER_SERVERS(ServerOutages);

TEST_P(ServerOutages, TheConnectionIsCut) {
    expect_to_survive([this](const auto &meanwhile) {
        server().connection().must({"CLIENT", "KILL", "TYPE", "pubsub"});
        meanwhile();
    });
}

TEST_P(ServerOutages, TheServerIsRestartedWithItsData) {
    expect_to_survive([this](const auto &meanwhile) {
        restart_server(RedisServer::Data::kKept);
        meanwhile();
    });
}

// Nothing of what there was is there, and the publisher knows only what there is now.
TEST_P(ServerOutages, TheServerIsRestartedEmpty) {
    expect_to_survive([this](const auto &) {
        restart_server(RedisServer::Data::kDropped);
        bring_up_all();
        change_cards();
    });
}

TEST_P(ServerOutages, TheServerStaysEmpty) {
    bring_up_all();
    Application application(store(), kLineCardsAndFabric);
    application.heard(publisher());
    restart_server(RedisServer::Data::kDropped);
    ASSERT_TRUE(application.comes_back(1));
    std::vector<Heard> told = heard(application);
    std::vector<Heard> expected;
    for (const Card &card : kAll) {
        expected.push_back(node_lost(card));
    }
    expected.push_back(node_lost(kPulledFabric));
    EXPECT_THAT(told, ::testing::UnorderedElementsAreArray(expected)) << "each once";
    EXPECT_THAT(application.nodes(), IsEmpty());
    application.run([] { EXPECT_EQ(g_trel_g_cap_calc_ready, 0); });
}

// Once more before the first is made good: as far as it came, it was told nothing that is not so.
TEST_P(ServerOutages, OneOutageInAnother) {
    bring_up_all();
    Application application(store(), kLineCardsAndFabric);
    application.heard(publisher());
    Application::Stall stall(application);
    server().connection().must({"CLIENT", "KILL", "TYPE", "pubsub"});
    change_cards();
    int cuts = 0;
    application.on_event = [&](const Heard &) {
        if (++cuts <= 3) {
            server().connection().must({"CLIENT", "KILL", "TYPE", "pubsub"});
        }
    };
    stall.end();
    ASSERT_TRUE(application.comes_back(2));
    expect_the_stores_state(application, heard(application));
}

// A master that is replaced by its replica.
class FailOvers : public Outages {
protected:
    void SetUp() override {
        servers_.emplace(GetParam().program);
        use_store(servers_->store_name());
        replace_publisher();
    }

    test_support::SentinelServers &servers() { return *servers_; }

private:
    std::optional<test_support::SentinelServers> servers_;
};
INSTANTIATE_OVER_SERVERS(FailOvers);

TEST_P(FailOvers, TheReplicaHasWhatTheMasterHadAndMore) {
    expect_to_survive([this](const auto &meanwhile) {
        ASSERT_TRUE(servers().replica_has_everything());
        ASSERT_TRUE(servers().fail_over());
        servers().master().kill();
        replace_publisher();
        meanwhile();
    });
}

}  // namespace
}  // namespace readiness
