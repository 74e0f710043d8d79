// What start-up and reconnection have to do with the node list and the subscriptions.

#include <algorithm>
#include <thread>

#include "nodes.h"
#include "private_root.h"

namespace trel_cap_tests {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// One record type is asked for, so that an attempt to subscribe is one call, or two or three when it fails.
class SubscribingFrame : public LibraryTest {
protected:
    SubscribingFrame() {
        test_support::enter_private_root();  // where it can be had, so that a host's own level files are not seen
        trel_cap_dbg_inited = 1;
        g_trel_hps_cap_flag = 0x80;
    }

    static Call subscription(MomClient *of) {
        return call::subscribe(of, 28, Record::of(cap_hps_glb_state__descriptor), 0, trel_cap_ce_hps_glb_ready_pmsg_f,
                               nullptr);
    }
    // All answers from now on: those given, and then success.
    void answer_subscriptions(const std::vector<int32_t> &answers) {
        platform.subscribe = test_support::Script<int32_t>(0);
        for (const int32_t answer : answers) {
            platform.subscribe.then(answer);
        }
    }
    // One trel_cap_sub() that fails at each attempt: what it does, given what the second attempt is answered.
    std::vector<Event> failing(MomClient *of, int32_t second) const {
        if (!log_is_open()) {
            return {subscription(of), subscription(of)};
        }
        return {subscription(of), subscription(of), Log{100, "trel_cap_sub", text("failed,rv %d", second)},
                subscription(of)};
    }
    static void append(std::vector<Event> &events, const std::vector<Event> &more) {
        events.insert(events.end(), more.begin(), more.end());
    }
    // Three trel_cap_sub() that fail as the answers say, or two when the log is closed, between which `function`
    // reports what the second one returned.
    std::vector<Event> failing_throughout(const char *function, const std::vector<int32_t> &answers) const {
        std::vector<Event> expected;
        if (!log_is_open()) {
            append(expected, failing(client, 0));
            append(expected, failing(client, 0));
            return expected;
        }
        append(expected, failing(client, answers[1]));
        append(expected, failing(client, answers[4]));
        expected.emplace_back(Log{100, function, text("failed,rv %d", answers[5])});
        append(expected, failing(client, answers[7]));
        return expected;
    }
    int32_t last_of(const std::vector<int32_t> &answers) const { return log_is_open() ? answers[8] : answers[3]; }

    const std::vector<int32_t> all_fail = {-1, -2, -3, -4, -5, -6, -7, -8, -9};
};

class StartUpSubscription : public SubscribingFrame {
protected:
    static Call connect(MomClient *to, int32_t db) { return call::client_connect_sync(to, db); }
    static Call handler(MomClient *of, int32_t db) {
        return call::client_set_reconnect_cb(of, db, trel_cap_reconnect_db_config, nullptr);
    }
    // The events from "enter" to what comes after the reconnection handlers.
    std::vector<Event> events() const {
        std::vector<Event> seen = platform.events();
        for (auto event = seen.begin(); event != seen.end(); ++event) {
            if (*event == Event(handler(client, 28)) || *event == Event(handler(other_client, 28))) {
                seen.erase(event + 1, seen.end());
                break;
            }
        }
        return seen;
    }
    void expect_start_up(const std::vector<Event> &expected) {
        EXPECT_THAT(events(), ::testing::ElementsAreArray(test_support::visible_at(g_trel_cap_zlog_level, expected)));
        platform.forget();
    }
    std::vector<Event> until_subscription() const {
        return {Log{80, "trel_cap_init", "enter"}, connect(client, 1), connect(client, 28)};
    }
};

// The first thread's: a process has one head that is linked.
TEST_F(StartUpSubscription, TheNodeListIsSetUpBeforeConnecting) {
    std::vector<std::pair<std::string, bool>> linked;
    const auto note = [&](const std::string &what) { linked.emplace_back(what, !is_all_zero(cap_nodes_list)); };
    platform.on_call = [&](const Call &call, const ProtobufCMessage *) { note(call.function); };
    platform.on_log = [&](const Log &log, const char *) { note(log.text); };
    EXPECT_EQ(trel_cap_init(client, "router"), 0);
    ASSERT_GE(linked.size(), 2U);
    EXPECT_EQ(linked[0], (std::pair<std::string, bool>("enter", false)));
    EXPECT_EQ(linked[1], (std::pair<std::string, bool>("ox_mom_client_connect_sync", true)));
}

TEST_F(StartUpSubscription, TheNodeListIsSetUpEvenIfConnectingFails) {
    platform.client_connect_sync.always(-107);
    EXPECT_EQ(trel_cap_init(client, "router"), -107);
    EXPECT_FALSE(is_all_zero(cap_nodes_list));
    EXPECT_THAT(platform.calls("ox_mom_subscribe"), IsEmpty());
}

TEST_F(StartUpSubscription, TheNodeListOutlivesAnotherStart) {
    EXPECT_EQ(trel_cap_init(client, "router"), 0);
    add_nodes({node_record(1)});
    EXPECT_EQ(trel_cap_init(client, "router"), 0);
    EXPECT_EQ(trel_cap_init(other_client, "router"), 0);
    EXPECT_THAT(listed_nodes(), ElementsAre(1));
    delete_all_nodes();
}

TEST_F(StartUpSubscription, IsMadeBetweenConnectingAndTheHandlers) {
    for (const int32_t level : kLogLevels) {
        SCOPED_TRACE(level);
        g_trel_cap_zlog_level = level;
        g_trel_cap_global = nullptr;
        EXPECT_EQ(trel_cap_init(client, "router"), 0);
        std::vector<Event> expected = until_subscription();
        append(expected, {subscription(client), handler(client, 1), handler(client, 28)});
        expect_start_up(expected);
    }
}

TEST_F(StartUpSubscription, IsMadeWithTheNewClient) {
    g_trel_cap_global = other_client;
    platform.on_call = [this](const Call &, const ProtobufCMessage *) { EXPECT_EQ(g_trel_cap_global, other_client); };
    EXPECT_EQ(trel_cap_init(client, "router"), 0);
    EXPECT_THAT(platform.calls("ox_mom_subscribe"), ElementsAre(subscription(client)));
}

TEST_F(StartUpSubscription, IsNotMadeForAStartedThread) {
    g_trel_cap_global = client;
    EXPECT_EQ(trel_cap_init(client, "router"), 0);
    EXPECT_THAT(platform.calls(), IsEmpty());
}

TEST_F(StartUpSubscription, IsNotMadeWhenADatabaseIsNotConnected) {
    for (const int nth : {1, 2}) {
        platform.client_connect_sync.at(nth, -107);
        EXPECT_EQ(trel_cap_init(client, "router"), -107);
        EXPECT_THAT(platform.calls("ox_mom_subscribe"), IsEmpty());
        platform.client_connect_sync = test_support::Script<int32_t>(0);
    }
}

TEST_F(StartUpSubscription, IsAboutTheEventsOfTheThread) {
    std::thread([this] {
        trel_cap_dbg_inited = 1;
        EXPECT_EQ(trel_cap_init(client, "router"), 0);
    }).join();
    EXPECT_THAT(platform.calls("ox_mom_subscribe"), IsEmpty());
}

// Each report of the failure, and the result, come of trying again.
TEST_F(StartUpSubscription, ThatFailsIsMadeAgainAndEndsStartUp) {
    for (const int32_t level : kLogLevels) {
        for (MomClient *const before : {static_cast<MomClient *>(nullptr), other_client}) {
            SCOPED_TRACE(level);
            g_trel_cap_global = before;
            g_trel_cap_zlog_level = level;
            answer_subscriptions(all_fail);
            EXPECT_EQ(trel_cap_init(client, "router"), last_of(all_fail));
            EXPECT_EQ(g_trel_cap_global, before);
            std::vector<Event> expected;
            if (before != nullptr) {
                expected.emplace_back(Log{100, "trel_cap_init", "muli_thread"});
            }
            append(expected, until_subscription());
            append(expected, failing_throughout("trel_cap_init", all_fail));
            expect_start_up(expected);
        }
    }
}

// A trel_cap_sub() whose own repetition succeeds has not failed, although it has left out what came after.
TEST_F(StartUpSubscription, ThatSucceedsWhenRepeatedLetsStartUpGoOn) {
    g_trel_cap_zlog_level = 1;
    g_trel_lc_and_hps_cap_flag = 0x100;  // another record type, before the one of the HPS cards
    answer_subscriptions({-1, -2, 0});
    EXPECT_EQ(trel_cap_init(client, "router"), 0);
    EXPECT_EQ(g_trel_cap_global, client);
    const Call first =
        call::subscribe(client, 28, Record::of(cap_glb_state__descriptor), 0, trel_cap_ce_glb_ready_pmsg_f, nullptr);
    EXPECT_THAT(platform.calls("ox_mom_subscribe"), ElementsAre(first, first, first));
    EXPECT_EQ(platform.calls("ox_mom_client_set_reconnect_cb").size(), 2U);
}

// 0 is returned, but start-up has ended all the same.
TEST_F(StartUpSubscription, ThatSucceedsInTheEndStillEndsStartUp) {
    for (const int32_t level : {0, 1}) {
        for (MomClient *const before : {static_cast<MomClient *>(nullptr), other_client}) {
            g_trel_cap_global = before;
            g_trel_cap_zlog_level = level;
            platform.forget();
            answer_subscriptions(level == 0 ? std::vector{-1, -2} : std::vector{-1, -2, -3, -4, -5, -6});
            EXPECT_EQ(trel_cap_init(client, "router"), 0);
            EXPECT_EQ(g_trel_cap_global, before);
            EXPECT_THAT(platform.calls("ox_mom_client_set_reconnect_cb"), IsEmpty());
            EXPECT_THAT(platform.calls("ox_mom_subscribe"), ::testing::SizeIs(level == 0 ? 3 : 7));
            EXPECT_EQ(trel_cap_init(client, "router"), 0);
            EXPECT_EQ(g_trel_cap_global, client);
        }
    }
}

class ReconnectionSubscription : public SubscribingFrame {
protected:
    static constexpr const char *kHandler = "trel_cap_reconnect_db_config";
    static Log restored() { return {100, kHandler, "con change and all db reconnected, db 28, type 3"}; }
    static uint8_t *const *validated() {
        static thread_local uint8_t *const flags[] = {
            &g_trel_cap_install_validated,      &g_trel_cap_rec_disable_validated,
            &g_trel_cap_fe_node_validated,      &g_trel_cap_cm_node_validated,
            &g_trel_cap_glb_ready_validated,    &g_trel_cap_fab_glb_ready_validated,
            &g_trel_cap_cm_glb_ready_validated, &g_trel_cap_hps_glb_ready_validated,
        };
        return flags;
    }
    static void validate() {
        std::for_each_n(validated(), 8, [](uint8_t *flag) { *flag = 1; });
    }
    static int count_validated() { return static_cast<int>(std::count_if(validated(), validated() + 8, is_set)); }
    static bool is_set(const uint8_t *flag) { return *flag != 0; }
};

TEST_F(ReconnectionSubscription, IsReportedAndMadeAgain) {
    at_every_log_level([this] {
        EXPECT_EQ(trel_cap_reconnect_db_config(client, 28, 3), 0);
        EXPECT_EQ(g_trel_cap_config_reconnect, 0);
        expect_events({restored(), subscription(client)});
    });
}

TEST_F(ReconnectionSubscription, ForgetsWhatWasReadBetweenReportAndSubscription) {
    validate();
    std::vector<int> validated_seen;
    std::vector<int> flag_seen;
    const auto note = [&] {
        validated_seen.push_back(count_validated());
        flag_seen.push_back(g_trel_cap_config_reconnect);
    };
    platform.on_log = [&](const Log &, const char *) { note(); };
    platform.on_call = [&](const Call &, const ProtobufCMessage *) { note(); };
    EXPECT_EQ(trel_cap_reconnect_db_config(client, 28, 3), 0);
    EXPECT_THAT(validated_seen, ElementsAre(8, 0));
    EXPECT_THAT(flag_seen, ElementsAre(1, 1));
    EXPECT_EQ(count_validated(), 0);
}

TEST_F(ReconnectionSubscription, ForgetsWhatTheThreadReadOnly) {
    validate();
    std::thread([this] {
        validate();
        EXPECT_EQ(trel_cap_reconnect_db_config(client, 28, 3), 0);
        EXPECT_EQ(count_validated(), 0);
    }).join();
    EXPECT_EQ(count_validated(), 8);
    EXPECT_THAT(platform.calls(), IsEmpty());
}

TEST_F(ReconnectionSubscription, KeepsNodesAndReadiness) {
    add_nodes({node_record(1)});
    g_trel_g_cap_calc_ready = g_trel_g_hps_cap_calc_ready = 1;
    EXPECT_EQ(trel_cap_reconnect_db_config(client, 28, 3), 0);
    EXPECT_THAT(listed_nodes(), ElementsAre(1));
    EXPECT_EQ(g_trel_g_cap_calc_ready, 1);
    EXPECT_EQ(g_trel_g_hps_cap_calc_ready, 1);
    delete_all_nodes();
}

TEST_F(ReconnectionSubscription, IsMadeWithTheClientThatHasReconnected) {
    g_trel_cap_global = other_client;
    EXPECT_EQ(trel_cap_reconnect_db_config(client, 1, 3), 0);
    EXPECT_THAT(platform.calls(), ElementsAre(subscription(client)));
}

TEST_F(ReconnectionSubscription, ThatFailsIsMadeAgainAndLeavesTheMark) {
    for (const int32_t level : kLogLevels) {
        SCOPED_TRACE(level);
        g_trel_cap_zlog_level = level;
        g_trel_cap_config_reconnect = 0;
        validate();
        answer_subscriptions(all_fail);
        EXPECT_EQ(trel_cap_reconnect_db_config(client, 28, 3), last_of(all_fail));
        EXPECT_EQ(g_trel_cap_config_reconnect, 1);
        EXPECT_EQ(count_validated(), 0);
        std::vector<Event> expected = {restored()};
        append(expected, failing_throughout(kHandler, all_fail));
        expect_events(expected);
    }
}

TEST_F(ReconnectionSubscription, ThatSucceedsInTheEndLeavesTheMarkToo) {
    for (const int32_t level : {0, 1}) {
        g_trel_cap_zlog_level = level;
        g_trel_cap_config_reconnect = 0;
        answer_subscriptions(level == 0 ? std::vector{-1, -2} : std::vector{-1, -2, -3, -4, -5, -6});
        EXPECT_EQ(trel_cap_reconnect_db_config(client, 28, 3), 0);
        EXPECT_EQ(g_trel_cap_config_reconnect, 1);
        EXPECT_EQ(trel_cap_reconnect_db_config(client, 28, 3), 0);
        EXPECT_EQ(g_trel_cap_config_reconnect, 0);
    }
}

TEST_F(ReconnectionSubscription, NeedsAClient) {
    validate();
    at_every_log_level([this] {
        EXPECT_EQ(trel_cap_reconnect_db_config(nullptr, 28, 3), -4);
        expect_events({Log{100, kHandler, "client NULL pointer, addr error!\n"}});
        EXPECT_EQ(g_trel_cap_config_reconnect, 0);
        EXPECT_EQ(count_validated(), 8);
    });
}

}  // namespace
}  // namespace trel_cap_tests
