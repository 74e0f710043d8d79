// The records of the store by the node that they speak of.
#pragma once

#include <trel_cap/records.h>

#include <map>
#include <optional>
#include <string_view>
#include <vector>

#include "chassis/card.h"
#include "store/snapshot.h"

namespace chassis {

// All that is stored of one node, in the order of the keys. What it points to is the snapshot's.
struct NodeRecords {
    int32_t node = 0;
    std::vector<const record::Record *> cards;     // CardInfo
    std::vector<const record::Record *> checks;    // AppDfCardDenyCheckResult
    std::vector<const record::Record *> fe_ready;  // CapFeReady
    std::vector<const record::Record *> cm_ready;  // CapCmReady

    bool empty() const { return cards.empty() && checks.empty() && fe_ready.empty() && cm_ready.empty(); }
};

// The node that a record names; nothing: it is of none, or of one's capabilities.
std::optional<int32_t> node_of(const record::Record &record);

NodeRecords records_of(const store::Snapshot &snapshot, int32_t node);
// Of every node that a record names.
std::map<int32_t, NodeRecords> records_by_node(const store::Snapshot &snapshot);

// The class of a node: as its card says, else as its readiness does. Nothing: none that is known.
std::optional<CardClass> class_of(const NodeRecords &records);

// The node type that its records tell, the card before its readiness. Nothing: a check alone tells none.
std::optional<int32_t> node_type_of(const NodeRecords &records);

// The card as the records describe it, what watches the slots before others; what no record says is as usual. Nothing:
// no record names the node.
std::optional<Card> known_card(const NodeRecords &records);

}  // namespace chassis
