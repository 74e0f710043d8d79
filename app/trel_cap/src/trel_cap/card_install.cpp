// Following the installation and removal of cards, of every class.
#include "card_class.h"
#include "delivery.h"
#include "node_steps.h"

using namespace trel_cap;

namespace {

constexpr RecordNames kNames{"card_info", "card_info->index"};

template <typename Class>
void send_if_wanted(CapNodeReady &event) {
    if (is_wanted<Class>(Class::kNodeEvent)) {
        Class::kDispatch(Class::kNodeEvent, &event);
    }
}

// Cards of no known class are sent to nobody.
void send_installed(const Caller &caller, const CapNodeRecord &record) {
    CapNodeReady event{static_cast<uint32_t>(record.node), 1};
    TREL_CAP_LOG_AS(caller, kProgress, "trel_cap_callback_hander, event[%d], node[%d], ready[%d]",
                    TREL_CAP_EVENT_FE_NODE, record.node, event.ready);
    if (is_line_card(record.node_type)) {
        send_if_wanted<LineCards>(event);
    } else if (record.node_type == ControlModules::kNodeType) {
        send_if_wanted<ControlModules>(event);
    } else if (record.node_type == FabricCards::kNodeType) {
        send_if_wanted<FabricCards>(event);
    } else if (record.node_type == HpsCards::kNodeType) {
        send_if_wanted<HpsCards>(event);
    }
}

int32_t card_installed(const Caller &caller, const MomMsg &msg) {
    const CardInfo *record = nullptr;
    if (const int32_t rv = take_delivered(caller, kNames, msg, record); rv != 0) {
        return rv;
    }
    if (is_null(caller, "card_info->static_info", record->static_info)) {
        return TREL_CAP_E_ARGUMENT;
    }
    const CapNodeRecord place = place_of_card(*record);
    log_card(caller, place);
    CapNode *const entry = found_or_added(caller, trel_cap_sw_node_search(place.node), place);
    if (entry == nullptr) {
        return TREL_CAP_E_NO_NODE;
    }
    entry->record.is_online = record->is_online != 0 ? 1 : 0;
    entry->record.node_type = record->static_info->node_type;
    entry->record.config_dev_type = place.config_dev_type;
    entry->record.dm_install = 1;
    dump(caller, *entry);

    if (is_admitted(entry->record) && entry->record.ready != 0 && entry->record.real_time != 0) {
        send_installed(caller, entry->record);
    }
    return TREL_CAP_OK;
}

// A removal is told to those who follow line cards, whatever the card's class.
int32_t card_removed(const Caller &caller, const MomMsg &msg) {
    const CardInfo *record = nullptr;
    if (const int32_t rv = take_deleted(caller, kNames, msg, record); rv != 0) {
        return rv;
    }
    const CapNodeRecord place = place_of_card(*record);
    TREL_CAP_LOG_AS(caller, kProgress, "devid %d, slotid %d sslotid %d node %d config_dev_type %d", place.devid,
                    place.slotid, place.sslotid, place.node, place.config_dev_type);
    trel_cap_sw_node_del(place.node, place.config_dev_type);
    withdraw_node(caller, place.node);
    return TREL_CAP_OK;
}

}  // namespace

int32_t trel_cap_install_node_pmsg_f(MomClient *client, MomMsg *pmsg) {
    if (is_null(TREL_CAP_CALLER, "pmsg", pmsg)) {
        return TREL_CAP_E_ARGUMENT;
    }
    log_command(TREL_CAP_CALLER, *pmsg);
    switch (pmsg->cmd) {
        case OX_MOM_CMD_SUBSCRIBED:
            return load_stored<CardInfo>(TREL_CAP_CALLER, client, TREL_CAP_DB_CARDS, trel_cap_install_node_pmsg_f,
                                         g_trel_cap_install_validated, trel_cap_notify_pre_install_node_pro);
        case OX_MOM_CMD_DELIVERED:
        case kCmdCardDelivered:
            return card_installed(TREL_CAP_CALLER, *pmsg);
        case OX_MOM_CMD_DELETED:
            return card_removed(TREL_CAP_CALLER, *pmsg);
        default:
            return TREL_CAP_OK;
    }
}
