#include "cards.h"

#include <cinttypes>
#include <cstdio>
#include <iterator>

#include <trel_cap/trel_cap.h>

#include "must.h"

namespace demo {

namespace {

// What all cards of a class have in common.
struct CardClass {
    int32_t node_type;
    int32_t model;
    const char *a_card;
};

constexpr CardClass kLineCard{3, 900, "a line card"};
constexpr CardClass kControlModule{2, 300, "a control module"};
constexpr CardClass kFabric{5, 500, "a fabric card"};
constexpr CardClass kHps{7, 700, "an HPS card"};

const CardClass &class_of(int32_t slot) {
    switch (slot) {
        case kFabricSlot:
            return kFabric;
        case kControlModuleSlot:
            return kControlModule;
        case kHpsSlot:
            return kHps;
        default:
            return kLineCard;
    }
}

// Control modules have a record type of their own, which looks like that of the other classes.
template <class Ready, class Index>
void publish_ready(MomClient *client, int32_t slot, Ready node, Index index) {
    const CardClass &its_class = class_of(slot);
    index.node = node_of(slot);
    index.config_dev_type = its_class.model;
    node.index = &index;
    node.ready = 1;
    node.config_dev_type = its_class.model;
    node.slotid = slot;
    node.node_type = its_class.node_type;
    node.real_time = 1;
    constexpr int32_t kFields[] = {6, 7, 8, 9, 10, 11, 12};
    must(ox_mom_hmset_sync(client, TREL_CAP_DB_CAPABILITIES, &node.base, kFields, std::size(kFields)));
}

template <class State>
std::vector<std::string> publish_state(MomClient *client, State state, const char *what) {
    state.ready = 1;
    must(ox_mom_set_sync(client, TREL_CAP_DB_CAPABILITIES, &state.base));
    return {what};
}

}  // namespace

Card::Card(int32_t slot) : slot_(slot) { place_.slotid = slot; }

std::string Card::install(MomClient *client) {
    CardStaticInfoIndex type = CARD_STATIC_INFO_INDEX__INIT;
    CardStaticInfo model = CARD_STATIC_INFO__INIT;
    type.type = class_of(slot_).model;
    model.index = &type;
    model.node_type = class_of(slot_).node_type;
    CardInfo card = info();
    card.static_info = &model;
    card.is_online = 1;
    constexpr int32_t kFields[] = {6, 7, 14, 17};
    must(ox_mom_hmset_sync(client, TREL_CAP_DB_CARDS, &card.base, kFields, std::size(kFields)));
    char node[32];
    std::snprintf(node, sizeof node, ", node 0x%" PRIx32 ",", static_cast<uint32_t>(node_of(slot_)));
    return in_slot(class_of(slot_).a_card) + node + " is installed";
}

std::string Card::remove(MomClient *client) {
    const CardInfo card = info();
    must(ox_mom_del_sync(client, TREL_CAP_DB_CARDS, &card.base));
    return in_slot("the card is gone");
}

std::string Card::check(MomClient *client, bool passed) {
    AppDfCardDenyCheckResult result = APP_DF_CARD_DENY_CHECK_RESULT__INIT;
    result.index = &place_;
    result.stat = passed ? APP_DF_CHECK_PASS : APP_DF_CHECK_DENY;
    result.config_dev_type = class_of(slot_).model;
    result.card_nodeid = node_of(slot_);
    constexpr int32_t kFields[] = {6, 7, 8};
    must(ox_mom_hmset_sync(client, TREL_CAP_DB_CAPABILITIES, &result.base, kFields, std::size(kFields)));
    return in_slot(passed ? "the application's check passed the card" : "the application's check denied the card");
}

std::string Card::ready(MomClient *client) {
    if (slot_ == kControlModuleSlot) {
        const CapCmReady node = CAP_CM_READY__INIT;
        const CapCmReadyIndex index = CAP_CM_READY_INDEX__INIT;
        publish_ready(client, slot_, node, index);
    } else {
        const CapFeReady node = CAP_FE_READY__INIT;
        const CapFeReadyIndex index = CAP_FE_READY_INDEX__INIT;
        publish_ready(client, slot_, node, index);
    }
    return in_slot("the card's software is ready");
}

CardInfo Card::info() {
    CardInfo card = CARD_INFO__INIT;
    card.index = &place_;
    card.config_dev_type = class_of(slot_).model;
    card.card_nodeid = node_of(slot_);
    return card;
}

std::string Card::in_slot(const char *what) const { return "slot " + std::to_string(slot_) + ": " + what; }

std::vector<std::string> publish_device_ready(MomClient *client) {
    const CapGlbState state = CAP_GLB_STATE__INIT;
    return publish_state(client, state, "the device is ready");
}

std::vector<std::string> publish_fabric_ready(MomClient *client) {
    const CapFabGlbState state = CAP_FAB_GLB_STATE__INIT;
    return publish_state(client, state, "the fabric cards are ready");
}

std::vector<std::string> publish_control_modules_ready(MomClient *client) {
    const CapCmGlbState state = CAP_CM_GLB_STATE__INIT;
    return publish_state(client, state, "the control modules are ready");
}

std::vector<std::string> publish_hps_ready(MomClient *client) {
    const CapHpsGlbState state = CAP_HPS_GLB_STATE__INIT;
    return publish_state(client, state, "the HPS cards are ready");
}

}  // namespace demo
