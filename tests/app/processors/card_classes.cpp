#include "card_classes.h"

#include "messages.h"

namespace trel_cap_tests::processors {
namespace {

uint8_t *install() { return &g_trel_cap_install_validated; }
uint8_t *check() { return &g_trel_cap_rec_disable_validated; }
uint8_t *fe_node() { return &g_trel_cap_fe_node_validated; }
uint8_t *cm_node() { return &g_trel_cap_cm_node_validated; }
uint8_t *system_state() { return &g_trel_cap_glb_ready_validated; }
uint8_t *fabric_state() { return &g_trel_cap_fab_glb_ready_validated; }
uint8_t *cm_state() { return &g_trel_cap_cm_glb_ready_validated; }
uint8_t *hps_state() { return &g_trel_cap_hps_glb_ready_validated; }

uint32_t *line_card_flag() { return &g_trel_cap_flag; }
uint32_t *fabric_and_cm_flag() { return &g_trel_fab_cm_cap_flag; }
uint32_t *hps_flag() { return &g_trel_hps_cap_flag; }

}  // namespace

const CardClass kLineCardClass = {
    .name = "LineCards",
    .announcement = "trel_cap_notify_pre_install_node_pro",
    .announce = trel_cap_notify_pre_install_node_pro,
    .all_validated = "trel_cap_fe_ready_is_all_validated",
    .sources = {install, system_state, fe_node, check},
    .calc_ready = [] { return &g_trel_g_cap_calc_ready; },
    .flag_word = line_card_flag,
    .announcement_bit = 0x02,
    .notifier = "trel_cap_notify_pre_install_node_ready",
    .mismatch = "node lc",
    .sender = "trel_cap_callback_hander",
    .node_type = 3,
    .node_event = 1,
    .list = kLineCards,
    .state_processor = "trel_cap_ce_glb_ready_pmsg_f",
    .process_state = trel_cap_ce_glb_ready_pmsg_f,
    .state_type = &cap_glb_state__descriptor,
    .query = "trel_cap_ce_get_glb_ready",
    .calc_word = "calc_ready",
    .flag_name = "g_trel_cap_flag",
    .state_validated = system_state,
    .class_event = 0,
    .class_event_bit = 0x01,
    .sends_event_8 = true,
    .announces_first = true,
};

const CardClass kFabricClass = {
    .name = "Fabric",
    .announcement = "trel_cap_notify_pre_fab_install_node_pro",
    .announce = trel_cap_notify_pre_fab_install_node_pro,
    .all_validated = "trel_cap_fab_ready_is_all_validated",
    .sources = {install, fabric_state, fe_node},
    .calc_ready = [] { return &g_trel_g_fab_cap_calc_ready; },
    .flag_word = fabric_and_cm_flag,
    .announcement_bit = 0x20,  // the control modules' bit: the fabric's own, 0x10, does not count here
    .notifier = "trel_cap_notify_pre_fab_install_node_ready",
    .mismatch = "node fab",
    .sender = "trel_cap_fab_callback_hander",
    .node_type = 5,
    .node_event = 4,
    .list = kFabric,
    .state_processor = "trel_cap_ce_fab_glb_ready_pmsg_f",
    .process_state = trel_cap_ce_fab_glb_ready_pmsg_f,
    .state_type = &cap_fab_glb_state__descriptor,
    .query = "trel_cap_ce_get_fab_glb_ready",
    .calc_word = "fab_cap_calc_ready",
    .flag_name = "g_trel_fab_cap_flag",
    .state_validated = fabric_state,
    .class_event = 3,
    .class_event_bit = 0x08,
    .sends_event_8 = false,
    .announces_first = false,
};

const CardClass kControlModuleClass = {
    .name = "ControlModules",
    .announcement = "trel_cap_notify_pre_cm_install_node_pro",
    .announce = trel_cap_notify_pre_cm_install_node_pro,
    .all_validated = "trel_cap_cm_ready_is_all_validated",
    .sources = {install, cm_state, cm_node},
    .calc_ready = [] { return &g_trel_g_cm_cap_calc_ready; },
    .flag_word = fabric_and_cm_flag,
    .announcement_bit = 0x20,
    .notifier = "trel_cap_notify_pre_cm_install_node_ready",
    .mismatch = "node cm",
    .sender = "trel_cap_cm_callback_hander",
    .node_type = 2,
    .node_event = 5,
    .list = kControlModules,
    .state_processor = "trel_cap_ce_cm_glb_ready_pmsg_f",
    .process_state = trel_cap_ce_cm_glb_ready_pmsg_f,
    .state_type = &cap_cm_glb_state__descriptor,
    .query = "trel_cap_ce_get_cm_glb_ready",
    .calc_word = "cm_cap_calc_ready",
    .flag_name = "g_trel_cm_cap_flag",
    .state_validated = cm_state,
    .class_event = 2,
    .class_event_bit = 0x04,
    .sends_event_8 = false,
    .announces_first = false,
};

const CardClass kHpsClass = {
    .name = "Hps",
    .announcement = "trel_cap_notify_pre_hps_install_node_pro",
    .announce = trel_cap_notify_pre_hps_install_node_pro,
    .all_validated = "trel_cap_hps_ready_is_all_validated",
    .sources = {install, hps_state, fe_node},
    .calc_ready = [] { return &g_trel_g_hps_cap_calc_ready; },
    .flag_word = hps_flag,
    .announcement_bit = 0x40,
    .notifier = "trel_cap_notify_pre_hps_install_node_ready",
    .mismatch = "node lc",  // the line cards' words, in both
    .sender = "trel_cap_callback_hander",
    .node_type = 7,
    .node_event = 6,
    .list = kHps,
    .state_processor = "trel_cap_ce_hps_glb_ready_pmsg_f",
    .process_state = trel_cap_ce_hps_glb_ready_pmsg_f,
    .state_type = &cap_hps_glb_state__descriptor,
    .query = "trel_cap_ce_get_hps_glb_ready",
    .calc_word = "hps_cap_calc_ready",
    .flag_name = "g_trel_hps_cap_flag",
    .state_validated = hps_state,
    .class_event = 7,
    .class_event_bit = 0x80,
    .sends_event_8 = true,
    .announces_first = false,
};

void allow_announcement(const CardClass &card_class) {
    for (const auto source : card_class.sources) {
        *source() = 1;
    }
    *card_class.calc_ready() = 1;
    *card_class.flag_word() |= card_class.announcement_bit;
}

void allow_everything() {
    for (const auto &variables : {kValidated, kCalcReady}) {
        for (const Variable &variable : variables) {
            *variable.address() = 1;
        }
    }
    g_trel_cap_flag = UINT32_MAX;
    g_trel_fab_cm_cap_flag = UINT32_MAX;
    g_trel_hps_cap_flag = UINT32_MAX;
    g_trel_lc_and_hps_cap_flag = UINT32_MAX;
}

std::vector<CapNodeRecord> preinstalled_entries() {
    std::vector<CapNodeRecord> entries;
    for (const int32_t node_type : {1, 2, 3, 5, 7}) {
        entries.push_back(
            entry({.node = 0x80 + node_type, .node_type = node_type, .ready = 1, .dm_install = 1, .cns = 1}));
    }
    return entries;
}

Events announced(const CardClass &card_class, const std::vector<CapNodeRecord> &entries) {
    Events events = {Log{80, card_class.announcement, "all fe_ready info validate"}};
    for (const CapNodeRecord &entry : entries) {
        append(events, in_order(dumped(entry), Log{40, card_class.notifier, "enter"}));
        if (entry.node_type != card_class.node_type) {
            append(events, Log{80, card_class.notifier,
                               text("%s node %d node_type %d", card_class.mismatch, entry.node, entry.node_type)});
            continue;
        }
        if (entry.ready != 0 && entry.real_time == 0 && entry.dm_install != 0) {
            append(events, Log{80, card_class.notifier,
                               text("%s, event %d, node %d|0x%x, ready 1", card_class.sender, card_class.node_event,
                                    entry.node, static_cast<unsigned>(entry.node))});
            append(events, dispatched(card_class.list, card_class.node_event, entry.node, 1));
        }
        append(events, Log{40, card_class.notifier, "leave"});
    }
    return events;
}

}  // namespace trel_cap_tests::processors
