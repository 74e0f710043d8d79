#include "chassis/classes.h"

#include <algorithm>
#include <array>

namespace chassis {

namespace {

constexpr uint32_t bits(int32_t class_event, int32_t node_event) {
    return TREL_CAP_EVENT_BIT(class_event) | TREL_CAP_EVENT_BIT(node_event);
}

constexpr std::array<ClassRules, 4> kRules = {{
    {.card_class = CardClass::kLineCard,
     .list = List::kLineCards,
     .class_event = TREL_CAP_EVENT_SYSTEM,
     .node_event = TREL_CAP_EVENT_FE_NODE,
     .own_events = bits(TREL_CAP_EVENT_SYSTEM, TREL_CAP_EVENT_FE_NODE),
     .announced_type = 3,
     .announced_with = TREL_CAP_EVENT_FE_NODE,
     .scope = "glb",
     .state_type = "cap_glb_state",
     .node_type = "cap_fe_ready"},
    {.card_class = CardClass::kFabric,
     .list = List::kFabric,
     .class_event = TREL_CAP_EVENT_FAB,
     .node_event = TREL_CAP_EVENT_FAB_NODE,
     .own_events = bits(TREL_CAP_EVENT_FAB, TREL_CAP_EVENT_FAB_NODE),
     .announced_type = 5,
     .announced_with = TREL_CAP_EVENT_CM_NODE,  // not its own: applications have come to depend on it
     .scope = "fab",
     .state_type = "cap_fab_glb_state",
     .node_type = "cap_fe_ready"},
    {.card_class = CardClass::kControlModule,
     .list = List::kControlModules,
     .class_event = TREL_CAP_EVENT_CM,
     .node_event = TREL_CAP_EVENT_CM_NODE,
     .own_events = bits(TREL_CAP_EVENT_CM, TREL_CAP_EVENT_CM_NODE),
     .announced_type = 2,
     .announced_with = TREL_CAP_EVENT_CM_NODE,
     .scope = "cm",
     .state_type = "cap_cm_glb_state",
     .node_type = "cap_cm_ready"},
    {.card_class = CardClass::kHps,
     .list = List::kHps,
     .class_event = TREL_CAP_EVENT_HPS,
     .node_event = TREL_CAP_EVENT_HPS_NODE,
     .own_events = bits(TREL_CAP_EVENT_HPS, TREL_CAP_EVENT_HPS_NODE),
     .announced_type = 7,
     .announced_with = TREL_CAP_EVENT_HPS_NODE,
     .scope = "hps",
     .state_type = "cap_hps_glb_state",
     .node_type = "cap_fe_ready"},
}};

}  // namespace

const ClassRules &rules_of(CardClass card_class) {
    return *std::find_if(kRules.begin(), kRules.end(),
                         [&](const ClassRules &each) { return each.card_class == card_class; });
}

std::string_view name_of(List list) {
    switch (list) {
        case List::kLineCards:
            return "lc";
        case List::kFabric:
            return "fab";
        case List::kControlModules:
            return "cm";
        case List::kHps:
            return "hps";
        case List::kLineCardsAndHps:
            break;
    }
    return "lc_and_hps";
}

std::string_view registration_of(List list) {
    switch (list) {
        case List::kLineCards:
            return "trel_cap_event_callback_reg";
        case List::kFabric:
            return "trel_cap_fab_event_callback_reg";
        case List::kControlModules:
            return "trel_cap_cm_event_callback_reg";
        case List::kHps:
            return "trel_cap_hps_event_callback_reg";
        case List::kLineCardsAndHps:
            break;
    }
    return "trel_cap_lc_and_hps_event_callback_reg";
}

std::string_view name_of_event(int32_t event) {
    switch (event) {
        case TREL_CAP_EVENT_SYSTEM:
            return "SYSTEM";
        case TREL_CAP_EVENT_FE_NODE:
            return "FE_NODE";
        case TREL_CAP_EVENT_CM:
            return "CM";
        case TREL_CAP_EVENT_FAB:
            return "FAB";
        case TREL_CAP_EVENT_FAB_NODE:
            return "FAB_NODE";
        case TREL_CAP_EVENT_CM_NODE:
            return "CM_NODE";
        case TREL_CAP_EVENT_HPS_NODE:
            return "HPS_NODE";
        case TREL_CAP_EVENT_HPS:
            return "HPS";
        default:
            return "LC_AND_HPS";
    }
}

}  // namespace chassis
