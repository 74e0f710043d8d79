// The steps that the processors of node records share, whatever the record and the card class.
#pragma once

#include "log/log.h"
#include "repeat.h"
#include "request.h"
#include "trel_cap/node_list.h"
#include "trel_cap/status.h"

namespace trel_cap {

// The subscription of a record type is established: reads the records that the store holds already, by a scan that
// feeds the processor itself. Then all are read, and cards installed in advance can be announced.
template <typename Record>
int32_t load_stored(const Caller &caller, MomClient *client, int32_t db, MomMsgCb processor, uint8_t &validated,
                    int32_t (*announce)()) {
    TREL_CAP_LOG_AS(caller, kProgress, "subscribe ok");
    const TypeRequest<Record> request;
    const auto scan = [&] { return ox_mom_scan_sync(client, db, &request.record.base, 0, processor, nullptr); };
    if (scan() != 0) {
        return repeat_failed(caller, scan);
    }
    validated = 1;
    announce();
    return TREL_CAP_OK;
}

// Which node a record of node readiness is about, and where that is; all else is 0.
template <typename Record>
CapNodeRecord place_of_node(const Record &record) {
    CapNodeRecord place{};
    place.node = record.index->node;
    place.config_dev_type = record.index->config_dev_type;
    place.devid = record.devid;
    place.slotid = record.slotid;
    place.sslotid = record.sslotid;
    return place;
}

// The same of a record about a card, which has the place as its index.
template <typename Record>
CapNodeRecord place_of_card(const Record &record) {
    CapNodeRecord place{};
    place.node = record.card_nodeid;
    place.config_dev_type = record.config_dev_type;
    place.devid = record.index->devid;
    place.slotid = record.index->slotid;
    place.sslotid = record.index->sslotid;
    return place;
}

// The place of a card in messages: one that was delivered, and a record that was deleted.
void log_card(const Caller &caller, const CapNodeRecord &place);
void log_deleted(const Caller &caller, const CapNodeRecord &place);

// The entry that was found, or else a new one for the place. NULL when it could not be added.
CapNode *found_or_added(const Caller &caller, CapNode *found, const CapNodeRecord &place);

// The entry of a node that is already listed, or NULL, which is logged.
CapNode *find_known(const Caller &caller, int32_t node);

void dump(const Caller &caller, const CapNode &entry);

// The condition under which a class's nodes count: installed and, where the check decides, not denied.
bool is_admitted(const CapNodeRecord &record);

// Sends the node event of the line cards.
void send_line_card_node(const Caller &caller, int32_t node, uint8_t ready);

// Tells that a node is no longer ready, unless another entry of it is.
void withdraw_node(const Caller &caller, int32_t node);

}  // namespace trel_cap
