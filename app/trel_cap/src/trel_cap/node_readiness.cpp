// Following the readiness of nodes: line cards, fabric, control modules and HPS cards.
#include "card_class.h"
#include "delivery.h"
#include "judge.h"
#include "node_steps.h"

using namespace trel_cap;

namespace {

/* The records: what they are called in messages, whether a node has to be in real time to be ready, and their flag. */
struct FeReadyRecords {
    using Record = CapFeReady;
    static constexpr RecordNames kNames{"fe_ready", "fe_ready->index"};
    static constexpr bool kReadyInRealTime = true;
    static uint8_t &validated() { return g_trel_cap_fe_node_validated; }
};

struct CmReadyRecords {
    using Record = CapCmReady;
    static constexpr RecordNames kNames{"cm_ready", "cm_ready->index"};
    static constexpr bool kReadyInRealTime = false;
    static uint8_t &validated() { return g_trel_cap_cm_node_validated; }
};

/* Where the classes differ besides: how the entry of a record is found, and when its node counts at all. */
struct LineCardNodes : LineCards, FeReadyRecords {
    static constexpr MomMsgCb kProcessor = trel_cap_fe_node_pmsg_f;
    static constexpr auto kAnnounce = trel_cap_notify_pre_install_node_pro;
    static constexpr bool kFoundByType = false;
    /* All but HPS cards: also those of the other classes, whose own processors tell of them as well. */
    static bool counts(const CapNodeRecord &record) {
        return record.node_type != HpsCards::kNodeType && is_admitted(record);
    }
};

struct FabricNodes : FabricCards, FeReadyRecords {
    static constexpr MomMsgCb kProcessor = trel_cap_fab_node_pmsg_f;
    static constexpr auto kAnnounce = trel_cap_notify_pre_fab_install_node_pro;
    static constexpr bool kFoundByType = false;
    static bool counts(const CapNodeRecord &record) { return record.dm_install != 0 && record.node_type == kNodeType; }
};

/* Their records hold control modules only, so their type is not asked. */
struct ControlModuleNodes : ControlModules, CmReadyRecords {
    static constexpr MomMsgCb kProcessor = trel_cap_cm_node_pmsg_f;
    static constexpr auto kAnnounce = trel_cap_notify_pre_cm_install_node_pro;
    static constexpr bool kFoundByType = false;
    static bool counts(const CapNodeRecord &record) { return record.dm_install != 0; }
};

/* One node may carry several HPS cards, which their device type tells apart. */
struct HpsNodes : HpsCards, FeReadyRecords {
    static constexpr MomMsgCb kProcessor = trel_cap_hps_node_pmsg_f;
    static constexpr auto kAnnounce = trel_cap_notify_pre_hps_install_node_pro;
    static constexpr bool kFoundByType = true;
    static bool counts(const CapNodeRecord &record) { return record.dm_install != 0 && record.node_type == kNodeType; }
};

template <typename Nodes>
CapNode *find(const CapNodeRecord &place) {
    return Nodes::kFoundByType ? trel_cap_sw_node_and_type_search(place.node, place.config_dev_type)
                               : trel_cap_sw_node_search(place.node);
}

/*
 * Sends the node's event, whether or not anything has changed. A node of which some entry is fully ready is never told
 * to be unready; nor is one that is ready, but not yet in real time: that one is announced in advance.
 */
template <typename Nodes>
void send_node(const Caller &caller, const CapNodeRecord &record) {
    const bool is_ready = record.ready != 0 && (record.real_time != 0 || !Nodes::kReadyInRealTime);
    if (!is_ready && is_judged_ready(record.node, record.ready)) {
        return;
    }
    CapNodeReady event{static_cast<uint32_t>(record.node), static_cast<uint8_t>(is_ready ? 1 : 0)};
    TREL_CAP_LOG_AS(caller, kProgress, "trel_cap_callback_hander, event %d, node %d|0x%x, ready %d", Nodes::kNodeEvent,
                    event.node, event.node, event.ready);
    Nodes::kDispatch(Nodes::kNodeEvent, &event);
}

template <typename Nodes>
int32_t node_delivered(const Caller &caller, const MomMsg &msg) {
    const typename Nodes::Record *record = nullptr;
    if (const int32_t rv = take_delivered(caller, Nodes::kNames, msg, record); rv != 0) {
        return rv;
    }
    const CapNodeRecord place = place_of_node(*record);
    CapNode *const entry = found_or_added(caller, find<Nodes>(place), place);
    if (entry == nullptr) {
        return TREL_CAP_E_NO_NODE;
    }
    if (!Nodes::kFoundByType) {
        entry->record.config_dev_type = place.config_dev_type;
    }
    entry->record.ready = record->ready != 0 ? 1 : 0;
    entry->record.real_time = record->real_time != 0 ? 1 : 0;
    entry->record.node_type = record->node_type;
    dump(caller, *entry);

    if (Nodes::counts(entry->record)) {
        send_node<Nodes>(caller, entry->record);
    }
    return TREL_CAP_OK;
}

template <typename Nodes>
int32_t process_node(const Caller &caller, MomClient *client, const MomMsg *pmsg) {
    if (is_null(caller, "pmsg", pmsg)) {
        return TREL_CAP_E_ARGUMENT;
    }
    switch (pmsg->cmd) {
        case OX_MOM_CMD_SUBSCRIBED:
            return load_stored<typename Nodes::Record>(caller, client, TREL_CAP_DB_CAPABILITIES, Nodes::kProcessor,
                                                       Nodes::validated(), Nodes::kAnnounce);
        case OX_MOM_CMD_DELIVERED:
            return node_delivered<Nodes>(caller, *pmsg);
        default:
            log_command(caller, *pmsg);
            return TREL_CAP_OK;
    }
}

/* The entry stays in the list until its card is removed. */
int32_t line_card_deleted(const Caller &caller, const MomMsg &msg) {
    const CapFeReady *record = nullptr;
    if (const int32_t rv = take_deleted(caller, LineCardNodes::kNames, msg, record); rv != 0) {
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

/* Only line cards lose their readiness by the deletion of its record. */
int32_t trel_cap_fe_node_pmsg_f(MomClient *client, MomMsg *pmsg) {
    if (pmsg != nullptr && pmsg->cmd == OX_MOM_CMD_DELETED) {
        return line_card_deleted(TREL_CAP_CALLER, *pmsg);
    }
    return process_node<LineCardNodes>(TREL_CAP_CALLER, client, pmsg);
}

int32_t trel_cap_fab_node_pmsg_f(MomClient *client, MomMsg *pmsg) {
    return process_node<FabricNodes>(TREL_CAP_CALLER, client, pmsg);
}

int32_t trel_cap_cm_node_pmsg_f(MomClient *client, MomMsg *pmsg) {
    return process_node<ControlModuleNodes>(TREL_CAP_CALLER, client, pmsg);
}

int32_t trel_cap_hps_node_pmsg_f(MomClient *client, MomMsg *pmsg) {
    return process_node<HpsNodes>(TREL_CAP_CALLER, client, pmsg);
}
