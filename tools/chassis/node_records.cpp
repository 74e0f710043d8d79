#include "chassis/node_records.h"

namespace chassis {

namespace {

using Records = std::vector<const record::Record *>;

// The node that a record names, and where records of its kind go.
struct Place {
    int32_t node;
    Records NodeRecords::*list;
};

std::optional<Place> place_by_node(const record::Record &record) {
    const ProtobufCMessageDescriptor *const type = record.type().descriptor;
    if (type == &card_info__descriptor) {
        return Place{record.as<CardInfo>().card_nodeid, &NodeRecords::cards};
    }
    if (type == &app_df_card_deny_check_result__descriptor) {
        return Place{record.as<AppDfCardDenyCheckResult>().card_nodeid, &NodeRecords::checks};
    }
    if (type == &cap_fe_ready__descriptor) {
        return Place{record.as<CapFeReady>().index->node, &NodeRecords::fe_ready};
    }
    if (type == &cap_cm_ready__descriptor) {
        return Place{record.as<CapCmReady>().index->node, &NodeRecords::cm_ready};
    }
    return std::nullopt;
}

template <class Index>
void take_place(Card &card, const Index &place) {
    card.devid = place.devid;
    card.slotid = place.slotid;
    card.sslotid = place.sslotid;
}

template <class NodeReady>
void take_node(Card &card, const NodeReady &ready) {
    take_place(card, ready);
    card.config_dev_type = ready.index->config_dev_type;
    if (class_of(ready.node_type)) {
        card.node_type = ready.node_type;
    }
}

void take_check(Card &card, const AppDfCardDenyCheckResult &check) {
    take_place(card, *check.index);
    card.config_dev_type = check.config_dev_type;
}

void take_card(Card &card, const CardInfo &info) {
    take_place(card, *info.index);
    card.config_dev_type = info.config_dev_type;
    card.is_online = info.is_online != 0;
    card.name = info.name;
    if (info.static_info != nullptr) {
        card.node_type = info.static_info->node_type;
    }
}

}  // namespace

std::optional<int32_t> node_of(const record::Record &record) {
    const auto place = place_by_node(record);
    return place ? std::optional(place->node) : std::nullopt;
}

std::map<int32_t, NodeRecords> records_by_node(const store::Snapshot &snapshot) {
    std::map<int32_t, NodeRecords> nodes;
    for (const auto &[key, record] : snapshot.records()) {
        if (const auto place = place_by_node(record)) {
            NodeRecords &records = nodes[place->node];
            records.node = place->node;
            (records.*place->list).push_back(&record);
        }
    }
    return nodes;
}

NodeRecords records_of(const store::Snapshot &snapshot, int32_t node) {
    NodeRecords records;
    records.node = node;
    for (const auto &[key, record] : snapshot.records()) {
        if (const auto place = place_by_node(record); place && place->node == node) {
            (records.*place->list).push_back(&record);
        }
    }
    return records;
}

std::optional<CardClass> class_of(const NodeRecords &records) {
    std::optional<CardClass> of_card;
    for (const record::Record *card : records.cards) {
        const CardStaticInfo *const info = card->as<CardInfo>().static_info;
        if (info != nullptr && class_of(info->node_type)) {
            of_card = class_of(info->node_type);  // the last of several
        }
    }
    if (of_card) {
        return of_card;
    }
    if (!records.fe_ready.empty()) {
        if (const auto named = class_of(records.fe_ready.back()->as<CapFeReady>().node_type)) {
            return named;
        }
    }
    return records.cm_ready.empty() ? std::nullopt : std::optional(CardClass::kControlModule);
}

std::optional<int32_t> node_type_of(const NodeRecords &records) {
    std::optional<int32_t> type;
    for (const record::Record *each : records.cm_ready) {
        type = each->as<CapCmReady>().node_type;
    }
    for (const record::Record *each : records.fe_ready) {
        type = each->as<CapFeReady>().node_type;
    }
    for (const record::Record *each : records.cards) {
        if (const CardStaticInfo *const info = each->as<CardInfo>().static_info; info != nullptr) {
            type = info->node_type;
        }
    }
    return type;
}

std::optional<Card> known_card(const NodeRecords &records) {
    if (records.empty()) {
        return std::nullopt;
    }
    Card card = usual_card(class_of(records).value_or(CardClass::kLineCard), records.node);
    for (const record::Record *each : records.cm_ready) {
        take_node(card, each->as<CapCmReady>());
    }
    for (const record::Record *each : records.fe_ready) {
        take_node(card, each->as<CapFeReady>());
    }
    for (const record::Record *each : records.checks) {
        take_check(card, each->as<AppDfCardDenyCheckResult>());
    }
    for (const record::Record *each : records.cards) {
        take_card(card, each->as<CardInfo>());
    }
    return card;
}

}  // namespace chassis
