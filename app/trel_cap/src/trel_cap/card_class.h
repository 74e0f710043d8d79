// The card classes: what the steps that all classes share are given.
#ifndef TREL_CAP_CARD_CLASS_H
#define TREL_CAP_CARD_CLASS_H

#include "trel_cap/dispatch.h"
#include "trel_cap/processors.h"
#include "trel_cap/registration.h"

namespace trel_cap {

/*
 * Of each class: the type that its nodes have, its events, who sends them, the thread's flag word that tells which are
 * wanted, and whether the store says that the class is ready. The line cards' class event is that of the whole device.
 */
struct LineCards {
    static constexpr int32_t kNodeType = 3;
    static constexpr int32_t kClassEvent = TREL_CAP_EVENT_SYSTEM;
    static constexpr int32_t kNodeEvent = TREL_CAP_EVENT_FE_NODE;
    static constexpr auto kDispatch = trel_cap_callback_hander;
    static uint32_t flags() { return g_trel_cap_flag; }
    static uint8_t &calc_ready() { return g_trel_g_cap_calc_ready; }
};

struct FabricCards {
    static constexpr int32_t kNodeType = 5;
    static constexpr int32_t kClassEvent = TREL_CAP_EVENT_FAB;
    static constexpr int32_t kNodeEvent = TREL_CAP_EVENT_FAB_NODE;
    static constexpr auto kDispatch = trel_cap_fab_callback_hander;
    static uint32_t flags() { return g_trel_fab_cm_cap_flag; }
    static uint8_t &calc_ready() { return g_trel_g_fab_cap_calc_ready; }
};

struct ControlModules {
    static constexpr int32_t kNodeType = 2;
    static constexpr int32_t kClassEvent = TREL_CAP_EVENT_CM;
    static constexpr int32_t kNodeEvent = TREL_CAP_EVENT_CM_NODE;
    static constexpr auto kDispatch = trel_cap_cm_callback_hander;
    static uint32_t flags() { return g_trel_fab_cm_cap_flag; }
    static uint8_t &calc_ready() { return g_trel_g_cm_cap_calc_ready; }
};

struct HpsCards {
    static constexpr int32_t kNodeType = 7;
    static constexpr int32_t kClassEvent = TREL_CAP_EVENT_HPS;
    static constexpr int32_t kNodeEvent = TREL_CAP_EVENT_HPS_NODE;
    static constexpr auto kDispatch = trel_cap_hps_callback_hander;
    static uint32_t flags() { return g_trel_hps_cap_flag; }
    static uint8_t &calc_ready() { return g_trel_g_hps_cap_calc_ready; }
};

/* Line cards have one of three types; only those of kNodeType are announced in advance. */
constexpr bool is_line_card(int32_t node_type) {
    return node_type == 1 || node_type == LineCards::kNodeType || node_type == 6;
}

/* Whether the application's check decides over cards of a type. Those of the other classes, and of type 1, never ask.
 */
constexpr bool is_checked(int32_t node_type) {
    return node_type != 1 && node_type != ControlModules::kNodeType && node_type != FabricCards::kNodeType &&
           node_type != HpsCards::kNodeType;
}

/* Whether an event's bit is set in a flag word. No bit stands for an event that the word has no room for. */
constexpr bool has_event(uint32_t flags, int32_t event) {
    return event >= 0 && event < 32 && (flags & TREL_CAP_EVENT_BIT(event)) != 0;
}

template <typename Class>
bool is_wanted(int32_t event) {
    return has_event(Class::flags(), event);
}

}  // namespace trel_cap

#endif
