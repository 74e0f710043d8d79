#include "observed.h"

#include <stdexcept>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "trel_cap/trel_cap.h"

namespace property {
namespace {

constexpr std::array<MomMsgCb, kProcessors> kFunctions = {
    trel_cap_ce_glb_ready_pmsg_f,    trel_cap_ce_fab_glb_ready_pmsg_f,
    trel_cap_ce_cm_glb_ready_pmsg_f, trel_cap_ce_hps_glb_ready_pmsg_f,
    trel_cap_fe_node_pmsg_f,         trel_cap_fab_node_pmsg_f,
    trel_cap_cm_node_pmsg_f,         trel_cap_hps_node_pmsg_f,
    trel_cap_install_node_pmsg_f,    trel_cap_app_df_pmsg_f};

thread_local Callbacks the_callbacks;

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
    the_callbacks.heard.push_back(heard);
    if ((the_callbacks.clearing_events >> event & 1) != 0) {
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

std::vector<Node> listed_nodes() {
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

}  // namespace

Callbacks &callbacks() { return the_callbacks; }

MomMsgCb function_of(Processor processor) { return kFunctions.at(static_cast<size_t>(processor)); }

std::optional<Processor> processor_of(const void *function) {
    for (int i = 0; i < kProcessors; ++i) {
        const auto processor = static_cast<Processor>(i);
        if (function == reinterpret_cast<const void *>(function_of(processor))) {
            return processor;
        }
    }
    return std::nullopt;
}

void register_callbacks() {
    trel_cap_dbg_inited = 1;  // registering would read the host's level files
    for (size_t i = 0; i < kRegistrations.size(); ++i) {
        const Registration &registration = kRegistrations.at(i);
        if (register_callback(registration, registration.mask, kCallbacks.at(i)) != 0) {
            throw std::runtime_error(std::string("not registered: ") + registration.name);
        }
    }
}

int32_t ask_for_events(const AskForEvents &action) {
    trel_cap_dbg_inited = 1;
    return register_callback(kRegistrations.at(action.registration), action.mask, never_called);
}

State observed_state() {
    return {.nodes = listed_nodes(),
            .loaded = loaded(),
            .class_ready = class_ready(),
            .flags = {.fe = g_trel_cap_flag,
                      .fab_cm = g_trel_fab_cm_cap_flag,
                      .hps = g_trel_hps_cap_flag,
                      .lc_and_hps = g_trel_lc_and_hps_cap_flag},
            .reconnecting = g_trel_cap_config_reconnect};
}

std::array<bool, 4> observed_all_loaded() {
    return {trel_cap_fe_ready_is_all_validated() != 0, trel_cap_fab_ready_is_all_validated() != 0,
            trel_cap_cm_ready_is_all_validated() != 0, trel_cap_hps_ready_is_all_validated() != 0};
}

void forget_everything() {
    the_callbacks = {};
    for (const Node &node : listed_nodes()) {
        trel_cap_sw_node_del(node.node, node.config_dev_type);
    }
}

}  // namespace property
