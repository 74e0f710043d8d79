// A callback calls back into the library: into every exported function, from each kind of callback.
#include <array>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <future>
#include <iostream>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "private_root.h"
#include "trel_cap/trel_cap.h"

namespace trel_cap_tests {
namespace {

constexpr int32_t kNode = 0x101;
constexpr int32_t kType = 77;
constexpr CapNodeRecord kRecord{.node = kNode,
                                .config_dev_type = kType,
                                .devid = 0,
                                .slotid = 1,
                                .sslotid = 0,
                                .is_online = 1,
                                .cns = 0,
                                .ready = 1,
                                .node_type = 3,
                                .real_time = 0,
                                .dm_install = 1,
                                .app_df_chk = 1};

constexpr uint32_t kSize = 64;

// What the calls are given.
struct Use {
    explicit Use(MomClient *of) : client(of) {
        record.index = &index;
        index.url = text_of_index.data();
        result.record = &record.base;
        result.field_ids = fields.data();
        result.n_field_ids = 3;
    }
    Use(const Use &) = delete;
    Use &operator=(const Use &) = delete;

    ProtobufCMessage *read_state() const {
        CapGlbState request = CAP_GLB_STATE__INIT;
        return ox_mom_get_sync(client, TREL_CAP_DB_CAPABILITIES, &request.base, nullptr);
    }
    // One for which the callback under way does nothing.
    static int32_t other_event() { return TREL_CAP_EVENT_LC_AND_HPS; }

    MomClient *client;
    std::array<char, kSize> text{};
    std::array<char, 3> text_of_index{'/', 'a', '\0'};
    uint8_t boolean = 0;
    int32_t integer = 0;
    uint32_t length = 0;
    size_t bytes = 0;
    CapNodeReady judged{.node = kNode, .ready = 0};
    CapTableIndex index = CAP_TABLE_INDEX__INIT;
    CapTable record = CAP_TABLE__INIT;
    std::array<int32_t, 3> fields{5, TREL_CAP_FIELD_BOOL, TREL_CAP_FIELD_INT32};
    MomHashResult result{};
    MomMsg notification{client, TREL_CAP_DB_CAPABILITIES, OX_MOM_CMD_DELIVERED, &result};
    MomMsg confirmation{client, TREL_CAP_DB_CAPABILITIES, OX_MOM_CMD_SUBSCRIBED, nullptr};
};

int32_t ignore(MomClient *, MomMsg *, void *) { return 0; }
int32_t pass_by(CapNode *, void *) { return 0; }
int32_t hear_nothing(int32_t, void *) { return 0; }

// A function of the library, a call of it, and what it returns.
struct Call {
    std::string_view name;
    int32_t (*make)(Use &use);
    int32_t expected;
};

constexpr int32_t kPositive = 1;
constexpr int32_t kAnything = 2;  // which depends on what has been loaded

constexpr Call call_of(std::string_view name, int32_t (*make)(Use &use), int32_t expected) {
    return {name, make, expected};
}

// The arguments stand in parentheses of their own.
#define STATUS_CALL(function, arguments, expected)                                                                     \
    call_of(                                                                                                           \
        #function, []([[maybe_unused]] Use &use) { return function arguments; }, expected)
#define POINTER_CALL(function, arguments)                                                                              \
    call_of(                                                                                                           \
        #function, []([[maybe_unused]] Use &use) { return function arguments == nullptr ? -1 : 0; }, 0)
#define VOID_CALL(function, arguments)                                                                                 \
    call_of(                                                                                                           \
        #function, []([[maybe_unused]] Use &use) { return function arguments, 0; }, 0)

const Call kCalls[] = {
    STATUS_CALL(trel_cap_init, (use.client, "again"), 0),
    POINTER_CALL(trel_cap_get_app_name, (getpid(), use.text.data(), kSize)),
    STATUS_CALL(trel_cap_zlog_init, ("again"), 0),
    VOID_CALL(trel_cap_log_level, (1)),
    STATUS_CALL(trel_cap_reconnect_db_config, (use.client, TREL_CAP_DB_CAPABILITIES, OX_MOM_RECONNECT_RESTORED), 0),
    STATUS_CALL(trel_cap_set_g_cap_db_reconnect_cb, (use.client, nullptr, nullptr), 0),
    STATUS_CALL(trel_cap_ox_obj_free, (use.read_state()), 0),
    STATUS_CALL(trel_cap_ce_get_g_cap_bool, (use.client, "/a", &use.boolean), 0),
    STATUS_CALL(trel_cap_ce_get_g_cap_int32, (use.client, "/a", &use.integer), 0),
    STATUS_CALL(trel_cap_ce_get_glb_view_bool, (use.client, "/a", &use.boolean), 0),
    STATUS_CALL(trel_cap_ce_get_glb_view_int32, (use.client, "/a", &use.integer), 0),
    STATUS_CALL(trel_cap_ce_get_g_cap_bool_by_pmsg,
                (&use.notification, kSize, use.text.data(), &use.boolean, &use.length), 0),
    STATUS_CALL(trel_cap_ce_get_g_cap_int32_by_pmsg,
                (&use.notification, kSize, use.text.data(), &use.integer, &use.length), 0),
    STATUS_CALL(trel_cap_get_glb_view_bool_by_pmsg,
                (&use.notification, kSize, use.text.data(), &use.boolean, &use.length), 0),
    STATUS_CALL(trel_cap_ce_set_g_cap_bool, (use.client, "/written", 1), 0),
    STATUS_CALL(trel_cap_ce_set_g_cap_int32, (use.client, "/written", 1), 0),
    STATUS_CALL(trel_cap_ce_set_g_cap_state, (use.client, "/written", 1), 0),
    STATUS_CALL(trel_cap_ce_set_cap_view_state, (use.client, "/written", 1), 0),
    STATUS_CALL(trel_cap_ce_subscribe_g_cap_bool_ext, (use.client, "/followed", ignore, nullptr), 0),
    STATUS_CALL(trel_cap_ce_subscribe_g_cap_int32_ext, (use.client, "/followed", ignore, nullptr), 0),
    STATUS_CALL(trel_cap_ce_subscribe_g_cap_bool, (use.client, "/followed", ignore), 0),
    STATUS_CALL(trel_cap_ce_subscribe_g_cap_int32, (use.client, "/followed", ignore), 0),
    STATUS_CALL(trel_cap_subscribe_glb_view_bool, (use.client, "/followed", ignore), 0),
    STATUS_CALL(trel_cap_ce_get_fe_cap_bool, (use.client, kNode, "/a", &use.boolean), TREL_CAP_E_NO_RECORD),
    STATUS_CALL(trel_cap_ce_get_fe_cap_int32, (use.client, kNode, "/a", &use.integer), TREL_CAP_E_NO_RECORD),
    STATUS_CALL(trel_cap_ce_get_fe_cap_str, (use.client, kNode, "/a", kSize, use.text.data(), &use.length),
                TREL_CAP_E_NO_RECORD),
    STATUS_CALL(trel_cap_ce_get_cm_cap_bool, (use.client, kNode, "/a", &use.boolean), TREL_CAP_E_NO_RECORD),
    STATUS_CALL(trel_cap_ce_get_cm_cap_int32, (use.client, kNode, "/a", &use.integer), TREL_CAP_E_NO_RECORD),
    STATUS_CALL(trel_cap_ce_get_cm_cap_str, (use.client, kNode, "/a", kSize, use.text.data(), &use.length),
                TREL_CAP_E_NO_RECORD),
    STATUS_CALL(trel_cap_ce_get_hps_cap_bool, (use.client, kNode, "/a", &use.boolean), TREL_CAP_E_NO_RECORD),
    STATUS_CALL(trel_cap_ce_get_hps_cap_int32, (use.client, kNode, "/a", &use.integer), TREL_CAP_E_NO_RECORD),
    STATUS_CALL(trel_cap_ce_get_hps_cap_str, (use.client, kNode, "/a", kSize, use.text.data(), &use.length),
                TREL_CAP_E_NO_RECORD),
    STATUS_CALL(trel_cap_ce_get_fab_cap_bool, (use.client, kNode, "/a", &use.boolean), TREL_CAP_E_NO_RECORD),
    STATUS_CALL(trel_cap_ce_get_fab_cap_int32, (use.client, kNode, "/a", &use.integer), TREL_CAP_E_NO_RECORD),
    STATUS_CALL(trel_cap_ce_get_fab_cap_str, (use.client, kNode, "/a", kSize, use.text.data(), &use.length),
                TREL_CAP_E_NO_RECORD),
    STATUS_CALL(trel_cap_ce_get_hps_g_cap_bool, (use.client, "/a", &use.boolean), TREL_CAP_E_NO_RECORD),
    STATUS_CALL(trel_cap_ce_get_hps_g_cap_int32, (use.client, "/a", &use.integer), TREL_CAP_E_NO_RECORD),
    STATUS_CALL(trel_cap_ce_get_fab_g_cap_bool, (use.client, "/a", &use.boolean), TREL_CAP_E_NO_RECORD),
    STATUS_CALL(trel_cap_ce_get_fab_g_cap_int32, (use.client, "/a", &use.integer), TREL_CAP_E_NO_RECORD),
    STATUS_CALL(trel_cap_ce_get_cm_g_cap_bool, (use.client, "/a", &use.boolean), TREL_CAP_E_NO_RECORD),
    STATUS_CALL(trel_cap_ce_get_cm_g_cap_int32, (use.client, "/a", &use.integer), TREL_CAP_E_NO_RECORD),
    STATUS_CALL(trel_cap_ce_subscribe_hps_g_cap_bool_ext, (use.client, "/followed", ignore, nullptr), 0),
    STATUS_CALL(trel_cap_ce_subscribe_hps_g_cap_int32_ext, (use.client, "/followed", ignore, nullptr), 0),
    STATUS_CALL(trel_cap_ce_subscribe_hps_g_cap_bool, (use.client, "/followed", ignore), 0),
    STATUS_CALL(trel_cap_ce_subscribe_hps_g_cap_int32, (use.client, "/followed", ignore), 0),
    STATUS_CALL(trel_cap_ce_subscribe_fab_g_cap_bool_ext, (use.client, "/followed", ignore, nullptr), 0),
    STATUS_CALL(trel_cap_ce_subscribe_fab_g_cap_int32_ext, (use.client, "/followed", ignore, nullptr), 0),
    STATUS_CALL(trel_cap_ce_subscribe_fab_g_cap_bool, (use.client, "/followed", ignore), 0),
    STATUS_CALL(trel_cap_ce_subscribe_fab_g_cap_int32, (use.client, "/followed", ignore), 0),
    STATUS_CALL(trel_cap_ce_subscribe_cm_g_cap_bool_ext, (use.client, "/followed", ignore, nullptr), 0),
    STATUS_CALL(trel_cap_ce_subscribe_cm_g_cap_int32_ext, (use.client, "/followed", ignore, nullptr), 0),
    STATUS_CALL(trel_cap_ce_subscribe_cm_g_cap_bool, (use.client, "/followed", ignore), 0),
    STATUS_CALL(trel_cap_ce_subscribe_cm_g_cap_int32, (use.client, "/followed", ignore), 0),
    STATUS_CALL(trel_cap_ce_get_glb_ready, (use.client, &use.boolean), 0),
    STATUS_CALL(trel_cap_ce_get_hps_glb_ready, (use.client, &use.boolean), 0),
    STATUS_CALL(trel_cap_ce_get_cm_glb_ready, (use.client, &use.boolean), 0),
    STATUS_CALL(trel_cap_ce_get_fab_glb_ready, (use.client, &use.boolean), 0),
    STATUS_CALL(trel_cap_sw_init, (), 0),
    POINTER_CALL(trel_cap_sw_node_init, (kRecord, &cap_nodes_list)),
    POINTER_CALL(trel_cap_sw_node_init_cur, (kRecord)),
    POINTER_CALL(trel_cap_sw_node_search, (kNode)),
    POINTER_CALL(trel_cap_sw_node_and_type_search, (kNode, kType)),
    STATUS_CALL(trel_cap_sw_node_del, (kNode, kType), 0),
    VOID_CALL(trel_cap_sw_node_walk_cur, (pass_by, nullptr)),
    VOID_CALL(trel_cap_sw_dump_node, (kRecord)),
    STATUS_CALL(trel_cap_sw_dump_node_with_printf, (kRecord), kPositive),
    VOID_CALL(trel_cap_sw_dump_all_node, ()),
    STATUS_CALL(trel_cap_event_callback_reg, ("late", hear_nothing, 0), 0),
    STATUS_CALL(trel_cap_fab_event_callback_reg, ("late", hear_nothing, 0), 0),
    STATUS_CALL(trel_cap_cm_event_callback_reg, ("late", hear_nothing, 0), 0),
    STATUS_CALL(trel_cap_hps_event_callback_reg, ("late", hear_nothing, 0), 0),
    STATUS_CALL(trel_cap_lc_and_hps_event_callback_reg, ("late", hear_nothing, 0), 0),
    STATUS_CALL(trel_cap_sub, (use.client), 0),
    STATUS_CALL(trel_cap_callback_hander, (use.other_event(), nullptr), 0),
    STATUS_CALL(trel_cap_fab_callback_hander, (use.other_event(), nullptr), 0),
    STATUS_CALL(trel_cap_cm_callback_hander, (use.other_event(), nullptr), 0),
    STATUS_CALL(trel_cap_hps_callback_hander, (use.other_event(), nullptr), 0),
    STATUS_CALL(trel_cap_lc_and_hps_callback_hander, (use.other_event(), nullptr), 0),
    STATUS_CALL(trel_cap_judge_node_ready, (trel_cap_sw_node_search(kNode), &use.judged), 0),
    STATUS_CALL(trel_cap_judge_node_real_time, (trel_cap_sw_node_search(kNode), &use.judged), 0),
    STATUS_CALL(trel_cap_notify_pre_install_node_ready, (trel_cap_sw_node_search(kNode), nullptr), 0),
    STATUS_CALL(trel_cap_notify_pre_fab_install_node_ready, (trel_cap_sw_node_search(kNode), nullptr), 0),
    STATUS_CALL(trel_cap_notify_pre_cm_install_node_ready, (trel_cap_sw_node_search(kNode), nullptr), 0),
    STATUS_CALL(trel_cap_notify_pre_hps_install_node_ready, (trel_cap_sw_node_search(kNode), nullptr), 0),
    STATUS_CALL(trel_cap_is_preinstall_card, (kNode), 1),
    STATUS_CALL(trel_cap_ce_glb_ready_pmsg_f, (use.client, &use.confirmation), 0),
    STATUS_CALL(trel_cap_ce_fab_glb_ready_pmsg_f, (use.client, &use.confirmation), 0),
    STATUS_CALL(trel_cap_ce_cm_glb_ready_pmsg_f, (use.client, &use.confirmation), 0),
    STATUS_CALL(trel_cap_ce_hps_glb_ready_pmsg_f, (use.client, &use.confirmation), 0),
    STATUS_CALL(trel_cap_fe_node_pmsg_f, (use.client, &use.confirmation), 0),
    STATUS_CALL(trel_cap_fab_node_pmsg_f, (use.client, &use.confirmation), 0),
    STATUS_CALL(trel_cap_cm_node_pmsg_f, (use.client, &use.confirmation), 0),
    STATUS_CALL(trel_cap_hps_node_pmsg_f, (use.client, &use.confirmation), 0),
    STATUS_CALL(trel_cap_install_node_pmsg_f, (use.client, &use.confirmation), 0),
    STATUS_CALL(trel_cap_app_df_pmsg_f, (use.client, &use.confirmation), 0),
    STATUS_CALL(trel_cap_notify_pre_install_node_pro, (), 0),
    STATUS_CALL(trel_cap_notify_pre_fab_install_node_pro, (), 0),
    STATUS_CALL(trel_cap_notify_pre_cm_install_node_pro, (), 0),
    STATUS_CALL(trel_cap_notify_pre_hps_install_node_pro, (), 0),
    STATUS_CALL(trel_cap_fe_ready_is_all_validated, (), kAnything),
    STATUS_CALL(trel_cap_fab_ready_is_all_validated, (), kAnything),
    STATUS_CALL(trel_cap_cm_ready_is_all_validated, (), kAnything),
    STATUS_CALL(trel_cap_hps_ready_is_all_validated, (), kAnything),
    VOID_CALL(trel_cap_fe_ready_clear_all_validated_flag, ()),
    STATUS_CALL(trel_cap_quib_init, (use.client, "again"), 0),
    STATUS_CALL(trel_cap_dbg_dump_status, (), kPositive),
    STATUS_CALL(trel_cap_dbg_ce_set_g_cap_state, ("/written", 1), 0),
    STATUS_CALL(trel_cap_dbg_ce_set_g_cap_bool, ("/written", 1), 0),
    STATUS_CALL(trel_cap_dbg_ce_set_g_cap_int32, ("/written", 1), 0),
    STATUS_CALL(trel_cap_dbg_ce_get_g_cap_int32, ("/a"), 0),
    STATUS_CALL(trel_cap_dbg_ce_get_g_cap_bool, ("/a"), 0),
    STATUS_CALL(trel_cap_dbg_ce_get_fe_cap_bool, (kNode, "/a"), TREL_CAP_E_NO_RECORD),
    STATUS_CALL(trel_cap_dbg_ce_get_fe_cap_int32, (kNode, "/a"), TREL_CAP_E_NO_RECORD),
    STATUS_CALL(trel_cap_dbg_ce_get_fe_cap_str, (kNode, "/a"), TREL_CAP_E_NO_RECORD),
    STATUS_CALL(trel_cap_dbg_show_memory, (), 0),
    STATUS_CALL(trel_cap_calc_node_list_mem, (trel_cap_sw_node_search(kNode), &use.bytes), 0),
    STATUS_CALL(trel_cap_dbg_dump_all, (), 0),
    STATUS_CALL(trel_cap_dbg_collect, (), 0),
};

bool is_as_expected(int32_t status, int32_t expected) {
    return expected == kAnything || (expected == kPositive ? status > 0 : status == expected);
}

bool is_registration(const Call &call) { return call.name.ends_with("event_callback_reg"); }

// What the calling thread's next callback does, once.
thread_local std::function<void()> in_callback;

void do_in_callback() {
    if (in_callback) {
        std::exchange(in_callback, nullptr)();
    }
}

int32_t on_event(int32_t event, void *) {
    if (event == TREL_CAP_EVENT_SYSTEM) {
        do_in_callback();
    }
    return 0;
}
int32_t on_capability(MomClient *, MomMsg *, void *) {
    do_in_callback();
    return 0;
}
int32_t on_node(CapNode *, void *) {
    do_in_callback();
    return 0;
}

// How a callback comes to be called.
struct Kind {
    const char *name;
    void (*trigger)(MomClient *client);
};

void publish_state(MomClient *client) {
    CapGlbState state = CAP_GLB_STATE__INIT;
    state.ready = 1;
    ASSERT_EQ(ox_mom_set_sync(client, TREL_CAP_DB_CAPABILITIES, &state.base), 0);
    ASSERT_GT(ox_mom_client_process(client, 0), 0);
}
void write_capability(MomClient *client) {
    ASSERT_EQ(trel_cap_ce_set_g_cap_bool(client, "/trigger", 1), 0);
    ASSERT_GT(ox_mom_client_process(client, 0), 0);
}
void walk(MomClient *) { trel_cap_sw_node_walk_cur(on_node, nullptr); }

class CallBack : public ::testing::TestWithParam<Kind> {
protected:
    void SetUp() override {
        if (const std::string why = test_support::enter_private_root(); !why.empty()) {
            GTEST_SKIP() << "the collection needs a /data of its own, which is not to be had: " << why;
        }
    }

    // On a thread of its own, which has a client, a node and a capability.
    static void call_back(const Call &call) {
        static int stores = 0;
        const std::string store = "mem:callback-calls-" + std::to_string(++stores);
        std::promise<void> ended;
        std::thread thread([&] {
            use_library(store, call);
            ended.set_value();
        });
        if (ended.get_future().wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
            std::cerr << call.name << " does not return in a callback\n";
            std::_Exit(1);
        }
        thread.join();
    }

private:
    static void use_library(const std::string &store, const Call &call) {
        ASSERT_EQ(trel_cap_event_callback_reg("application", on_event, 0x03), 0);
        MomClient *const client = ox_mom_client_create(store.c_str());
        ASSERT_EQ(trel_cap_init(client, "application"), 0);
        trel_cap_log_level(0);
        ASSERT_EQ(trel_cap_ce_subscribe_g_cap_bool(client, "/trigger", on_capability), 0);
        ASSERT_EQ(trel_cap_ce_set_g_cap_bool(client, "/a", 1), 0);
        ASSERT_EQ(trel_cap_ce_set_g_cap_int32(client, "/a", 5), 0);
        while (ox_mom_client_process(client, 0) > 0) {
        }
        ASSERT_NE(trel_cap_sw_node_init_cur(kRecord), nullptr);

        bool is_made = false;
        in_callback = [&] {
            Use use(client);
            const int32_t status = call.make(use);
            EXPECT_TRUE(is_as_expected(status, call.expected)) << status;
            is_made = true;
        };
        GetParam().trigger(client);
        EXPECT_TRUE(is_made);

        int32_t value = 0;
        EXPECT_EQ(trel_cap_ce_get_g_cap_int32(client, "/a", &value), 0) << "the library works on";
        EXPECT_EQ(value, 5);
        EXPECT_GE(ox_mom_client_process(client, 0), 0);
        EXPECT_EQ(trel_cap_event_callback_reg("application", on_event, 0x03), 0) << "the lock is free";
        while (CapNode *const node = trel_cap_sw_node_search(kNode)) {
            trel_cap_sw_node_del(node->record.node, node->record.config_dev_type);
        }
        ox_mom_client_destroy(client);
    }
};
INSTANTIATE_TEST_SUITE_P(Kinds, CallBack,
                         ::testing::Values(Kind{"Event", publish_state}, Kind{"Capability", write_capability},
                                           Kind{"Visitor", walk}),
                         [](const auto &kind) { return std::string(kind.param.name); });

TEST_P(CallBack, IntoEveryFunction) {
    for (const Call &call : kCalls) {
        SCOPED_TRACE(call.name);
        // One of an event must not register: it would wait for itself.
        if (GetParam().trigger != publish_state || !is_registration(call)) {
            call_back(call);
        }
    }
}

TEST(CallBacks, HaveACallOfEveryExportedFunction) {
    std::set<std::string> exported;
    std::ifstream list(EXPORTS);
    for (std::string line; std::getline(list, line) && line != "# variables";) {
        if (line.starts_with("trel_cap_")) {
            exported.insert(line);
        }
    }
    ASSERT_FALSE(exported.empty());
    std::set<std::string> called;
    for (const Call &call : kCalls) {
        EXPECT_TRUE(called.emplace(call.name).second) << call.name;
    }
    EXPECT_EQ(called, exported);
}

}  // namespace
}  // namespace trel_cap_tests
