#include "processor_test.h"

#include <algorithm>

#include "allocations.h"
#include "thread_stack.h"

namespace trel_cap_tests::processors {

const List kLineCards = {kKinds[0], "line cards"};
const List kFabric = {kKinds[1], "fabric"};
const List kControlModules = {kKinds[2], "control modules"};
const List kHps = {kKinds[3], "hps"};
const List kLineCardsAndHps = {kKinds[4], "line cards and hps"};

const std::vector<Variable> kValidated = {
    {"g_trel_cap_install_validated", [] { return &g_trel_cap_install_validated; }},
    {"g_trel_cap_rec_disable_validated", [] { return &g_trel_cap_rec_disable_validated; }},
    {"g_trel_cap_fe_node_validated", [] { return &g_trel_cap_fe_node_validated; }},
    {"g_trel_cap_cm_node_validated", [] { return &g_trel_cap_cm_node_validated; }},
    {"g_trel_cap_glb_ready_validated", [] { return &g_trel_cap_glb_ready_validated; }},
    {"g_trel_cap_fab_glb_ready_validated", [] { return &g_trel_cap_fab_glb_ready_validated; }},
    {"g_trel_cap_cm_glb_ready_validated", [] { return &g_trel_cap_cm_glb_ready_validated; }},
    {"g_trel_cap_hps_glb_ready_validated", [] { return &g_trel_cap_hps_glb_ready_validated; }},
};

const std::vector<Variable> kCalcReady = {
    {"g_trel_g_cap_calc_ready", [] { return &g_trel_g_cap_calc_ready; }},
    {"g_trel_g_fab_cap_calc_ready", [] { return &g_trel_g_fab_cap_calc_ready; }},
    {"g_trel_g_cm_cap_calc_ready", [] { return &g_trel_g_cm_cap_calc_ready; }},
    {"g_trel_g_hps_cap_calc_ready", [] { return &g_trel_g_hps_cap_calc_ready; }},
};

namespace {

constexpr uint32_t kAllEvents = UINT32_MAX;
// What the callbacks answer: logged, and without effect.
constexpr int32_t kAnswer = -77;

template <const List &kList>
int32_t note(int32_t event, void *arg) {
    const test_support::UncountedAllocations not_the_librarys;
    EXPECT_TRUE(arg == nullptr || test_support::is_on_this_stack(arg));
    const auto *node = static_cast<const CapNodeReady *>(arg);
    ScriptedPlatform::current().note_call(
        node == nullptr ? told(kList, event) : told(kList, event, static_cast<int32_t>(node->node), node->ready));
    return kAnswer;
}

template <const List &kList>
void register_callback() {
    // Again for the same list: nothing changes but the flag words.
    EXPECT_EQ(kList.kind.reg(kList.callback, note<kList>, kAllEvents), 0);
}

Events around(const List &list, int event, const Call &call) {
    const char *const dispatcher = list.kind.dispatch_name;
    const Log before = {80, dispatcher,
                        is_fe(list.kind) ? text("event:%d", event) : text("pos->flag:-1, event:%d", event)};
    return {before, call, Log{40, dispatcher, text("rv:%d, name:%s", kAnswer, list.callback)}};
}

}  // namespace

Call told(const List &list, int event) { return {list.callback, {event, static_cast<const void *>(nullptr)}}; }

Call told(const List &list, int event, int32_t node, int ready) {
    return {list.callback, {event, int64_t{node}, ready}};
}

Events dispatched(const List &list, int event) { return around(list, event, told(list, event)); }

Events dispatched(const List &list, int event, int32_t node, int ready) {
    return around(list, event, told(list, event, node, ready));
}

Events added(const CapNodeRecord &entry) {
    return {Log{40, "trel_cap_sw_node_init_cur", "enter", kNodeList},
            Log{60, "trel_cap_sw_node_init", "enter", kNodeList}, dumped(entry),
            Log{60, "trel_cap_sw_node_init", "leave", kNodeList},
            Log{40, "trel_cap_sw_node_init_cur", "leave", kNodeList}};
}

Events not_added() {
    return {Log{40, "trel_cap_sw_node_init_cur", "enter", kNodeList},
            Log{60, "trel_cap_sw_node_init", "enter", kNodeList},
            Log{100, "trel_cap_sw_node_init", "new_node malloc failed", kNodeList},
            Log{40, "trel_cap_sw_node_init_cur", "leave", kNodeList}};
}

Events removed(int32_t node, int32_t config_dev_type, const std::vector<CapNodeRecord> &matching) {
    Events events = {Log{60, "trel_cap_sw_node_del",
                         text("node:0x%x type %d", static_cast<unsigned>(node), config_dev_type), kNodeList}};
    if (!matching.empty()) {
        events.emplace_back(trel_cap_tests::found("trel_cap_sw_node_and_type_search", matching.front()));
    }
    events.emplace_back(Log{60, "trel_cap_sw_node_del", "leave", kNodeList});
    return events;
}

Events judged(const std::vector<CapNodeRecord> &walked, int32_t node) {
    Events events;
    for (const CapNodeRecord &entry : walked) {
        events.emplace_back(dumped(entry));
        events.emplace_back(Log{40, "trel_cap_judge_node_ready", "enter"});
        if (entry.node == node) {
            events.emplace_back(Log{40, "trel_cap_judge_node_ready", "leave"});
        }
    }
    return events;
}

std::vector<std::string> lines(const std::vector<CapNodeRecord> &records) {
    std::vector<std::string> shown;
    std::transform(records.begin(), records.end(), std::back_inserter(shown), dump_line);
    return shown;
}

std::vector<CapNodeRecord> listed() {
    std::vector<CapNodeRecord> records;
    for (const CapNode *entry : entries()) {
        records.push_back(entry->record);
    }
    return records;
}

std::vector<int32_t> commands_other_than(const std::vector<int32_t> &handled) {
    std::vector<int32_t> others = {INT32_MIN, INT32_MAX, -29, 256 + 1, 256 + 3, 256 + 4, 256 + 29, 65536 + 4};
    for (int32_t cmd = -4; cmd <= 40; ++cmd) {
        if (std::find(handled.begin(), handled.end(), cmd) == handled.end()) {
            others.push_back(cmd);
        }
    }
    return others;
}

ProcessorTest::ProcessorTest(const char *name_in_log, MomMsgCb function)
    : processor_name(name_in_log), processor(function) {
    g_trel_cap_zlog_level = 0;
    trel_cap_dbg_inited = 1;
    register_callback<kLineCards>();
    register_callback<kFabric>();
    register_callback<kControlModules>();
    register_callback<kHps>();
    register_callback<kLineCardsAndHps>();
    start_with();
    g_trel_cap_zlog_level = 4;
}

ProcessorTest::~ProcessorTest() {
    platform.on_call = nullptr;
    start_with();
}

void ProcessorTest::start_with(const std::vector<CapNodeRecord> &records) {
    const int32_t level = g_trel_cap_zlog_level;
    g_trel_cap_zlog_level = 0;
    g_trel_cap_flag = 0;
    g_trel_fab_cm_cap_flag = 0;
    g_trel_hps_cap_flag = 0;
    g_trel_lc_and_hps_cap_flag = 0;
    for (const auto &variables : {kValidated, kCalcReady}) {
        for (const Variable &variable : variables) {
            *variable.address() = 0;
        }
    }
    delete_all_nodes();
    add_nodes(records);
    platform.forget();
    g_trel_cap_zlog_level = level;
}

std::vector<std::string> ProcessorTest::state() {
    std::vector<std::string> shown = {text("flags %x %x %x %x", g_trel_cap_flag, g_trel_fab_cm_cap_flag,
                                           g_trel_hps_cap_flag, g_trel_lc_and_hps_cap_flag)};
    for (const auto &variables : {kValidated, kCalcReady}) {
        for (const Variable &variable : variables) {
            shown.push_back(text("%s %d", variable.name, *variable.address()));
        }
    }
    for (const std::string &entry : lines(listed())) {
        shown.push_back(entry);
    }
    return shown;
}

int32_t ProcessorTest::process(Message message) { return processor(client, message.to(client, 28)); }

int32_t ProcessorTest::process_unread(int32_t cmd) {
    MomMsg msg = {client, 28, cmd, reinterpret_cast<void *>(uintptr_t{1})};
    return processor(client, &msg);
}

void ProcessorTest::expect_listed(const std::vector<CapNodeRecord> &records) const {
    EXPECT_THAT(lines(listed()), ::testing::ElementsAreArray(lines(records)));
}

void ProcessorTest::expect_told(const std::vector<Call> &expected) {
    EXPECT_THAT(platform.events(), ::testing::ElementsAreArray(Events(expected.begin(), expected.end())));
    platform.forget();
}

}  // namespace trel_cap_tests::processors
