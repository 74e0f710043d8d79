#include "chassis/events.h"

namespace chassis {

namespace {

constexpr CardClass kLc = CardClass::kLineCard;
constexpr CardClass kFab = CardClass::kFabric;
constexpr CardClass kCm = CardClass::kControlModule;
constexpr CardClass kHps = CardClass::kHps;

constexpr std::string_view kCard = "card_info";
constexpr std::string_view kCheck = "app_df_card_deny_check_result";
constexpr std::string_view kFeReady = "cap_fe_ready";
constexpr std::string_view kCmReady = "cap_cm_ready";

constexpr std::string_view kUnlessFullyReady = "unless another entry of the node is fully ready";
constexpr std::string_view kInstalled = "installed";
constexpr std::string_view kInstalledOther = "installed; unless another entry of the node is fully ready";
constexpr std::string_view kIsReady = "ready, in real time";

constexpr EventRule told(CardClass card_class, std::string_view record, std::string_view change, int32_t event,
                         bool ready, List list, std::string_view condition = {}) {
    return {card_class, record, change, event, ready, list, condition};
}

constexpr EventRule silent(CardClass card_class, std::string_view record, std::string_view change,
                           std::string_view why) {
    return {card_class, record, change, std::nullopt, false, List::kLineCards, why};
}

constexpr EventRule kRules[] = {
    told(kLc, kCard, "inserted", TREL_CAP_EVENT_FE_NODE, true, List::kLineCards,
         "ready, in real time; checked and not denied, but for node type 1"),
    told(kLc, kCard, "removed", TREL_CAP_EVENT_FE_NODE, false, List::kLineCards, kUnlessFullyReady),
    told(kLc, kCheck, "pass", TREL_CAP_EVENT_FE_NODE, true, List::kLineCards,
         "installed, ready, in real time; not node type 1"),
    told(kLc, kCheck, "deny", TREL_CAP_EVENT_FE_NODE, false, List::kLineCards, "not node type 1"),
    silent(kLc, kCheck, "withdrawn", "the node's next record finds it unchecked"),
    told(kLc, kFeReady, "ready", TREL_CAP_EVENT_FE_NODE, true, List::kLineCards,
         "installed; checked and not denied, but for node type 1"),
    silent(kLc, kFeReady, "ready in advance", "cap_glb_state announces it"),
    told(kLc, kFeReady, "unready", TREL_CAP_EVENT_FE_NODE, false, List::kLineCards,
         "installed; checked and not denied, but for node type 1; unless another entry of the node is fully ready"),
    told(kLc, kFeReady, "deleted", TREL_CAP_EVENT_FE_NODE, false, List::kLineCards, kUnlessFullyReady),
    told(kLc, "cap_glb_state", "on", TREL_CAP_EVENT_FE_NODE, true, List::kLineCards,
         "each node of type 3 that is installed, ready and not in real time, denied or not"),
    told(kLc, "cap_glb_state", "on", TREL_CAP_EVENT_SYSTEM, true, List::kLineCards),
    told(kLc, "cap_glb_state", "on", TREL_CAP_EVENT_LC_AND_HPS, true, List::kLineCardsAndHps,
         "whether or not the HPS cards are ready"),
    silent(kLc, "cap_glb_state", "off", "nothing is announced in advance until it is on again"),
    silent(kLc, "cap_glb_state", "deleted", "applications keep what they know"),

    told(kFab, kCard, "inserted", TREL_CAP_EVENT_FAB_NODE, true, List::kFabric, kIsReady),
    told(kFab, kCard, "removed", TREL_CAP_EVENT_FE_NODE, false, List::kLineCards,
         "told to those who follow line cards, and to nobody who follows fabric cards"),
    silent(kFab, kCheck, "pass", "fabric cards are not checked"),
    silent(kFab, kCheck, "deny",
           "fabric cards are not checked; but one that is not known yet is told by FE_NODE (1), not ready"),
    silent(kFab, kCheck, "withdrawn", "fabric cards are not checked"),
    told(kFab, kFeReady, "ready", TREL_CAP_EVENT_FE_NODE, true, List::kLineCards, kInstalled),
    told(kFab, kFeReady, "ready", TREL_CAP_EVENT_FAB_NODE, true, List::kFabric, kInstalled),
    silent(kFab, kFeReady, "ready in advance", "cap_fab_glb_state announces it"),
    told(kFab, kFeReady, "unready", TREL_CAP_EVENT_FE_NODE, false, List::kLineCards, kInstalledOther),
    told(kFab, kFeReady, "unready", TREL_CAP_EVENT_FAB_NODE, false, List::kFabric, kInstalledOther),
    told(kFab, kFeReady, "deleted", TREL_CAP_EVENT_FE_NODE, false, List::kLineCards,
         "told to those who follow line cards, and to nobody who follows fabric cards"),
    told(kFab, "cap_fab_glb_state", "on", TREL_CAP_EVENT_FAB, true, List::kFabric),
    told(kFab, "cap_fab_glb_state", "on", TREL_CAP_EVENT_FAB_NODE, true, List::kFabric,
         "each node of type 5 that is installed, ready and not in real time; CM_NODE (5) is asked for too"),
    silent(kFab, "cap_fab_glb_state", "off", "nothing is announced in advance until it is on again"),
    silent(kFab, "cap_fab_glb_state", "deleted", "applications keep what they know"),

    told(kCm, kCard, "inserted", TREL_CAP_EVENT_CM_NODE, true, List::kControlModules, kIsReady),
    told(kCm, kCard, "removed", TREL_CAP_EVENT_FE_NODE, false, List::kLineCards,
         "told to those who follow line cards, and to nobody who follows control modules"),
    silent(kCm, kCheck, "pass", "control modules are not checked"),
    silent(kCm, kCheck, "deny",
           "control modules are not checked; but one that is not known yet is told by FE_NODE (1), not ready"),
    silent(kCm, kCheck, "withdrawn", "control modules are not checked"),
    told(kCm, kCmReady, "ready", TREL_CAP_EVENT_CM_NODE, true, List::kControlModules, kInstalled),
    told(kCm, kCmReady, "ready in advance", TREL_CAP_EVENT_CM_NODE, true, List::kControlModules,
         "installed: it need not be in real time"),
    told(kCm, kCmReady, "unready", TREL_CAP_EVENT_CM_NODE, false, List::kControlModules, kInstalledOther),
    silent(kCm, kCmReady, "deleted", "applications keep what they know"),
    told(kCm, "cap_cm_glb_state", "on", TREL_CAP_EVENT_CM, true, List::kControlModules),
    told(kCm, "cap_cm_glb_state", "on", TREL_CAP_EVENT_CM_NODE, true, List::kControlModules,
         "each node of type 2 that is installed, ready and not in real time, once more"),
    silent(kCm, "cap_cm_glb_state", "off", "nothing is announced in advance until it is on again"),
    silent(kCm, "cap_cm_glb_state", "deleted", "applications keep what they know"),

    told(kHps, kCard, "inserted", TREL_CAP_EVENT_HPS_NODE, true, List::kHps, kIsReady),
    told(kHps, kCard, "removed", TREL_CAP_EVENT_FE_NODE, false, List::kLineCards,
         "told to those who follow line cards, and to nobody who follows HPS cards"),
    silent(kHps, kCheck, "pass", "HPS cards are not checked"),
    silent(kHps, kCheck, "deny",
           "HPS cards are not checked; but one that is not known yet is told by FE_NODE (1), not ready"),
    silent(kHps, kCheck, "withdrawn", "HPS cards are not checked"),
    told(kHps, kFeReady, "ready", TREL_CAP_EVENT_HPS_NODE, true, List::kHps, "installed under the same model"),
    silent(kHps, kFeReady, "ready in advance", "cap_hps_glb_state announces it"),
    told(kHps, kFeReady, "unready", TREL_CAP_EVENT_HPS_NODE, false, List::kHps,
         "installed under the same model; unless another entry of the node is fully ready"),
    told(kHps, kFeReady, "deleted", TREL_CAP_EVENT_FE_NODE, false, List::kLineCards,
         "told to those who follow line cards, and to nobody who follows HPS cards"),
    told(kHps, "cap_hps_glb_state", "on", TREL_CAP_EVENT_HPS, true, List::kHps),
    told(kHps, "cap_hps_glb_state", "on", TREL_CAP_EVENT_LC_AND_HPS, true, List::kLineCardsAndHps,
         "whether or not the device is ready"),
    told(kHps, "cap_hps_glb_state", "on", TREL_CAP_EVENT_HPS_NODE, true, List::kHps,
         "each node of type 7 that is installed, ready and not in real time"),
    silent(kHps, "cap_hps_glb_state", "off", "nothing is announced in advance until it is on again"),
    silent(kHps, "cap_hps_glb_state", "deleted", "applications keep what they know"),
};

}  // namespace

std::span<const EventRule> event_rules() { return kRules; }

}  // namespace chassis
