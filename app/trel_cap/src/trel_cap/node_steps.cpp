#include "node_steps.h"

#include "card_class.h"
#include "judge.h"

namespace trel_cap {

void log_card(const Caller &caller, const CapNodeRecord &place) {
    TREL_CAP_LOG_AS(caller, kProgress, "enter ok, devid %d, slotid %d, sslotid %d card_nodeid 0x%x config_dev_type %d,",
                    place.devid, place.slotid, place.sslotid, place.node, place.config_dev_type);
}

void log_deleted(const Caller &caller, const CapNodeRecord &place) {
    TREL_CAP_LOG_AS(caller, kProgress, "enter ok, devid %d, slotid %d, sslotid %d type %d node_type %d, card_nodeid %d",
                    place.devid, place.slotid, place.sslotid, place.node, place.config_dev_type, place.node);
}

CapNode *found_or_added(const Caller &caller, CapNode *found, const CapNodeRecord &place) {
    if (found != nullptr) {
        return found;
    }
    CapNode *const added = trel_cap_sw_node_init_cur(place);
    if (added == nullptr) {
        TREL_CAP_LOG_AS(caller, kError, "trel_cap_sw_node_init_cur failed, devid %d, slotid %d, sslotid %d",
                        place.devid, place.slotid, place.sslotid);
    }
    return added;
}

CapNode *find_known(const Caller &caller, int32_t node) {
    CapNode *const found = trel_cap_sw_node_search(node);
    if (found == nullptr) {
        TREL_CAP_LOG_AS(caller, kProgress, "node not exsit, no need to pro");
    }
    return found;
}

void dump(const Caller &caller, const CapNode &entry) {
    TREL_CAP_LOG_AS(caller, kDetail, "dump node");
    trel_cap_sw_dump_node(entry.record);
}

bool is_admitted(const CapNodeRecord &record) {
    return record.dm_install != 0 && (!is_checked(record.node_type) || (record.app_df_chk != 0 && record.cns == 0));
}

void send_line_card_node(const Caller &caller, int32_t node, uint8_t ready) {
    CapNodeReady event{static_cast<uint32_t>(node), ready};
    TREL_CAP_LOG_AS(caller, kProgress, "trel_cap_callback_hander, event %d, node %d, ready %d", TREL_CAP_EVENT_FE_NODE,
                    node, ready);
    trel_cap_callback_hander(TREL_CAP_EVENT_FE_NODE, &event);
}

void withdraw_node(const Caller &caller, int32_t node) {
    if (!is_judged_ready(node)) {
        send_line_card_node(caller, node, 0);
    }
}

}  // namespace trel_cap
