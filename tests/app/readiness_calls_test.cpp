// Which calls of the node list, of registration and of dispatch go through exported names; in which order locks are
// taken; and that a closed log saves the formatting there too.

#include <unistd.h>

#include "allocations.h"
#include "callbacks.h"
#include "interposed.h"
#include "nodes.h"
#include "private_root.h"

namespace trel_cap_tests {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Calls of exported functions, of the platform and messages are kept in their common order.
class ReadinessCalls : public CallbacksTest {
protected:
    interposed::Script &script = interposed::script();

    ReadinessCalls() {
        test_support::enter_private_root();  // where it can be had, so that a host's own level files are not seen
        platform.on_log = [this](const Log &log, const char *) { script.calls.push_back(log.text); };
        platform.on_call = [this](const Call &call, const ProtobufCMessage *) {
            script.calls.push_back(call.function);
        };
        callbacks.on_event = [this](const Received &) {
            script.calls.emplace_back("callback");
            return 0;
        };
        trel_cap_sw_init();
        interposed::reset();
        script.app_name = "application";
    }
    ~ReadinessCalls() override { delete_all_nodes(); }

    std::vector<std::string> take() { return std::exchange(script.calls, {}); }
};

TEST_F(ReadinessCalls, AddingANodeHere) {
    ASSERT_NE(trel_cap_sw_node_init_cur(node_record(1)), nullptr);
    EXPECT_THAT(take(), ElementsAre("enter", "trel_cap_sw_node_init", "enter", "trel_cap_sw_dump_node",
                                    dump_line(node_record(1)), "leave", "leave"));
    EXPECT_THAT(script.arguments, ElementsAre(&cap_nodes_list));
}

TEST_F(ReadinessCalls, DeletingANode) {
    add_nodes({node_record(1)});
    take();
    EXPECT_EQ(trel_cap_sw_node_del(1, 0), 0);
    EXPECT_THAT(take(), ElementsAre("node:0x1 type 0", "trel_cap_sw_node_and_type_search",
                                    "node:0x1, config_dev_type:0, ready:0\r\n", "leave"));
}

TEST_F(ReadinessCalls, WalkingTheNodes) {
    add_nodes({node_record(1), node_record(2)});
    take();
    const auto visitor = [](CapNode *, void *calls) {
        static_cast<std::vector<std::string> *>(calls)->emplace_back("visitor");
        return 0;
    };
    trel_cap_sw_node_walk_cur(visitor, &script.calls);
    EXPECT_THAT(take(), ElementsAre("trel_cap_sw_node_walk_cur", "trel_cap_sw_dump_node", dump_line(node_record(1)),
                                    "visitor", "trel_cap_sw_dump_node", dump_line(node_record(2)), "visitor"));
}

// A program's own function sees what the log does not.
TEST_F(ReadinessCalls, WalkingTheNodesWhenNothingIsLogged) {
    add_nodes({node_record(1), node_record(2)});
    for (const int32_t level : {0, 1, 3}) {
        g_trel_cap_zlog_level = level;
        take();
        trel_cap_sw_node_walk_cur([](CapNode *, void *) { return 0; }, nullptr);
        EXPECT_THAT(take(), ElementsAre("trel_cap_sw_node_walk_cur", "trel_cap_sw_dump_node", "trel_cap_sw_dump_node"));
    }
}

TEST_F(ReadinessCalls, PrintingTheNodes) {
    add_nodes({node_record(1), node_record(2)});
    take();
    g_trel_cap_zlog_level = 1;
    ::testing::internal::CaptureStdout();
    trel_cap_sw_dump_all_node();
    ::testing::internal::GetCapturedStdout();
    const auto calls = take();
    EXPECT_THAT(calls, ::testing::Contains("trel_cap_sw_node_walk_cur").Times(1));
    EXPECT_THAT(calls, ::testing::Contains("trel_cap_sw_dump_node_with_printf").Times(2));
}

TEST_F(ReadinessCalls, AskingWhetherACardIsPreInstalled) {
    add_nodes({node_record(1), node_record(2)});
    take();
    g_trel_cap_zlog_level = 1;
    EXPECT_EQ(trel_cap_is_preinstall_card(2), 1);
    const auto calls = take();
    EXPECT_THAT(calls, ::testing::Contains("trel_cap_sw_node_walk_cur").Times(1));
    EXPECT_THAT(calls, ::testing::Contains("trel_cap_judge_node_real_time").Times(2));
}

TEST_F(ReadinessCalls, AnnouncingANode) {
    g_trel_g_cap_calc_ready = g_trel_g_fab_cap_calc_ready = g_trel_g_cm_cap_calc_ready = g_trel_g_hps_cap_calc_ready =
        1;
    CapNode entry{};
    entry.record.ready = entry.record.dm_install = 1;
    g_trel_cap_zlog_level = 1;
    const auto called = [&](int32_t node_type, CapNodeVisitor notifier) {
        entry.record.node_type = node_type;
        notifier(&entry, nullptr);
        return take().front();
    };
    EXPECT_EQ(called(3, trel_cap_notify_pre_install_node_ready), "trel_cap_callback_hander");
    EXPECT_EQ(called(5, trel_cap_notify_pre_fab_install_node_ready), "trel_cap_fab_callback_hander");
    EXPECT_EQ(called(2, trel_cap_notify_pre_cm_install_node_ready), "trel_cap_cm_callback_hander");
    EXPECT_EQ(called(7, trel_cap_notify_pre_hps_install_node_ready), "trel_cap_hps_callback_hander");
}

TEST_F(ReadinessCalls, StartingUp) {
    g_trel_cap_zlog_level = 2;
    EXPECT_EQ(trel_cap_init(client, "router"), 0);
    auto calls = take();
    ASSERT_GE(calls.size(), 6U);
    calls.resize(6);
    EXPECT_THAT(calls, ElementsAre("trel_cap_get_app_name", "enter", "trel_cap_sw_init", "ox_mom_client_connect_sync",
                                   "ox_mom_client_connect_sync", "trel_cap_sub"));
}

// Subscribing at start-up, as often as it takes.
class RepeatedSubscription : public ReadinessCalls {
protected:
    // The calls of trel_cap_sub() when start-up or reconnection is answered so.
    size_t subscriptions() {
        const auto calls = take();
        return static_cast<size_t>(std::count(calls.begin(), calls.end(), "trel_cap_sub"));
    }
    int32_t start_up(const std::vector<int32_t> &answers) {
        script.answers = {std::nullopt, std::nullopt};  // the application's name, the node list
        script.answers.insert(script.answers.end(), answers.begin(), answers.end());
        return trel_cap_init(client, "router");
    }
    int32_t reconnection(const std::vector<int32_t> &answers) {
        script.answers = {std::nullopt};  // clearing the flags
        script.answers.insert(script.answers.end(), answers.begin(), answers.end());
        return trel_cap_reconnect_db_config(client, 28, 1);
    }
};

TEST_F(RepeatedSubscription, ReportsTheSecondAndReturnsTheThirdOfStartUp) {
    g_trel_cap_zlog_level = 1;
    for (const int32_t third : {-3, 0}) {
        platform.forget();
        EXPECT_EQ(start_up({-1, -2, third}), third);
        EXPECT_EQ(subscriptions(), 3U);
        EXPECT_THAT(script.arguments, ElementsAre(client));
        EXPECT_THAT(platform.logs(), ElementsAre(Log{100, "trel_cap_init", "failed,rv -2"}));
        EXPECT_EQ(g_trel_cap_global, nullptr);
    }
    g_trel_cap_zlog_level = 0;
    EXPECT_EQ(start_up({-1, -2, -3}), -2);
    EXPECT_EQ(subscriptions(), 2U);
    EXPECT_EQ(start_up({-1, 0, -3}), 0);
    EXPECT_EQ(subscriptions(), 2U);
    EXPECT_EQ(g_trel_cap_global, nullptr);
}

TEST_F(RepeatedSubscription, ReportsTheSecondAndReturnsTheThirdOfReconnection) {
    g_trel_cap_zlog_level = 1;
    for (const int32_t third : {-3, 0}) {
        platform.forget();
        g_trel_cap_config_reconnect = 0;
        EXPECT_EQ(reconnection({-1, -2, third}), third);
        EXPECT_EQ(g_trel_cap_config_reconnect, 1);
        EXPECT_EQ(subscriptions(), 3U);
        EXPECT_THAT(script.arguments, ElementsAre(client));
        ASSERT_EQ(platform.logs().size(), 2U);
        EXPECT_EQ(platform.logs()[1], (Log{100, "trel_cap_reconnect_db_config", "failed,rv -2"}));
    }
    g_trel_cap_zlog_level = 0;
    EXPECT_EQ(reconnection({-1, -2, -3}), -2);
    EXPECT_EQ(subscriptions(), 2U);
    EXPECT_EQ(g_trel_cap_config_reconnect, 1);
}

TEST_F(ReadinessCalls, Reconnecting) {
    EXPECT_EQ(trel_cap_reconnect_db_config(client, 28, 1), 0);
    EXPECT_THAT(take(), ElementsAre("con change and all db reconnected, db 28, type 1",
                                    "trel_cap_fe_ready_clear_all_validated_flag", "trel_cap_sub"));
}

// Registration and dispatch, of each kind.
class CallsOfEachKind : public ReadinessCalls, public ::testing::WithParamInterface<Kind> {
protected:
    const Kind &kind = GetParam();

    std::string asked(const char *name) const {
        return text("reg_name:%s, callback_handle:%p, flag 1", name, reinterpret_cast<void *>(Callbacks::number<1>));
    }
};

INSTANTIATE_TEST_SUITE_P(Kinds, CallsOfEachKind, ::testing::ValuesIn(kKinds), kind_name);

TEST_P(CallsOfEachKind, Registering) {
    trel_cap_dbg_inited = 0;
    EXPECT_EQ(kind.reg("one", Callbacks::number<1>, 1), 0);
    EXPECT_THAT(take(), ElementsAre("trel_cap_get_app_name", "trel_cap_zlog_init", "g_trel_cap_zlog_level: 4",
                                    "ox_zlog_init", asked("one"), "pthread_rwlock_wrlock", "lock succ", "unlock",
                                    "pthread_rwlock_unlock", "leave"));
    EXPECT_EQ(script.app_name_pid, getpid());
    EXPECT_EQ(script.app_name_size, 128U);
    EXPECT_EQ(script.zlog_init_name, "application");
    EXPECT_EQ(kind.reg("two", Callbacks::number<1>, 1), 0);
    EXPECT_THAT(take(), ElementsAre("trel_cap_get_app_name", asked("two"), "pthread_rwlock_wrlock", "lock succ",
                                    "unlock", "pthread_rwlock_unlock", "leave"));
}

TEST_P(CallsOfEachKind, RegisteringWhenLoggingCannotBeSetUp) {
    trel_cap_dbg_inited = 0;
    script.answers = {std::nullopt, -4};
    EXPECT_EQ(kind.reg("one", Callbacks::number<1>, 1), 0);
    EXPECT_EQ(trel_cap_dbg_inited, 1);
    EXPECT_EQ(kind.dispatch(0, nullptr), 0);
    EXPECT_EQ(callbacks.take().size(), 1U);
}

TEST_P(CallsOfEachKind, RegisteringInVain) {
    EXPECT_EQ(kind.reg("one", Callbacks::number<1>, 1), 0);
    take();
    EXPECT_EQ(kind.reg("one", Callbacks::number<1>, 1), 0);
    EXPECT_THAT(take(), ElementsAre("trel_cap_get_app_name", asked("one"), "pthread_rwlock_wrlock", "lock succ",
                                    "unlock", "pthread_rwlock_unlock"));
    EXPECT_EQ(kind.reg(nullptr, Callbacks::number<1>, 1), -4);
    EXPECT_EQ(kind.reg("one", nullptr, 1), -4);
    EXPECT_THAT(take(),
                ElementsAre("reg_name NULL pointer, addr error!\n", "callback_handle NULL pointer, addr error!\n"));
}

TEST_P(CallsOfEachKind, Dispatching) {
    register_quietly(kind, "one", Callbacks::number<1>, 1);
    take();
    EXPECT_EQ(kind.dispatch(0, nullptr), 0);
    if (is_fe(kind)) {
        EXPECT_THAT(take(), ElementsAre(kind.dispatch_name, "event:0", "pthread_rwlock_rdlock", "callback",
                                        "rv:0, name:one", "pthread_rwlock_unlock"));
    } else {
        EXPECT_THAT(take(), ElementsAre(kind.dispatch_name, "pthread_rwlock_rdlock", "pos->flag:1, event:0", "callback",
                                        "rv:0, name:one", "pthread_rwlock_unlock"));
    }
}

TEST_P(CallsOfEachKind, ReturningWhatUnlockingReturns) {
    script.answers = {std::nullopt, std::nullopt, 7};  // the dispatch itself, the lock, its release
    EXPECT_EQ(kind.dispatch(0, nullptr), 7);
}

TEST_P(CallsOfEachKind, LockingOneLock) {
    EXPECT_EQ(trel_cap_event_callback_reg("one", Callbacks::number<1>, 1), 0);
    const auto lock = script.arguments;
    EXPECT_EQ(kind.reg("two", Callbacks::number<1>, 1), 0);
    EXPECT_EQ(script.arguments, lock);
    script.arguments.clear();
    EXPECT_EQ(kind.dispatch(0, nullptr), 0);
    EXPECT_EQ(script.arguments, lock);
}

// What is formatted at a level by everything here that has something to say.
class ClosedReadinessLog : public ReadinessCalls {
protected:
    int formatted_at(int32_t level) {
        delete_all_nodes();
        CapNode entry{};
        CapNodeReady asked{};
        g_trel_cap_zlog_level = level;
        g_trel_hps_cap_flag = 0x80;
        platform.subscribe.always(-1);
        platform.forget();
        script.formatted = 0;
        for (const Kind &kind : kKinds) {
            kind.reg("one", Callbacks::number<1>, 1);
            kind.reg(nullptr, nullptr, 1);
            kind.dispatch(0, nullptr);
        }
        trel_cap_sw_node_init_cur(node_record(1));
        trel_cap_sw_node_init(node_record(1), nullptr);
        trel_cap_sw_node_search(1);
        trel_cap_is_preinstall_card(1);
        trel_cap_sw_node_del(1, 0);
        trel_cap_judge_node_ready(&entry, &asked);
        trel_cap_judge_node_ready(nullptr, &asked);
        trel_cap_notify_pre_install_node_ready(&entry, nullptr);
        trel_cap_notify_pre_install_node_ready(nullptr, nullptr);
        trel_cap_reconnect_db_config(client, 1, 1);
        trel_cap_sub(nullptr);
        return script.formatted;
    }
};

TEST_F(ClosedReadinessLog, FormatsNothing) {
    EXPECT_EQ(formatted_at(0), 0);
    EXPECT_THAT(platform.logs(), IsEmpty());
}

TEST_F(ClosedReadinessLog, EachLevelFormatsWhatItLetsOut) {
    for (const int32_t level : {1, 2, 3}) {
        const int formatted = formatted_at(level);
        EXPECT_EQ(static_cast<size_t>(formatted), platform.logs().size()) << level;
        EXPECT_GT(formatted, 0) << level;
    }
}

}  // namespace
}  // namespace trel_cap_tests
