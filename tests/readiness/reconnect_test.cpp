// A server that goes and comes back.
#include "readiness_test.h"

#include <algorithm>
#include <map>
#include <string>
#include <string_view>

namespace readiness {
namespace {

using Data = test_support::RedisServer::Data;

constexpr int kRounds = 5;

class Reconnections : public ReadinessTest {
protected:
    // How many connections follow each channel of a type.
    std::map<std::string, int64_t> followers() {
        test_support::RedisConnection raw = server().connection();
        std::map<std::string, int64_t> counts;
        for (const std::string &channel : raw.list({"PUBSUB", "CHANNELS", "mom:[0-9]*"})) {
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

    // All connections but the one that says so.
    void cut_connections() {
        test_support::RedisConnection raw = server().connection();
        raw.must({"CLIENT", "KILL", "TYPE", "pubsub"});
        raw.must({"CLIENT", "KILL", "TYPE", "normal"});
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
        EXPECT_THAT(heard(application), ElementsAre(node_lost(kLineCard)));
        EXPECT_THAT(application.nodes(), IsEmpty());
        expect_that_no_reconnection_is_under_way(application);
        application.run([] { EXPECT_EQ(g_trel_g_cap_calc_ready, 0) << "nobody has published it again"; });
        publisher().bring_up(kLineCard);
        EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard)));
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
    const size_t connected = connections();
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
        EXPECT_LE(connections(), connected) << "those for requests are opened when they are needed";
    }
    EXPECT_EQ(application.reconnections(), kRounds);
    publisher().drop_readiness(kSecondLineCard);
    EXPECT_THAT(heard(application), ElementsAre(node_lost(kSecondLineCard)));
    expect_one_event_for_a_write(application);
}

// Loads its data so slowly that it answers meanwhile, but not what is stored.
class SlowReconnections : public Reconnections {
protected:
    test_support::RedisOptions server_options() const override {
        test_support::RedisOptions options;
        options.arguments = {"--key-load-delay", "2000", "--loading-process-events-interval-bytes", "1024"};
        return options;
    }
    static bool was_refused(const Application &application, const char *by) {
        MomClientStatus status{};
        status.size = sizeof status;
        return ox_mom_client_status(application.client(), &status) == 0 &&
               std::string_view(status.reason).find(by) != std::string_view::npos;
    }
    void expect_everything_anew(Application &application) {
        ASSERT_TRUE(application.comes_back(1));
        EXPECT_THAT(heard(application), UnorderedElementsAre(node_ready(kLineCard), node_ready(kLineCard),
                                                             node_ready(kLineCard), system_ready()));
        expect_one_event_for_a_write(application);
    }
};
INSTANTIATE_OVER_SERVERS(SlowReconnections);

TEST_P(SlowReconnections, ToAServerThatIsLoadingItsData) {
    publisher().state(CardClass::kLine, true);
    publisher().bring_up(kLineCard);
    Application application(store(), kLineCards);
    EXPECT_THAT(heard(application), UnorderedElementsAre(node_ready(kLineCard), system_ready()));
    test_support::RedisConnection raw = server().connection();
    for (int i = 0; i < 500; ++i) {
        raw.must({"SET", "other:" + std::to_string(i), std::string(200, 'x')});
    }
    restart_server(Data::kKept);
    EXPECT_TRUE(application.wait_until([&] { return was_refused(application, "LOADING"); }));
    expect_everything_anew(application);
}

TEST_P(SlowReconnections, ToAReplicaThatIsMadeTheMasterLater) {
    publisher().state(CardClass::kLine, true);
    publisher().bring_up(kLineCard);
    Application application(store(), kLineCards);
    EXPECT_THAT(heard(application), UnorderedElementsAre(node_ready(kLineCard), system_ready()));
    test_support::RedisConnection raw = server().connection();
    raw.must({"CONFIG", "SET", "replica-serve-stale-data", "no"});
    raw.must({"REPLICAOF", "127.0.0.1", std::to_string(test_support::unused_port())});
    server().connection().must({"CLIENT", "KILL", "TYPE", "pubsub"});
    EXPECT_TRUE(application.wait_until([&] { return was_refused(application, "MASTERDOWN"); }));
    raw.must({"REPLICAOF", "NO", "ONE"});
    replace_publisher();
    expect_everything_anew(application);
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
        EXPECT_LE(connections(), connected) << "those for requests are opened when they are needed";
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

// Another server at the same address, with another chassis: the cards that it does not know are gone.
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
    EXPECT_THAT(heard(application), ElementsAre(node_lost(kLineCard), node_ready(kSecondLineCard)));
    EXPECT_THAT(application.nodes(),
                ElementsAre(Entry{kSecondLineCard.node, 3, "online ready real_time installed checked"}));
    publisher().bring_up(kLineCard);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard)));
    expect_one_event_for_a_write(application);
}

// A loss while the first is being made good ends like any other.
TEST_P(Reconnections, ThatAreInterrupted) {
    publisher().bring_up(kLineCard);
    Application application(store(), kLineCards);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard)));
    int events = 0;
    application.run([&] {
        application.on_event = [&](const Heard &) {
            if (events++ == 0) {
                cut_connections();
            }
        };
    });
    server().connection().must({"CLIENT", "KILL", "TYPE", "pubsub"});
    ASSERT_TRUE(application.comes_back(2));
    replace_publisher();
    heard(application);
    EXPECT_EQ(application.nodes().size(), 1U);
    expect_one_event_for_a_write(application);
    expect_that_no_reconnection_is_under_way(application);
}

// As long as nothing could be followed again the flag says so.
TEST_P(Reconnections, ThatFailBeforeAnythingIsFollowed) {
    publisher().bring_up(kLineCard);
    Application application(store(), kLineCards);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard)));
    std::vector<int> under_way;
    application.run([&] {
        application.on_reconnection = [&] {
            under_way.push_back(g_trel_cap_config_reconnect);
            if (under_way.size() < 3) {
                cut_connections();
            }
        };
    });
    server().connection().must({"CLIENT", "KILL", "TYPE", "pubsub"});
    ASSERT_TRUE(application.comes_back(3));
    EXPECT_THAT(under_way, ElementsAre(0, 1, 1));
    expect_that_no_reconnection_is_under_way(application);
    replace_publisher();
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard), node_ready(kLineCard), node_ready(kLineCard)))
        << "once for each of its records, because only the third time anything was read";
    expect_one_event_for_a_write(application);
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

// What the store holds of a chassis is told once for each record, and once for each card that is there in advance.
TEST_P(Reconnections, OfAllClasses) {
    const Card fabric_in_advance{.node = 0x202, .node_type = 5, .slotid = 7};
    const Card hps_in_advance{.node = 0x402, .node_type = 7, .slotid = 8};
    publisher().bring_up(kLineCard);
    for (const Card &card : {kFabricCard, kHpsCard}) {
        publisher().install(card);
        publisher().ready(card);
    }
    for (const Card &card : {fabric_in_advance, hps_in_advance, kSecondLineCard}) {
        publisher().install(card);
        publisher().ready_in_advance(card);
    }
    publisher().install(kControlModule);
    publisher().cm_ready(kControlModule);
    for (const CardClass card_class : {CardClass::kLine, CardClass::kFab, CardClass::kCm, CardClass::kHps}) {
        publisher().state(card_class, true);
    }
    Application application(store(), kEverything);
    heard(application);
    const auto followed = followers();

    std::vector<Heard> expected = {of_class(0), of_class(2), of_class(3), of_class(7), of_class(8), of_class(8)};
    const auto expect = [&](size_t times, const Heard &event) { expected.insert(expected.end(), times, event); };
    expect(3, node_ready(kLineCard));
    expect(2, of_node(4, kFabricCard.node, true));  // its installation, and its readiness
    expect(1, node_ready(kFabricCard));             // which is the line cards' business too
    expect(2, of_node(5, kControlModule.node, true));
    expect(2, of_node(6, kHpsCard.node, true));
    expect(1, of_node(4, fabric_in_advance.node, true));
    expect(1, of_node(6, hps_in_advance.node, true));
    expect(1, node_ready(kSecondLineCard));
    for (int round = 1; round <= kRounds; ++round) {
        SCOPED_TRACE(round);
        restart_server(Data::kKept);
        ASSERT_TRUE(application.comes_back(round));
        EXPECT_THAT(heard(application), ::testing::UnorderedElementsAreArray(expected));
        EXPECT_EQ(followers(), followed);
    }
    EXPECT_EQ(application.nodes().size(), 7U);
    publisher().ready(kFabricCard);
    publisher().ready(kHpsCard);
    publisher().cm_ready(kControlModule);
    EXPECT_THAT(heard(application),
                ElementsAre(node_ready(kFabricCard), of_node(4, kFabricCard.node, true),
                            of_node(6, kHpsCard.node, true), of_node(5, kControlModule.node, true)));
}

}  // namespace
}  // namespace readiness
