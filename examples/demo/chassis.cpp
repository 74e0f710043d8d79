#include "chassis.h"

#include <functional>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>

#include <trel_cap/trel_cap.h>

namespace demo {

namespace {

using Words = std::vector<std::string>;

void must(int32_t status) {
    if (status != 0) {
        throw std::runtime_error(std::string("the publisher cannot write: ") + ox_mom_last_error());
    }
}

// One capability of the device, with the one field that carries its value.
class Capability {
public:
    explicit Capability(const char *url) : url_(url) {
        index_.url = url_.data();
        record_.index = &index_;
    }

    Capability &boolean(bool value) {
        record_.bool_value = value ? 1 : 0;
        field_ = TREL_CAP_FIELD_BOOL;
        text_ = value ? "true" : "false";
        return *this;
    }

    Capability &integer(int32_t value) {
        record_.int32_value = value;
        field_ = TREL_CAP_FIELD_INT32;
        text_ = std::to_string(value);
        return *this;
    }

    std::string publish(MomClient *client) const {
        must(ox_mom_hmset_sync(client, TREL_CAP_DB_CAPABILITIES, &record_.base, &field_, 1));
        return url_ + " = " + text_;
    }

private:
    std::string url_;
    CapTableIndex index_ = CAP_TABLE_INDEX__INIT;
    CapTable record_ = CAP_TABLE__INIT;
    int32_t field_ = 0;
    std::string text_;
};

Words publish_capabilities(MomClient *client) {
    return {Capability(kStackSupport).boolean(true).publish(client), Capability(kVlanMax).integer(4094).publish(client),
            Capability(kMtuLimit).integer(9216).publish(client)};
}

Words publish_change(MomClient *client) { return {Capability(kMtuLimit).integer(1500).publish(client)}; }

Words publish_device_ready(MomClient *client) {
    CapGlbState state = CAP_GLB_STATE__INIT;
    state.ready = 1;
    must(ox_mom_set_sync(client, TREL_CAP_DB_CAPABILITIES, &state.base));
    return {"the device is ready"};
}

// A line card of the chassis, and what the processes around it say of it.
constexpr int32_t kLineCard = 3;
constexpr int32_t kCardModel = 900;

class Card {
public:
    explicit Card(int32_t slot) : slot_(slot) { place_.slotid = slot; }

    std::string install(MomClient *client) {
        CardStaticInfoIndex type = CARD_STATIC_INFO_INDEX__INIT;
        CardStaticInfo model = CARD_STATIC_INFO__INIT;
        type.type = kCardModel;
        model.index = &type;
        model.node_type = kLineCard;
        CardInfo card = info();
        card.static_info = &model;
        card.is_online = 1;
        constexpr int32_t kFields[] = {6, 7, 14, 17};
        must(ox_mom_hmset_sync(client, TREL_CAP_DB_CARDS, &card.base, kFields, std::size(kFields)));
        return in_slot("a line card is installed");
    }

    std::string remove(MomClient *client) {
        const CardInfo card = info();
        must(ox_mom_del_sync(client, TREL_CAP_DB_CARDS, &card.base));
        return in_slot("the card is gone");
    }

    std::string check(MomClient *client, bool passed) {
        AppDfCardDenyCheckResult result = APP_DF_CARD_DENY_CHECK_RESULT__INIT;
        result.index = &place_;
        result.stat = passed ? APP_DF_CARD_CHECK_STAT__APP_DF_CHECK_PASS : APP_DF_CARD_CHECK_STAT__APP_DF_CHECK_DENY;
        result.config_dev_type = kCardModel;
        result.card_nodeid = node_of(slot_);
        constexpr int32_t kFields[] = {6, 7, 8};
        must(ox_mom_hmset_sync(client, TREL_CAP_DB_CAPABILITIES, &result.base, kFields, std::size(kFields)));
        return in_slot(passed ? "the application's check passed the card" : "the application's check denied the card");
    }

    std::string ready(MomClient *client) {
        CapFeReadyIndex index = CAP_FE_READY_INDEX__INIT;
        CapFeReady node = CAP_FE_READY__INIT;
        index.node = node_of(slot_);
        index.config_dev_type = kCardModel;
        node.index = &index;
        node.ready = 1;
        node.config_dev_type = kCardModel;
        node.slotid = slot_;
        node.node_type = kLineCard;
        node.real_time = 1;
        constexpr int32_t kFields[] = {6, 7, 8, 9, 10, 11, 12};
        must(ox_mom_hmset_sync(client, TREL_CAP_DB_CAPABILITIES, &node.base, kFields, std::size(kFields)));
        return in_slot("the card's software is ready");
    }

private:
    CardInfo info() {
        CardInfo card = CARD_INFO__INIT;
        card.index = &place_;
        card.config_dev_type = kCardModel;
        card.card_nodeid = node_of(slot_);
        return card;
    }

    std::string in_slot(const char *what) const { return "slot " + std::to_string(slot_) + ": " + what; }

    int32_t slot_;
    CardInfoIndex place_ = CARD_INFO_INDEX__INIT;
};

}  // namespace

std::vector<std::string> publish(MomClient *client, const std::string &step) {
    static const std::map<std::string, std::function<Words(MomClient *)>> device_steps = {
        {"capabilities", publish_capabilities},
        {"change", publish_change},
        {"device-ready", publish_device_ready},
    };
    static const std::map<std::string, std::function<std::string(Card &, MomClient *)>> card_steps = {
        {"install", &Card::install},
        {"remove", &Card::remove},
        {"ready", &Card::ready},
        {"pass", [](Card &card, MomClient *to) { return card.check(to, true); }},
        {"deny", [](Card &card, MomClient *to) { return card.check(to, false); }},
    };
    if (const auto found = device_steps.find(step); found != device_steps.end()) {
        return found->second(client);
    }
    std::istringstream words(step);
    std::string verb;
    int32_t slot = 0;
    words >> verb >> slot;
    if (const auto found = card_steps.find(verb); found != card_steps.end() && slot != 0) {
        Card card(slot);
        return {found->second(card, client)};
    }
    return {};
}

}  // namespace demo
