// A server that goes and comes back, and a follower that cannot keep up.
#include "readiness_test.h"

#include <map>
#include <string>

namespace readiness {
namespace {

using Data = test_support::RedisServer::Data;

constexpr int kRounds = 5;

class Reconnections : public ReadinessTest {
protected:
    // How many connections follow each channel.
    std::map<std::string, int64_t> followers() {
        test_support::RedisConnection raw = server().connection();
        std::map<std::string, int64_t> counts;
        for (const std::string &channel : raw.list({"PUBSUB", "CHANNELS", "*"})) {
            const test_support::RedisReply reply = raw.must({"PUBSUB", "NUMSUB", channel});
            counts[channel] = reply->element[1]->integer;
        }
        EXPECT_EQ(raw.must({"PUBSUB", "NUMPAT"})->integer, 0);
        return counts;
    }

    size_t connections() {
        const std::string list = server().connection().text({"CLIENT", "LIST"});
        return static_cast<size_t>(std::count(list.begin(), list.end(), '\n'));
    }

    void expect_that_no_reconnection_is_under_way(Application &application) {
        application.run([] { EXPECT_EQ(g_trel_cap_config_reconnect, 0); });
    }

    // One write, one event.
    void expect_one_event_for_a_write(Application &application) {
        publisher().ready(kLineCard);
        EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard)));
        publisher().unready(kLineCard);
        EXPECT_THAT(heard(application), ElementsAre(node_lost(kLineCard)));
        publisher().ready(kLineCard);
        EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard)));
        publisher().state(CardClass::kLine, true);
        EXPECT_THAT(heard(application), ElementsAre(system_ready()));
    }
};
INSTANTIATE_OVER_SERVERS(Reconnections);

TEST_P(Reconnections, ToAServerThatIsEmpty) {
    Application application(store(), kLineCards);
    publisher().state(CardClass::kLine, true);
    publisher().bring_up(kLineCard);
    EXPECT_THAT(heard(application), ElementsAre(system_ready(), node_ready(kLineCard)));
    const auto followed = followers();
    for (int round = 1; round <= kRounds; ++round) {
        SCOPED_TRACE(round);
        restart_server(Data::kDropped);
        ASSERT_TRUE(application.comes_back(round));
        EXPECT_THAT(heard(application), IsEmpty());
        expect_that_no_reconnection_is_under_way(application);
        application.run([] { EXPECT_EQ(g_trel_g_cap_calc_ready, 0) << "nobody has published it again"; });
        // Only a removal takes a node off the list, so that the card needs no more than to be told of.
        publisher().install(kLineCard);
        publisher().pass(kLineCard);
        EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard), node_ready(kLineCard)));
        expect_one_event_for_a_write(application);
        EXPECT_EQ(followers(), followed);
    }
    EXPECT_EQ(application.reconnections(), kRounds);
}

TEST_P(Reconnections, ToAServerThatHasItsDataStill) {
    publisher().state(CardClass::kLine, true);
    publisher().bring_up(kLineCard);
    publisher().install(kSecondLineCard);
    publisher().ready_in_advance(kSecondLineCard);
    Application application(store(), kLineCards);
    EXPECT_THAT(heard(application),
                UnorderedElementsAre(node_ready(kLineCard), node_ready(kSecondLineCard), system_ready()));
    const auto followed = followers();
    for (int round = 1; round <= kRounds; ++round) {
        SCOPED_TRACE(round);
        restart_server(Data::kKept);
        ASSERT_TRUE(application.comes_back(round));
        // Each of the card's three records is told once; the card in advance once, when the last of all is read.
        EXPECT_THAT(heard(application),
                    UnorderedElementsAre(node_ready(kLineCard), node_ready(kLineCard), node_ready(kLineCard),
                                         node_ready(kSecondLineCard), system_ready()));
        expect_that_no_reconnection_is_under_way(application);
        EXPECT_EQ(application.nodes().size(), 2U);
        EXPECT_EQ(followers(), followed);
    }
    EXPECT_EQ(application.reconnections(), kRounds);
    publisher().drop_readiness(kSecondLineCard);
    EXPECT_THAT(heard(application), ElementsAre(node_lost(kSecondLineCard)));
    expect_one_event_for_a_write(application);
}

TEST_P(Reconnections, AfterTheNotificationsAloneWereCut) {
    publisher().bring_up(kLineCard);
    Application application(store(), kLineCards);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard)));
    const auto followed = followers();
    const size_t connected = connections();
    for (int round = 1; round <= kRounds; ++round) {
        SCOPED_TRACE(round);
        server().connection().must({"CLIENT", "KILL", "TYPE", "pubsub"});
        ASSERT_TRUE(application.comes_back(round));
        EXPECT_THAT(heard(application),
                    ElementsAre(node_ready(kLineCard), node_ready(kLineCard), node_ready(kLineCard)));
        EXPECT_EQ(followers(), followed);
        EXPECT_EQ(connections(), connected);
    }
    EXPECT_EQ(application.reconnections(), kRounds);
    expect_one_event_for_a_write(application);
}

// What happened while the application did not look is in the store when it looks again.
TEST_P(Reconnections, TellWhatHasHappenedMeanwhile) {
    publisher().bring_up(kLineCard);
    publisher().bring_up(kSecondLineCard);
    Application application(store(), kLineCards);
    EXPECT_THAT(heard(application), UnorderedElementsAre(node_ready(kLineCard), node_ready(kSecondLineCard)));
    Application::Stall stall(application);
    server().connection().must({"CLIENT", "KILL", "TYPE", "pubsub"});
    publisher().unready(kLineCard);
    publisher().deny(kSecondLineCard);
    publisher().state(CardClass::kLine, true);
    stall.end();
    ASSERT_TRUE(application.comes_back(1));
    const std::vector<Heard> told = heard(application);
    const auto last_of = [&](const Card &card) {
        const auto last =
            std::find_if(told.rbegin(), told.rend(), [&](const Heard &heard) { return heard.node == card.node; });
        return last == told.rend() ? Heard{} : *last;
    };
    EXPECT_EQ(last_of(kLineCard), node_lost(kLineCard));
    EXPECT_EQ(last_of(kSecondLineCard), node_lost(kSecondLineCard));
    EXPECT_EQ(std::count(told.begin(), told.end(), system_ready()), 1);
    EXPECT_THAT(application.nodes(),
                ElementsAre(Entry{kLineCard.node, 3, "online real_time installed checked"},
                            Entry{kSecondLineCard.node, 3, "online ready real_time installed checked denied"}));
}

// Another server at the same address, with another chassis. Of the cards that it does not know nothing is told.
TEST_P(Reconnections, ToAnotherServer) {
    publisher().state(CardClass::kLine, true);
    publisher().bring_up(kLineCard);
    Application application(store(), kLineCards);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard), system_ready()));
    Application::Stall stall(application);
    restart_server(Data::kDropped);
    publisher().bring_up(kSecondLineCard);
    stall.end();
    ASSERT_TRUE(application.comes_back(1));
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kSecondLineCard)));
    EXPECT_THAT(application.nodes(),
                ElementsAre(Entry{kLineCard.node, 3, "online ready real_time installed checked"},
                            Entry{kSecondLineCard.node, 3, "online ready real_time installed checked"}));
    expect_one_event_for_a_write(application);
}

// A loss while the first is being made good ends like any other.
TEST_P(Reconnections, ThatAreInterrupted) {
    publisher().bring_up(kLineCard);
    Application application(store(), kLineCards);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard)));
    int interruptions = 0;
    application.run([&] {
        application.on_event = [&](const Heard &) {
            if (interruptions++ == 0) {
                server().connection().must({"CLIENT", "KILL", "TYPE", "pubsub"});
                server().connection().must({"CLIENT", "KILL", "TYPE", "normal"});
            }
        };
    });
    server().connection().must({"CLIENT", "KILL", "TYPE", "pubsub"});
    ASSERT_TRUE(application.comes_back(2));
    EXPECT_EQ(application.nodes().size(), 1U);
    LocalPublisher other(store());
    application.heard(other);
    other.ready(kLineCard);
    EXPECT_THAT(application.heard(other), ElementsAre(node_ready(kLineCard)));
    expect_that_no_reconnection_is_under_way(application);
}

TEST_P(Reconnections, OfTwoThreads) {
    publisher().bring_up(kLineCard);
    Application one(store(), kLineCards);
    Application two(store(), kLineCards);
    EXPECT_THAT(heard(one), ElementsAre(node_ready(kLineCard)));
    EXPECT_THAT(heard(two), ElementsAre(node_ready(kLineCard)));
    for (int round = 1; round <= 2; ++round) {
        restart_server(Data::kKept);
        for (Application *application : {&one, &two}) {
            ASSERT_TRUE(application->comes_back(round));
            EXPECT_THAT(heard(*application),
                        ElementsAre(node_ready(kLineCard), node_ready(kLineCard), node_ready(kLineCard)));
            expect_that_no_reconnection_is_under_way(*application);
        }
    }
}

TEST_P(Reconnections, OfAllClasses) {
    publisher().bring_up(kLineCard);
    publisher().install(kFabricCard);
    publisher().ready(kFabricCard);
    publisher().install(kHpsCard);
    publisher().ready(kHpsCard);
    publisher().install(kControlModule);
    publisher().cm_ready(kControlModule);
    for (const CardClass card_class : {CardClass::kLine, CardClass::kFab, CardClass::kCm, CardClass::kHps}) {
        publisher().state(card_class, true);
    }
    Application application(store(), kEverything);
    heard(application);
    const auto followed = followers();
    const auto twice = [](const Heard &event) { return std::vector<Heard>{event, event}; };
    std::vector<Heard> expected = {of_class(0), of_class(2), of_class(3), of_class(7), of_class(8), of_class(8)};
    expected.insert(expected.end(), 3, node_ready(kLineCard));
    for (const Heard &event :
         {of_node(4, kFabricCard.node, true), of_node(5, kControlModule.node, true), of_node(6, kHpsCard.node, true)}) {
        // Once for its installation and once for its readiness.
        for (const Heard &each : twice(event)) {
            expected.push_back(each);
        }
    }
    expected.push_back(node_ready(kFabricCard));  // its readiness is the line cards' business too
    for (int round = 1; round <= kRounds; ++round) {
        SCOPED_TRACE(round);
        restart_server(Data::kKept);
        ASSERT_TRUE(application.comes_back(round));
        EXPECT_THAT(heard(application), ::testing::UnorderedElementsAreArray(expected));
        EXPECT_EQ(followers(), followed);
    }
    EXPECT_EQ(application.nodes().size(), 4U);
}

class StalledFollower : public ReadinessTest {};
INSTANTIATE_OVER_STORES(StalledFollower);

// Past the bound of what waits for it, a follower is cut off and reads the store anew.
TEST_P(StalledFollower, EndsInWhatTheStoreHolds) {
    publisher().bring_up(kLineCard);
    Application application(store(), kLineCards);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard)));
    int writes = 70000;
    if (has_server()) {
        server().connection().must({"CONFIG", "SET", "client-output-buffer-limit", "pubsub 100000 100000 1"});
        writes = 10000;
    }
    Application::Stall stall(application);
    for (int i = 0; i < writes; ++i) {
        i % 2 == 0 ? publisher().unready(kLineCard) : publisher().ready(kLineCard);
    }
    publisher().unready(kLineCard);
    stall.end();
    ASSERT_TRUE(application.comes_back(1));
    const std::vector<Heard> told = heard(application);
    EXPECT_LT(told.size(), static_cast<size_t>(writes)) << "not all of it waited";
    ASSERT_FALSE(told.empty());
    EXPECT_EQ(told.back(), node_lost(kLineCard));
    application.run([] { EXPECT_EQ(g_trel_cap_config_reconnect, 0); });
    EXPECT_THAT(application.nodes(), ElementsAre(Entry{kLineCard.node, 3, "online real_time installed checked"}));
    publisher().ready(kLineCard);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard)));
}

// Within the bound nothing is lost and nothing is out of order.
TEST_P(StalledFollower, IsToldEverythingThatWaited) {
    publisher().install(kLineCard);
    publisher().pass(kLineCard);
    Application application(store(), kLineCards);
    Application::Stall stall(application);
    std::vector<Heard> expected;
    for (int i = 0; i < 200; ++i) {
        publisher().ready(kLineCard);
        publisher().unready(kLineCard);
        expected.push_back(node_ready(kLineCard));
        expected.push_back(node_lost(kLineCard));
    }
    stall.end();
    EXPECT_EQ(heard(application), expected);
    EXPECT_EQ(application.reconnections(), 0);
}

}  // namespace
}  // namespace readiness
