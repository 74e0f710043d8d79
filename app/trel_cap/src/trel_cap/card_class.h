// The card classes: all that the steps which they share are given.
#pragma once

#include "delivery.h"
#include "node_steps.h"
#include "trel_cap/dispatch.h"
#include "trel_cap/processors.h"
#include "trel_cap/readiness.h"
#include "trel_cap/records.h"
#include "trel_cap/registration.h"

namespace trel_cap {

// The records of nodes: what they are called in messages, whether a node has to be in real time to be ready, and the
// flag of those that were read.
struct FeReadyRecords {
    using NodeRecord = CapFeReady;
    static constexpr RecordNames kNodeRecordNames{"fe_ready", "fe_ready->index"};
    static constexpr bool kReadyInRealTime = true;
    static uint8_t &nodes_validated() { return g_trel_cap_fe_node_validated; }
};

struct CmReadyRecords {
    using NodeRecord = CapCmReady;
    static constexpr RecordNames kNodeRecordNames{"cm_ready", "cm_ready->index"};
    static constexpr bool kReadyInRealTime = false;
    static uint8_t &nodes_validated() { return g_trel_cap_cm_node_validated; }
};

// Of each class: its events, who sends them, and the thread's flag word that tells which are wanted;
//
// its state: the record and the query that read it, what the store says of it, whether it was read, its messages,
// whether cards installed in advance are announced before the class event is sent or after it, and whether the class
// feeds the event of line cards and HPS cards together;
//
// its nodes: their type and processor, how the entry of a record is found, and when a node counts at all;
//
// the announcement of those installed in advance: by whom, the event that has to be wanted, and its messages.
//
// The line cards' class event and state are those of the whole device.
struct LineCards : FeReadyRecords {
    static constexpr int32_t kClassEvent = TREL_CAP_EVENT_SYSTEM;
    static constexpr int32_t kNodeEvent = TREL_CAP_EVENT_FE_NODE;
    static constexpr auto kDispatch = trel_cap_callback_hander;
    static uint32_t flags() { return g_trel_cap_flag; }

    using State = CapGlbState;
    static constexpr auto kQuery = trel_cap_ce_get_glb_ready;
    static uint8_t &calc_ready() { return g_trel_g_cap_calc_ready; }
    static uint8_t &state_validated() { return g_trel_cap_glb_ready_validated; }
    static constexpr bool kAnnouncesFirst = true;
    static constexpr bool kFeedsCombinedEvent = true;
    static constexpr char kSubscribed[] = "subscribe ok, calc_ready %d";
    static constexpr char kQueried[] = "subscribe ok, calc_ready %d, g_trel_cap_flag %d";
    static constexpr char kOld[] = "old, calc_ready %d";
    static constexpr char kNew[] = "hset, calc_ready %d ";

    static constexpr int32_t kNodeType = 3;
    static constexpr MomMsgCb kNodeProcessor = trel_cap_fe_node_pmsg_f;
    static constexpr bool kFoundByType = false;
    static bool counts(const CapNodeRecord &record);

    static constexpr auto kAnnounce = trel_cap_notify_pre_install_node_pro;
    static constexpr auto kNotifier = trel_cap_notify_pre_install_node_ready;
    static constexpr auto kAllValidated = trel_cap_fe_ready_is_all_validated;
    static constexpr int32_t kAnnouncedWith = kNodeEvent;
    static constexpr char kOtherType[] = "node lc node %d node_type %d";
    static constexpr char kNotifying[] = "trel_cap_callback_hander, event %d, node %d|0x%x, ready %d";
};

struct FabricCards : FeReadyRecords {
    static constexpr int32_t kClassEvent = TREL_CAP_EVENT_FAB;
    static constexpr int32_t kNodeEvent = TREL_CAP_EVENT_FAB_NODE;
    static constexpr auto kDispatch = trel_cap_fab_callback_hander;
    static uint32_t flags() { return g_trel_fab_cm_cap_flag; }

    using State = CapFabGlbState;
    static constexpr auto kQuery = trel_cap_ce_get_fab_glb_ready;
    static uint8_t &calc_ready() { return g_trel_g_fab_cap_calc_ready; }
    static uint8_t &state_validated() { return g_trel_cap_fab_glb_ready_validated; }
    static constexpr bool kAnnouncesFirst = false;
    static constexpr bool kFeedsCombinedEvent = false;
    static constexpr char kSubscribed[] = "subscribe ok, fab_cap_calc_ready %d";
    static constexpr char kQueried[] = "subscribe ok, fab_cap_calc_ready %d, g_trel_fab_cap_flag %d";
    static constexpr char kOld[] = "old, fab_cap_calc_ready %d";
    static constexpr char kNew[] = "hset, fab_cap_calc_ready %d ";

    static constexpr int32_t kNodeType = 5;
    static constexpr MomMsgCb kNodeProcessor = trel_cap_fab_node_pmsg_f;
    static constexpr bool kFoundByType = false;
    static bool counts(const CapNodeRecord &record) { return record.dm_install != 0 && record.node_type == kNodeType; }

    static constexpr auto kAnnounce = trel_cap_notify_pre_fab_install_node_pro;
    static constexpr auto kNotifier = trel_cap_notify_pre_fab_install_node_ready;
    static constexpr auto kAllValidated = trel_cap_fab_ready_is_all_validated;
    // Not its own node event: applications have come to depend on it.
    static constexpr int32_t kAnnouncedWith = TREL_CAP_EVENT_CM_NODE;
    static constexpr char kOtherType[] = "node fab node %d node_type %d";
    static constexpr char kNotifying[] = "trel_cap_fab_callback_hander, event %d, node %d|0x%x, ready %d";
};

struct ControlModules : CmReadyRecords {
    static constexpr int32_t kClassEvent = TREL_CAP_EVENT_CM;
    static constexpr int32_t kNodeEvent = TREL_CAP_EVENT_CM_NODE;
    static constexpr auto kDispatch = trel_cap_cm_callback_hander;
    static uint32_t flags() { return g_trel_fab_cm_cap_flag; }

    using State = CapCmGlbState;
    static constexpr auto kQuery = trel_cap_ce_get_cm_glb_ready;
    static uint8_t &calc_ready() { return g_trel_g_cm_cap_calc_ready; }
    static uint8_t &state_validated() { return g_trel_cap_cm_glb_ready_validated; }
    static constexpr bool kAnnouncesFirst = false;
    static constexpr bool kFeedsCombinedEvent = false;
    static constexpr char kSubscribed[] = "subscribe ok, cm_cap_calc_ready %d";
    static constexpr char kQueried[] = "subscribe ok, cm_cap_calc_ready %d, g_trel_cm_cap_flag %d";
    static constexpr char kOld[] = "old, cm_cap_calc_ready %d";
    static constexpr char kNew[] = "hset, cm_cap_calc_ready %d ";

    static constexpr int32_t kNodeType = 2;
    static constexpr MomMsgCb kNodeProcessor = trel_cap_cm_node_pmsg_f;
    static constexpr bool kFoundByType = false;
    // Their records hold control modules only, so their type is not asked.
    static bool counts(const CapNodeRecord &record) { return record.dm_install != 0; }

    static constexpr auto kAnnounce = trel_cap_notify_pre_cm_install_node_pro;
    static constexpr auto kNotifier = trel_cap_notify_pre_cm_install_node_ready;
    static constexpr auto kAllValidated = trel_cap_cm_ready_is_all_validated;
    static constexpr int32_t kAnnouncedWith = kNodeEvent;
    static constexpr char kOtherType[] = "node cm node %d node_type %d";
    static constexpr char kNotifying[] = "trel_cap_cm_callback_hander, event %d, node %d|0x%x, ready %d";
};

struct HpsCards : FeReadyRecords {
    static constexpr int32_t kClassEvent = TREL_CAP_EVENT_HPS;
    static constexpr int32_t kNodeEvent = TREL_CAP_EVENT_HPS_NODE;
    static constexpr auto kDispatch = trel_cap_hps_callback_hander;
    static uint32_t flags() { return g_trel_hps_cap_flag; }

    using State = CapHpsGlbState;
    static constexpr auto kQuery = trel_cap_ce_get_hps_glb_ready;
    static uint8_t &calc_ready() { return g_trel_g_hps_cap_calc_ready; }
    static uint8_t &state_validated() { return g_trel_cap_hps_glb_ready_validated; }
    static constexpr bool kAnnouncesFirst = false;
    static constexpr bool kFeedsCombinedEvent = true;
    static constexpr char kSubscribed[] = "subscribe ok, hps_cap_calc_ready %d";
    static constexpr char kQueried[] = "subscribe ok, hps_cap_calc_ready %d, g_trel_hps_cap_flag %d";
    static constexpr char kOld[] = "old, hps_cap_calc_ready %d";
    static constexpr char kNew[] = "hset, hps_cap_calc_ready %d ";

    static constexpr int32_t kNodeType = 7;
    static constexpr MomMsgCb kNodeProcessor = trel_cap_hps_node_pmsg_f;
    // One node may carry several HPS cards, which their device type tells apart.
    static constexpr bool kFoundByType = true;
    static bool counts(const CapNodeRecord &record) { return record.dm_install != 0 && record.node_type == kNodeType; }

    static constexpr auto kAnnounce = trel_cap_notify_pre_hps_install_node_pro;
    static constexpr auto kNotifier = trel_cap_notify_pre_hps_install_node_ready;
    static constexpr auto kAllValidated = trel_cap_hps_ready_is_all_validated;
    static constexpr int32_t kAnnouncedWith = kNodeEvent;
    // Worded as for line cards, which those who read the logs know.
    static constexpr char kOtherType[] = "node lc node %d node_type %d";
    static constexpr char kNotifying[] = "trel_cap_callback_hander, event %d, node %d|0x%x, ready %d";
};

// All but HPS cards: also those of the other classes, whose own processors tell of them as well.
inline bool LineCards::counts(const CapNodeRecord &record) {
    return record.node_type != HpsCards::kNodeType && is_admitted(record);
}

// Line cards have one of three types; only those of kNodeType are announced in advance.
constexpr bool is_line_card(int32_t node_type) {
    return node_type == 1 || node_type == LineCards::kNodeType || node_type == 6;
}

// Whether the application's check decides over cards of a type. Those of the other classes, and of type 1, never ask.
constexpr bool is_checked(int32_t node_type) {
    return node_type != 1 && node_type != ControlModules::kNodeType && node_type != FabricCards::kNodeType &&
           node_type != HpsCards::kNodeType;
}

// Whether an event's bit is set in a flag word. No bit stands for an event that the word has no room for.
constexpr bool has_event(uint32_t flags, int32_t event) {
    return event >= 0 && event < 32 && (flags & TREL_CAP_EVENT_BIT(event)) != 0;
}

template <typename Class>
bool is_wanted(int32_t event) {
    return has_event(Class::flags(), event);
}

}  // namespace trel_cap
