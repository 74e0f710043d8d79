#include "library.h"

#include <dlfcn.h>

#include <stdexcept>
#include <utility>

#include <gtest/gtest.h>

#include "messages.h"
#include "trel_cap/trel_cap.h"

namespace property {
namespace {

using test_support::Call;
using test_support::Record;
using test_support::ScriptedPlatform;

constexpr std::array<MomMsgCb, kProcessors> kFunctions = {
    trel_cap_ce_glb_ready_pmsg_f,    trel_cap_ce_fab_glb_ready_pmsg_f,
    trel_cap_ce_cm_glb_ready_pmsg_f, trel_cap_ce_hps_glb_ready_pmsg_f,
    trel_cap_fe_node_pmsg_f,         trel_cap_fab_node_pmsg_f,
    trel_cap_cm_node_pmsg_f,         trel_cap_hps_node_pmsg_f,
    trel_cap_install_node_pmsg_f,    trel_cap_app_df_pmsg_f};

MomMsgCb function_of(Processor processor) { return kFunctions.at(static_cast<size_t>(processor)); }

// What the thread's callbacks and additions do and write down.
struct Present {
    uint32_t clearing_events = 0;
    uint32_t failing_additions = 0;
    std::vector<Heard> heard;
};
thread_local Present present;

Loaded loaded() {
    return {.install = g_trel_cap_install_validated,
            .check = g_trel_cap_rec_disable_validated,
            .fe_node = g_trel_cap_fe_node_validated,
            .cm_node = g_trel_cap_cm_node_validated,
            .state = {g_trel_cap_glb_ready_validated, g_trel_cap_fab_glb_ready_validated,
                      g_trel_cap_cm_glb_ready_validated, g_trel_cap_hps_glb_ready_validated}};
}

std::array<int32_t, 4> class_ready() {
    return {g_trel_g_cap_calc_ready, g_trel_g_fab_cap_calc_ready, g_trel_g_cm_cap_calc_ready,
            g_trel_g_hps_cap_calc_ready};
}

void clear_ready(Processor state) {
    switch (state) {
        case Processor::kFab:
            g_trel_g_fab_cap_calc_ready = 0;
            break;
        case Processor::kCm:
            g_trel_g_cm_cap_calc_ready = 0;
            break;
        case Processor::kHps:
            g_trel_g_hps_cap_calc_ready = 0;
            break;
        default:
            g_trel_g_cap_calc_ready = 0;
    }
}

// The application's callbacks: each registration has one of its own, because it is told nothing else of itself.
template <size_t kRegistration>
int32_t hear(int32_t event, void *arg) {
    Heard heard{kRegistration, event, std::nullopt, 0, loaded(), class_ready()};
    if (const auto *ready = static_cast<const CapNodeReady *>(arg)) {
        heard.node = static_cast<int32_t>(ready->node);
        heard.ready = ready->ready;
    }
    present.heard.push_back(heard);
    if ((present.clearing_events >> event & 1) != 0) {
        clear_ready(class_of_event(event));
    }
    return -1;  // which nobody minds
}

template <size_t... kNumbers>
constexpr std::array<CapEventCb, sizeof...(kNumbers)> callbacks(std::index_sequence<kNumbers...>) {
    return {hear<kNumbers>...};
}
constexpr auto kCallbacks = callbacks(std::make_index_sequence<kRegistrations.size()>());

// Given when a name is registered again: the first callback stays.
int32_t never_called(int32_t event, void *) {
    ADD_FAILURE() << "event " << event << " went to a callback that was never taken";
    return 0;
}

int32_t register_callback(const Registration &registration, uint32_t mask, CapEventCb callback) {
    switch (registration.list) {
        case List::kFe:
            return trel_cap_event_callback_reg(registration.name, callback, mask);
        case List::kFab:
            return trel_cap_fab_event_callback_reg(registration.name, callback, mask);
        case List::kCm:
            return trel_cap_cm_event_callback_reg(registration.name, callback, mask);
        case List::kHps:
            return trel_cap_hps_event_callback_reg(registration.name, callback, mask);
        case List::kLcAndHps:
            return trel_cap_lc_and_hps_event_callback_reg(registration.name, callback, mask);
    }
    return -1;
}

Node node_from(const CapNodeRecord &record) {
    return {.node = record.node,
            .config_dev_type = record.config_dev_type,
            .devid = record.devid,
            .slotid = record.slotid,
            .sslotid = record.sslotid,
            .is_online = record.is_online,
            .cns = record.cns,
            .ready = record.ready,
            .node_type = record.node_type,
            .real_time = record.real_time,
            .dm_install = record.dm_install,
            .app_df_chk = record.app_df_chk};
}

CapNodeRecord record_of(const Node &node) {
    const auto flag = [](int32_t value) { return static_cast<uint8_t>(value); };
    return {.node = node.node,
            .config_dev_type = node.config_dev_type,
            .devid = node.devid,
            .slotid = node.slotid,
            .sslotid = node.sslotid,
            .is_online = flag(node.is_online),
            .cns = flag(node.cns),
            .ready = flag(node.ready),
            .node_type = node.node_type,
            .real_time = flag(node.real_time),
            .dm_install = flag(node.dm_install),
            .app_df_chk = flag(node.app_df_chk)};
}

std::vector<Node> nodes() {
    std::vector<Node> all;
    const auto *head = reinterpret_cast<const CapNode *>(&cap_nodes_list);
    const CapNode *before = head;
    for (const CapNode *entry = head->next; entry != nullptr && entry != head; entry = entry->next) {
        EXPECT_EQ(entry->prev, before) << "the way back is another than the way there";
        all.push_back(node_from(entry->record));
        before = entry;
    }
    EXPECT_TRUE(head->next == nullptr ? head->prev == nullptr : head->prev == before);
    return all;
}

std::optional<Processor> processor_of(const Call::Argument &function) {
    for (int i = 0; i < kProcessors; ++i) {
        const auto processor = static_cast<Processor>(i);
        if (function == Call::Argument(reinterpret_cast<const void *>(function_of(processor)))) {
            return processor;
        }
    }
    return std::nullopt;
}

std::vector<Question> questions(const ScriptedPlatform &platform) {
    std::vector<Question> all;
    for (const Call &call : platform.calls()) {
        const auto about = [&](Question::Kind kind) {
            const auto db = static_cast<int32_t>(std::get<int64_t>(call.arguments.at(1)));
            const auto &request = std::get<Record>(call.arguments.at(2));
            EXPECT_EQ(std::get<const void *>(call.arguments.at(0)), ScriptedPlatform::client());
            return Question{kind, db, request.get()->descriptor->name, std::nullopt};
        };
        if (call.function == "ox_mom_get_sync") {
            all.push_back(about(Question::kState));
        } else if (call.function == "ox_mom_scan_sync" || call.function == "ox_mom_subscribe") {
            all.push_back(about(call.function == "ox_mom_scan_sync" ? Question::kScan : Question::kSubscription));
            all.back().processor = processor_of(call.arguments.at(4));
        }
    }
    return all;
}

}  // namespace

void register_callbacks() {
    const test_support::ScriptedPlatform platform;
    trel_cap_dbg_inited = 1;
    for (size_t i = 0; i < kRegistrations.size(); ++i) {
        const Registration &registration = kRegistrations.at(i);
        if (register_callback(registration, registration.mask, kCallbacks.at(i)) != 0) {
            throw std::runtime_error(std::string("not registered: ") + registration.name);
        }
    }
}

Library::Library(ScriptedPlatform &platform) : platform_(platform) {
    trel_cap_sw_init();
    trel_cap_dbg_inited = 1;  // registering would read the host's level files
    g_trel_cap_zlog_category = ScriptedPlatform::category();
}

Library::~Library() {
    present = {};
    for (const Node &node : nodes()) {
        trel_cap_sw_node_del(node.node, node.config_dev_type);
    }
}

Outcome Library::play(const Step &step) {
    script(step);
    Outcome outcome;
    outcome.code = std::visit([this](const auto &action) { return act(action); }, step.action);
    outcome.heard = std::move(present.heard);
    outcome.questions = questions(platform_);
    outcome.state = {.nodes = nodes(),
                     .loaded = loaded(),
                     .class_ready = class_ready(),
                     .flags = {.fe = g_trel_cap_flag,
                               .fab_cm = g_trel_fab_cm_cap_flag,
                               .hps = g_trel_hps_cap_flag,
                               .lc_and_hps = g_trel_lc_and_hps_cap_flag},
                     .reconnecting = g_trel_cap_config_reconnect};
    outcome.all_loaded = {trel_cap_fe_ready_is_all_validated() != 0, trel_cap_fab_ready_is_all_validated() != 0,
                          trel_cap_cm_ready_is_all_validated() != 0, trel_cap_hps_ready_is_all_validated() != 0};
    if (const auto node = node_of(step)) {
        outcome.preinstall_card = trel_cap_is_preinstall_card(*node);
    }
    return outcome;
}

void Library::script(const Step &step) {
    present = {.clearing_events = step.clearing_events, .failing_additions = step.failing_additions, .heard = {}};
    platform_.forget();
    g_trel_cap_zlog_level = step.log_level;
    platform_.scan_sync = test_support::Script<test_support::ScanAnswer>({});
    platform_.get_sync = test_support::Script<test_support::ObjectAnswer>({});
    platform_.subscribe = test_support::Script<int32_t>(0);
    const auto *deliver = std::get_if<Deliver>(&step.action);
    for (const ScanAnswer &answer : step.answers.scans) {
        test_support::ScanAnswer scripted{answer.status, {}};
        for (const Report &report : answer.reports) {
            scripted.messages.push_back(message_of(deliver->processor, report));
        }
        platform_.scan_sync.then(scripted);
    }
    for (const StateAnswer &answer : step.answers.states) {
        platform_.get_sync.then(state_of(deliver->processor, answer));
    }
    for (const int32_t status : step.answers.subscriptions) {
        platform_.subscribe.then(status);
    }
}

int32_t Library::act(const Deliver &action) {
    test_support::Message message = message_of(action.processor, action.report);
    const int32_t db = action.processor == Processor::kInstall ? TREL_CAP_DB_CARDS : TREL_CAP_DB_CAPABILITIES;
    return function_of(action.processor)(ScriptedPlatform::client(), message.to(ScriptedPlatform::client(), db));
}

int32_t Library::act(const DeliverNothing &action) {
    return function_of(action.processor)(ScriptedPlatform::client(), nullptr);
}

int32_t Library::act(const ClearValidated &) {
    trel_cap_fe_ready_clear_all_validated_flag();
    return 0;
}

int32_t Library::act(const Reconnect &) {
    return trel_cap_reconnect_db_config(ScriptedPlatform::client(), TREL_CAP_DB_CAPABILITIES, 1);
}

int32_t Library::act(const AskForEvents &action) {
    return register_callback(kRegistrations.at(action.registration), action.mask, never_called);
}

int32_t Library::act(const Add &action) {
    return trel_cap_sw_node_init_cur(record_of(action.node)) == nullptr ? -1 : 0;
}

int32_t Library::act(const Delete &action) { return trel_cap_sw_node_del(action.node, action.config_dev_type); }

}  // namespace property

// In front of the library's own, for lack of memory when a step says so.
extern "C" CapNode *trel_cap_sw_node_init_cur(CapNodeRecord record) {
    using Function = CapNode *(CapNodeRecord);
    static auto *const behind = reinterpret_cast<Function *>(dlsym(RTLD_NEXT, "trel_cap_sw_node_init_cur"));
    const bool fails = (property::present.failing_additions & 1) != 0;
    property::present.failing_additions >>= 1;
    return fails ? nullptr : behind(record);
}
