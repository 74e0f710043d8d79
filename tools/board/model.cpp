#include "board/model.h"

#include <chrono>
#include <utility>

#include "board/card_json.h"
#include "board/json_text.h"
#include "board/subject.h"
#include "record/record_json.h"

namespace board {

using store::Change;
using Json = nlohmann::ordered_json;

namespace {

int64_t now_ms() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

}  // namespace

Model::Model(std::string store_name) : store_name_(std::move(store_name)) { show_store("loading", ""); }

void Model::changed(const Change &change) {
    if (change.kind != Change::Kind::kInitial) {
        tell(line_of(change, chassis_.find(change.record.key()) == nullptr));
    }
    if (holder_of(change.record).empty()) {
        keep(change);
    }
    show(change);
}

// The node of a card's record may be another than before.
void Model::keep(const Change &change) {
    const std::string key = change.record.key();
    if (const record::Record *before = chassis_.find(key); before != nullptr && node_of(*before)) {
        stale_.insert(*node_of(*before));
    }
    if (const auto node = node_of(change.record)) {
        stale_.insert(*node);
    } else {
        all_stale_ = true;
    }
    if (change.kind == Change::Kind::kDeleted) {
        chassis_.erase(key);
    } else {
        chassis_.put(change.record);
    }
}

void Model::show(const Change &change) {
    const std::string holder = holder_of(change.record);
    const std::string scope(scope_of(change.record));
    if (holder.empty() && scope.empty()) {
        return;
    }
    const auto section = holder.empty() ? Sheet::kScopes : Sheet::kCapabilities;
    const std::string key = holder.empty() ? scope : change.record.key();
    if (change.kind == Change::Kind::kDeleted) {
        sheet_.erase(section, key);
        return;
    }
    Json json = record::fields_json(change.record, change.record.fields());
    if (!holder.empty()) {
        json = {{"holder", holder}, {"url", url_of(change.record)}, {"fields", std::move(json)}};
    }
    sheet_.put(section, key, json_text(json));
}

void Model::complete() {
    show_store("up", "");
    complete_ = true;
}

void Model::lost(const std::string &reason) {
    show_store("lost", reason);
    tell({"store", {}, "The store is lost: " + reason});
}

void Model::restored() {
    show_store("up", "");
    tell({"store", {}, "The store is back"});
}

void Model::show_store(const char *state, const std::string &reason) {
    store_state_ = state;
    const Json store = {{"name", store_name_}, {"state", state}, {"since", now_ms()}, {"reason", reason}};
    for (const auto &[key, value] : store.items()) {
        sheet_.put(Sheet::kStore, key, json_text(value));
    }
}

void Model::publish() {
    if (complete_) {
        judge_stale();
    }
    sheet_.publish();
}

void Model::judge_stale() {
    if (all_stale_) {
        for (const auto &[node, state] : states_) {
            stale_.insert(node);
        }
        for (const chassis::Judgement &judgement : chassis::judge_all(chassis_)) {
            stale_.erase(judgement.card.node);
            show_card(judgement);
        }
    }
    for (const int32_t node : stale_) {
        show_card(chassis::judge(chassis_, node));
    }
    stale_.clear();
    all_stale_ = false;
    judged_ = true;
}

void Model::show_card(const chassis::Judgement &judgement) {
    const int32_t node = judgement.card.node;
    const auto shown = states_.find(node);
    const std::string state(judgement.is_known ? state_of(judgement) : "gone");
    if (judged_ && state != (shown == states_.end() ? "gone" : shown->second)) {
        tell(line_of_state(node, state));
    }
    if (judgement.is_known) {
        states_.insert_or_assign(node, state);
        sheet_.put(Sheet::kCards, std::to_string(node), json_text(card_json(judgement)));
    } else {
        states_.erase(node);
        sheet_.erase(Sheet::kCards, std::to_string(node));
    }
}

void Model::tell(const Line &line) { sheet_.add_event(json_text(line_json(line, ++lines_, now_ms()))); }

}  // namespace board
