// Following the readiness of nodes: line cards, fabric, control modules and HPS cards.
#include "card_class.h"
#include "judge.h"

using namespace trel_cap;

namespace {

template <typename Class>
CapNode *find(const CapNodeRecord &place) {
    return Class::kFoundByType ? trel_cap_sw_node_and_type_search(place.node, place.config_dev_type)
                               : trel_cap_sw_node_search(place.node);
}

// Sends the node's event, whether or not anything has changed. A node of which some entry is fully ready is never told
// to be unready; nor is one that is ready, but not yet in real time: that one is announced in advance.
template <typename Class>
void send_node(const Caller &caller, const CapNodeRecord &record) {
    const bool is_ready = record.ready != 0 && (record.real_time != 0 || !Class::kReadyInRealTime);
    if (!is_ready && is_judged_ready(record.node, record.ready)) {
        return;
    }
    CapNodeReady event{static_cast<uint32_t>(record.node), static_cast<uint8_t>(is_ready ? 1 : 0)};
    TREL_CAP_LOG_AS(caller, kProgress, "trel_cap_callback_hander, event %d, node %d|0x%x, ready %d", Class::kNodeEvent,
                    event.node, event.node, event.ready);
    Class::kDispatch(Class::kNodeEvent, &event);
}

template <typename Class>
int32_t node_delivered(const Caller &caller, const MomMsg &msg) {
    const typename Class::NodeRecord *record = nullptr;
    if (const int32_t rv = take_delivered(caller, Class::kNodeRecordNames, msg, record); rv != 0) {
        return rv;
    }
    const CapNodeRecord place = place_of_node(*record);
    CapNode *const entry = found_or_added(caller, find<Class>(place), place);
    if (entry == nullptr) {
        return TREL_CAP_E_NO_NODE;
    }
    if (!Class::kFoundByType) {
        entry->record.config_dev_type = place.config_dev_type;
    }
    entry->record.ready = record->ready != 0 ? 1 : 0;
    entry->record.real_time = record->real_time != 0 ? 1 : 0;
    entry->record.node_type = record->node_type;
    dump(caller, *entry);

    if (Class::counts(entry->record)) {
        send_node<Class>(caller, entry->record);
    }
    return TREL_CAP_OK;
}

template <typename Class>
int32_t process_node(const Caller &caller, MomClient *client, const MomMsg *pmsg) {
    if (is_null(caller, "pmsg", pmsg)) {
        return TREL_CAP_E_ARGUMENT;
    }
    switch (pmsg->cmd) {
        case OX_MOM_CMD_SUBSCRIBED:
            return load_stored<typename Class::NodeRecord>(caller, client, TREL_CAP_DB_CAPABILITIES,
                                                           Class::kNodeProcessor, Class::nodes_validated(),
                                                           Class::kAnnounce);
        case OX_MOM_CMD_DELIVERED:
            return node_delivered<Class>(caller, *pmsg);
        default:
            log_command(caller, *pmsg);
            return TREL_CAP_OK;
    }
}

// The entry stays in the list until its card is removed.
int32_t line_card_deleted(const Caller &caller, const MomMsg &msg) {
    const CapFeReady *record = nullptr;
    if (const int32_t rv = take_deleted(caller, LineCards::kNodeRecordNames, msg, record); rv != 0) {
        return rv;
    }
    const CapNodeRecord place = place_of_node(*record);
    TREL_CAP_LOG_AS(caller, kProgress, "node %d, config_dev_type %d, ready %d,", place.node, place.config_dev_type,
                    record->ready);
    log_deleted(caller, place);
    CapNode *const entry = find_known(caller, place.node);
    if (entry == nullptr) {
        return TREL_CAP_OK;
    }
    entry->record.config_dev_type = place.config_dev_type;
    entry->record.real_time = 0;
    entry->record.ready = 0;
    withdraw_node(caller, place.node);
    return TREL_CAP_OK;
}

}  // namespace

// Only line cards lose their readiness by the deletion of its record.
int32_t trel_cap_fe_node_pmsg_f(MomClient *client, MomMsg *pmsg) {
    if (pmsg != nullptr && pmsg->cmd == OX_MOM_CMD_DELETED) {
        return line_card_deleted(TREL_CAP_CALLER, *pmsg);
    }
    return process_node<LineCards>(TREL_CAP_CALLER, client, pmsg);
}

int32_t trel_cap_fab_node_pmsg_f(MomClient *client, MomMsg *pmsg) {
    return process_node<FabricCards>(TREL_CAP_CALLER, client, pmsg);
}

int32_t trel_cap_cm_node_pmsg_f(MomClient *client, MomMsg *pmsg) {
    return process_node<ControlModules>(TREL_CAP_CALLER, client, pmsg);
}

int32_t trel_cap_hps_node_pmsg_f(MomClient *client, MomMsg *pmsg) {
    return process_node<HpsCards>(TREL_CAP_CALLER, client, pmsg);
}
