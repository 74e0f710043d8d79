#include "publisher.h"

#include <istream>
#include <ostream>
#include <stdexcept>
#include <vector>

#include "trel_cap/records.h"

namespace readiness {
namespace {

constexpr int32_t kModule = 9;
constexpr int32_t kDevice = 1;

void check(int32_t status) {
    if (status != 0) {
        throw std::runtime_error(ox_mom_last_error());
    }
}

void put(MomClient *client, int32_t db, const ProtobufCMessage &record, const std::vector<int32_t> &fields) {
    check(ox_mom_hmset_sync(client, db, &record, fields.data(), static_cast<uint32_t>(fields.size())));
}

// The index of a card, which its installation and its check share.
CardInfoIndex index_of(const Card &card) {
    CardInfoIndex index = CARD_INFO_INDEX__INIT;
    index.t_mod = kModule;
    index.devid = kDevice;
    index.slotid = card.slotid;
    return index;
}

void publish_card(MomClient *client, const Order &order) {
    CardInfoIndex index = index_of(order.card);
    CardStaticInfo static_info = CARD_STATIC_INFO__INIT;
    static_info.node_type = order.card.node_type;
    CardInfo record = CARD_INFO__INIT;
    record.index = &index;
    record.static_info = &static_info;
    record.config_dev_type = order.card.config_dev_type;
    record.card_nodeid = order.card.node;
    record.is_online = 1;
    if (order.verb == Order::kInstall) {
        put(client, TREL_CAP_DB_CARDS, record.base, {6, 7, 14, 17});
    } else {
        check(ox_mom_del_sync(client, TREL_CAP_DB_CARDS, &record.base));
    }
}

void publish_check(MomClient *client, const Order &order) {
    CardInfoIndex index = index_of(order.card);
    AppDfCardDenyCheckResult record = APP_DF_CARD_DENY_CHECK_RESULT__INIT;
    record.index = &index;
    record.stat = order.verb == Order::kPass ? APP_DF_CHECK_PASS : APP_DF_CHECK_DENY;
    record.config_dev_type = order.card.config_dev_type;
    record.card_nodeid = order.card.node;
    if (order.verb == Order::kWithdrawCheck) {
        check(ox_mom_del_sync(client, TREL_CAP_DB_CAPABILITIES, &record.base));
    } else {
        put(client, TREL_CAP_DB_CAPABILITIES, record.base, {6, 7, 8});
    }
}

// CapFeReady and CapCmReady, which are alike.
template <class Record, class Index>
void publish_readiness(MomClient *client, const Order &order, Record record, Index index) {
    index.node = order.card.node;
    index.config_dev_type = order.card.config_dev_type;
    record.index = &index;
    record.ready = order.first;
    record.config_dev_type = order.card.config_dev_type;
    record.devid = kDevice;
    record.slotid = order.card.slotid;
    record.node_type = order.card.node_type;
    record.real_time = order.second;
    if (order.verb == Order::kDropReadiness || order.verb == Order::kDropCmReadiness) {
        check(ox_mom_del_sync(client, TREL_CAP_DB_CAPABILITIES, &record.base));
    } else {
        put(client, TREL_CAP_DB_CAPABILITIES, record.base, {6, 7, 8, 9, 10, 11, 12});
    }
}

template <class Record>
void publish_state(MomClient *client, const Order &order, Record record) {
    record.ready = order.second;
    check(order.verb == Order::kState ? ox_mom_set_sync(client, TREL_CAP_DB_CAPABILITIES, &record.base)
                                      : ox_mom_del_sync(client, TREL_CAP_DB_CAPABILITIES, &record.base));
}

void publish_state(MomClient *client, const Order &order) {
    switch (static_cast<CardClass>(order.first)) {
        case CardClass::kLine:
            return publish_state(client, order, CapGlbState CAP_GLB_STATE__INIT);
        case CardClass::kFab:
            return publish_state(client, order, CapFabGlbState CAP_FAB_GLB_STATE__INIT);
        case CardClass::kCm:
            return publish_state(client, order, CapCmGlbState CAP_CM_GLB_STATE__INIT);
        case CardClass::kHps:
            return publish_state(client, order, CapHpsGlbState CAP_HPS_GLB_STATE__INIT);
    }
}

// A record that the library does not follow.
void publish_fence(MomClient *client, const Order &order) {
    CapGlbTableIndex index = CAP_GLB_TABLE_INDEX__INIT;
    CapGlbTable record = CAP_GLB_TABLE__INIT;
    record.index = &index;
    record.int32_value = order.second;
    put(client, order.first, record.base, {TREL_CAP_FIELD_INT32});
}

}  // namespace

std::ostream &operator<<(std::ostream &out, const Order &order) {
    return out << static_cast<int>(order.verb) << ' ' << order.card.node << ' ' << order.card.node_type << ' '
               << order.card.slotid << ' ' << order.card.config_dev_type << ' ' << order.first << ' ' << order.second;
}

std::istream &operator>>(std::istream &in, Order &order) {
    int verb = 0;
    in >> verb >> order.card.node >> order.card.node_type >> order.card.slotid >> order.card.config_dev_type >>
        order.first >> order.second;
    order.verb = static_cast<Order::Verb>(verb);
    return in;
}

void LocalPublisher::publish(const Order &order) {
    MomClient *const client = client_.get();
    switch (order.verb) {
        case Order::kInstall:
        case Order::kRemove:
            return publish_card(client, order);
        case Order::kPass:
        case Order::kDeny:
        case Order::kWithdrawCheck:
            return publish_check(client, order);
        case Order::kReadiness:
        case Order::kDropReadiness:
            return publish_readiness(client, order, CapFeReady CAP_FE_READY__INIT,
                                     CapFeReadyIndex CAP_FE_READY_INDEX__INIT);
        case Order::kCmReadiness:
        case Order::kDropCmReadiness:
            return publish_readiness(client, order, CapCmReady CAP_CM_READY__INIT,
                                     CapCmReadyIndex CAP_CM_READY_INDEX__INIT);
        case Order::kState:
        case Order::kDropState:
            return publish_state(client, order);
        case Order::kFence:
            return publish_fence(client, order);
    }
}

}  // namespace readiness
