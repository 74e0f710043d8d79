#include "board/time_line.h"

#include <trel_cap/records.h>

#include <algorithm>

#include "board/json_text.h"
#include "board/subject.h"
#include "record/record_json.h"

namespace board {

using store::Change;

namespace {

bool is_deleted(const Change &change) { return change.kind == Change::Kind::kDeleted; }

std::string again(const Change &change, bool is_new) { return !is_new && change.changed.empty() ? ", told again" : ""; }

// By their names, with commas between them.
std::string changed_fields(const Change &change) {
    std::string names;
    for (const ProtobufCFieldDescriptor &field : change.record.type().fields()) {
        if (std::find(change.changed.begin(), change.changed.end(), static_cast<int32_t>(field.id)) !=
            change.changed.end()) {
            names.append(names.empty() ? "" : ", ").append(field.name);
        }
    }
    return names;
}

std::string card_words(const Change &change, bool is_new) {
    if (is_deleted(change)) {
        return "the card was removed";
    }
    if (is_new) {
        const auto &card = change.record.as<CardInfo>();
        const std::string name = card.name == nullptr || *card.name == '\0' ? "" : std::string(", ") + card.name;
        return "a card was inserted" + name;
    }
    return change.changed.empty() ? "the card was announced again" : "the card changed: " + changed_fields(change);
}

std::string check_words(const Change &change, bool is_new) {
    if (is_deleted(change)) {
        return "the check was withdrawn";
    }
    const bool passed = change.record.as<AppDfCardDenyCheckResult>().stat == APP_DF_CHECK_PASS;
    return (passed ? "the check passed" : "the check denied the card") + again(change, is_new);
}

// Both records of node readiness say it alike.
std::string node_words(const Change &change, bool is_new) {
    if (is_deleted(change)) {
        return "the card's readiness was withdrawn";
    }
    const bool ready = std::get<bool>(change.record.get("ready"));
    const bool real_time = std::get<bool>(change.record.get("real_time"));
    return std::string(ready ? "the card says it is ready" : "the card says it is not ready") +
           (ready && !real_time ? ", not yet in real time" : "") + again(change, is_new);
}

std::string class_words(const Change &change, bool is_new) {
    const std::string_view scope = scope_of(change.record);
    const std::string who = scope == "glb"   ? "Line cards"
                            : scope == "fab" ? "Fabric cards"
                            : scope == "cm"  ? "Control modules"
                                             : "HPS cards";
    if (is_deleted(change)) {
        return who + ": readiness was withdrawn";
    }
    return who + (std::get<bool>(change.record.get("ready")) ? ": ready" : ": not ready") + again(change, is_new);
}

std::string capability_words(const Change &change) {
    std::string who(url_of(change.record));
    if (const std::string holder = holder_of(change.record); holder != "global") {
        who += " of " + holder;
    }
    if (is_deleted(change)) {
        return who + " was deleted";
    }
    const auto &told = change.changed.empty() ? change.record.fields() : std::span<const int32_t>(change.changed);
    std::string values;
    const nlohmann::ordered_json fields = record::fields_json(change.record, told);
    for (const auto &[name, value] : fields.items()) {
        values.append(values.empty() ? " " : ", ").append(name).append(" = ").append(json_text(value));
    }
    return who + ":" + values;
}

}  // namespace

Line line_of(const Change &change, bool is_new) {
    const ProtobufCMessageDescriptor *const type = change.record.type().descriptor;
    const std::optional<int32_t> node = node_of(change.record);
    if (type == &card_info__descriptor) {
        return {"card", node, card_words(change, is_new)};
    }
    if (type == &app_df_card_deny_check_result__descriptor) {
        return {"check", node, check_words(change, is_new)};
    }
    if (node) {
        return {"node", node, node_words(change, is_new)};
    }
    if (!scope_of(change.record).empty()) {
        return {"class", {}, class_words(change, is_new)};
    }
    if (!holder_of(change.record).empty()) {
        return {"capability", {}, capability_words(change)};
    }
    return {"record", {}, change.record.key() + (is_deleted(change) ? " was deleted" : " was written")};
}

Line line_of_state(int32_t node, std::string_view state) { return {"state", node, "is now " + std::string(state)}; }

nlohmann::ordered_json line_json(const Line &line, uint64_t id, int64_t time_ms) {
    nlohmann::ordered_json json = {{"id", id}, {"time", time_ms}, {"kind", line.kind}, {"text", line.text}};
    if (line.node) {
        json["node"] = *line.node;
    }
    return json;
}

}  // namespace board
