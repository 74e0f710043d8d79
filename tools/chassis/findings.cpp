#include "chassis/findings.h"

#include "chassis/classes.h"
#include "command_line/names.h"

namespace chassis {

namespace {

using record::Record;

bool has_field(const Record &record, const char *name) {
    const auto *const field = protobuf_c_message_descriptor_get_field_by_name(record.type().descriptor, name);
    return record.has(static_cast<int32_t>(field->id));
}

std::string type_text(int32_t node_type) { return "node_type " + std::to_string(node_type); }

// Of the card that is followed, which is the last of several.
const Record *typed_card(const NodeRecords &records) {
    const Record *found = nullptr;
    for (const Record *each : records.cards) {
        found = each->as<CardInfo>().static_info != nullptr ? each : found;
    }
    return found;
}

void add_other_type(std::vector<std::string> &found, const Record &card, const Record &ready, int32_t type_of_ready) {
    const int32_t type = card.as<CardInfo>().static_info->node_type;
    if (type == type_of_ready) {
        return;
    }
    std::string text = card.key() + " says " + type_text(type) + ", " + ready.key() + " " + type_text(type_of_ready) +
                       "; an application goes by the one that it reads last, when it starts the latter";
    if (is_checked(type) != is_checked(type_of_ready)) {
        text += is_checked(type) ? ", for which no check is asked" : ", for which a check is asked";
    }
    found.push_back(text + ".");
}

void add_many_cards(std::vector<std::string> &found, const NodeRecords &records) {
    if (records.cards.size() < 2) {
        return;
    }
    std::vector<std::string> keys;
    for (const Record *each : records.cards) {
        keys.push_back(each->key());
    }
    found.push_back(
        "more than one card_info names this node, of which an application goes by the one that it reads last: " +
        command_line::joined(keys) + ".");
}

void add_types(std::vector<std::string> &found, const NodeRecords &records) {
    const Record *const card = typed_card(records);
    if (card == nullptr) {
        return;
    }
    for (const Record *each : records.fe_ready) {
        add_other_type(found, *card, *each, each->as<CapFeReady>().node_type);
    }
    for (const Record *each : records.cm_ready) {
        add_other_type(found, *card, *each, each->as<CapCmReady>().node_type);
    }
}

void add_check(std::vector<std::string> &found, const Record &record) {
    const int32_t stat = record.as<AppDfCardDenyCheckResult>().stat;
    if (!has_stat(record)) {
        found.push_back(record.key() + " has no stat; applications read that as a denial.");
    } else if (stat != APP_DF_CHECK_DENY && stat != APP_DF_CHECK_PASS) {
        found.push_back(record.key() + " has stat " + std::to_string(stat) +
                        ", which is neither a denial nor a pass; applications take it for a pass.");
    }
}

}  // namespace

bool has_stat(const Record &check) { return has_field(check, "stat"); }

std::vector<std::string> findings(const NodeRecords &records) {
    std::vector<std::string> found;
    add_many_cards(found, records);
    add_types(found, records);
    for (const Record *each : records.checks) {
        add_check(found, *each);
    }
    for (const Record *each : records.cards) {
        if (has_field(*each, "is_online") && each->as<CardInfo>().is_online == 0) {
            found.push_back(each->key() + " says that the card is not online (is_online); no condition asks for that.");
        }
    }
    return found;
}

}  // namespace chassis
