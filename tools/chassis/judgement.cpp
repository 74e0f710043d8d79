#include "chassis/judgement.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "chassis/capability.h"
#include "chassis/findings.h"

namespace chassis {

namespace {

using record::Record;
using Kind = Condition::Kind;
using Records = std::vector<const Record *>;

// What a readiness record says of its node.
struct NodeState {
    const Record *record = nullptr;
    bool ready = false;
    bool real_time = false;
    int32_t node_type = 0;
    bool is_own = false;  // it is of the type that the card's class has
};

template <class NodeReady>
NodeState state_in(const Record &record) {
    const auto &node = record.as<NodeReady>();
    return {.record = &record, .ready = node.ready != 0, .real_time = node.real_time != 0, .node_type = node.node_type};
}

NodeState state_of(const Record &record) {
    return record.type().descriptor == &cap_cm_ready__descriptor ? state_in<CapCmReady>(record)
                                                                 : state_in<CapFeReady>(record);
}

// Whether two records of one kind differ in what counts.
bool contradict(const Record &a, const Record &b) {
    if (a.type().descriptor == &app_df_card_deny_check_result__descriptor) {
        return a.as<AppDfCardDenyCheckResult>().stat != b.as<AppDfCardDenyCheckResult>().stat;
    }
    if (a.type().descriptor == &card_info__descriptor) {
        return a.as<CardInfo>().static_info->node_type != b.as<CardInfo>().static_info->node_type;
    }
    const NodeState one = state_of(a);
    const NodeState other = state_of(b);
    return one.ready != other.ready || one.real_time != other.real_time || one.node_type != other.node_type;
}

Records installing(const Records &cards) {
    Records found;
    std::copy_if(cards.begin(), cards.end(), std::back_inserter(found),
                 [](const Record *card) { return card->as<CardInfo>().static_info != nullptr; });
    return found;
}

bool has_capabilities(const store::Snapshot &snapshot, int32_t node) {
    return std::any_of(snapshot.records().begin(), snapshot.records().end(), [node](const auto &entry) {
        return is_node_capability(entry.second.type()) && entry.second.get("index.node") == record::Value(node);
    });
}

// The conditions of one node.
class Judge {
public:
    Judge(const store::Snapshot &snapshot, const NodeRecords &records);

    Judgement judgement() &&;

private:
    NodeState telling_state() const;
    bool is_line_card() const { return rules_.list == List::kLineCards; }
    bool is_announced_in_advance(const NodeState &state) const {
        return state.record != nullptr && state.ready && !state.real_time && state.node_type == rules_.announced_type;
    }
    int32_t node_type() const;
    bool is_in_wrong_record() const;

    void add(Kind kind, bool met, bool asked, const Record *record, const std::string &otherwise, Actor actor);
    template <class Placed>
    void note_other_node();
    void note_unreadable();
    void add_installed();
    void add_check();
    void add_readiness();
    void add_class();
    void add_own_record();
    int worth(const Record &record) const;
    const Record &kept_of(const Records &records) const;
    void add_contradiction(const Records &records, bool asked, Actor actor);

    const store::Snapshot &snapshot_;
    const NodeRecords &records_;
    const Records cards_;
    Judgement result_;
    const ClassRules &rules_;
    NodeState state_;
    // It would be announced because its class is ready, not by its own records: those that would be asked do not count.
    bool in_advance_;
};

Judgement begin(const NodeRecords &records) {
    Judgement result;
    result.card_class = class_of(records);
    result.told_type = node_type_of(records);
    result.is_known = !records.empty();
    const Records &own = result.card_class == CardClass::kControlModule ? records.cm_ready : records.fe_ready;
    if (own.size() > 1) {
        result.one_of_models = std::get<int32_t>(own.back()->get("index.config_dev_type"));
    }
    result.has_many_checks = records.checks.size() > 1;
    result.card = known_card(records).value_or(usual_card(CardClass::kLineCard, records.node));
    return result;
}

Judge::Judge(const store::Snapshot &snapshot, const NodeRecords &records)
    : snapshot_(snapshot),
      records_(records),
      cards_(installing(records.cards)),
      result_(begin(records)),
      rules_(rules_of(result_.card_class.value_or(CardClass::kLineCard))),
      state_(telling_state()),
      in_advance_(is_announced_in_advance(state_) &&
                  !(rules_.card_class == CardClass::kControlModule && state_.is_own)) {}

// Of the readiness records the one that decides. A node should have those of its class only; one that has others too
// may still be announced in advance by them, because they overwrite what was read before.
NodeState Judge::telling_state() const {
    const bool is_cm = rules_.card_class == CardClass::kControlModule;
    const Records &own = is_cm ? records_.cm_ready : records_.fe_ready;
    const Records &other = is_cm ? records_.fe_ready : records_.cm_ready;
    NodeState state;
    if (!own.empty()) {
        state = state_of(*own.back());
        state.is_own = true;
    }
    if (!other.empty() && !state.ready) {
        const NodeState last = state_of(*other.back());
        if (own.empty() || (is_cm && is_announced_in_advance(last))) {
            return last;
        }
    }
    return state;
}

int32_t Judge::node_type() const { return state_.record != nullptr ? state_.node_type : result_.card.node_type; }

void Judge::add(Kind kind, bool met, bool asked, const Record *record, const std::string &otherwise, Actor actor) {
    result_.conditions.push_back({.kind = kind,
                                  .met = met,
                                  .asked = asked,
                                  .key = record != nullptr ? record->key() : otherwise,
                                  .stored = record != nullptr,
                                  .actor = actor});
}

// Another node's record is where this one's would be.
template <class Placed>
void Judge::note_other_node() {
    Condition &condition = result_.conditions.back();
    const Record *const there = condition.stored ? nullptr : snapshot_.find(condition.key);
    if (there != nullptr) {
        condition.stored = true;
        condition.flaw = Condition::Flaw::kOfAnotherNode;
        condition.other_node = there->as<Placed>().card_nodeid;
    }
}

void Judge::add_installed() {
    const Record *card = nullptr;
    if (!records_.cards.empty()) {
        card = cards_.empty() ? records_.cards.back() : cards_.back();
    }
    add(Kind::kInstalled, !cards_.empty(), true, card, card_info(result_.card).key(), Actor::kSlotWatcher);
    note_other_node<CardInfo>();
}

void Judge::add_check() {
    if (!is_line_card() || !is_checked(node_type())) {
        return;
    }
    const Record *const check = records_.checks.empty() ? nullptr : records_.checks.back();
    const bool is_denied = check != nullptr && check->as<AppDfCardDenyCheckResult>().stat == APP_DF_CHECK_DENY;
    const std::string key = check_result(result_.card, true).key();
    add(Kind::kChecked, check != nullptr, !in_advance_, check, key, Actor::kChecker);
    note_other_node<AppDfCardDenyCheckResult>();
    add(Kind::kNotDenied, !is_denied, !in_advance_, check, key, Actor::kChecker);
    note_other_node<AppDfCardDenyCheckResult>();
    if (check != nullptr && !has_stat(*check)) {
        result_.conditions.back().flaw = Condition::Flaw::kWithoutValue;
    }
}

void Judge::add_readiness() {
    Card card = result_.card;
    card.node_type = rules_.announced_type;
    const std::string key = node_ready(card, true, true).key();
    add(Kind::kReady, state_.ready, true, state_.record, key, Actor::kCardSoftware);
    if (rules_.card_class != CardClass::kControlModule) {
        add(Kind::kRealTime, state_.real_time, !in_advance_, state_.record, key, Actor::kCardSoftware);
    }
}

// Only a card that is announced in advance depends on its class. A control module never waits for real time.
void Judge::add_class() {
    if (in_advance_ || (rules_.card_class != CardClass::kControlModule && node_type() == rules_.announced_type)) {
        add(Kind::kClassReady, is_class_ready(snapshot_, rules_.card_class), in_advance_,
            snapshot_.find(rules_.state_type), std::string(rules_.state_type), Actor::kReadinessCalculation);
    }
}

// Fabric and HPS cards are told by their type, line cards by any but the HPS cards', control modules by their record.
bool Judge::is_in_wrong_record() const {
    if (state_.record == nullptr) {
        return false;
    }
    switch (rules_.card_class) {
        case CardClass::kControlModule:
            return !state_.is_own;
        case CardClass::kLineCard:
            return !state_.is_own || state_.node_type == rules_of(CardClass::kHps).announced_type;
        default:
            return !state_.is_own || state_.node_type != rules_.announced_type;
    }
}

// Whether a record that does not decode is the one that would be asked. The model of a node's readiness is part of its
// key, and it need not be the card's.
bool is_meant(const store::Unreadable &unreadable, const std::string &key, int32_t node) {
    const auto address = store::address_of(unreadable);
    if (!address || unreadable.first == key) {
        return unreadable.first == key;
    }
    const auto *const type = address->type().descriptor;
    return (type == &cap_fe_ready__descriptor || type == &cap_cm_ready__descriptor) &&
           key.starts_with(std::string(address->type().name()) + ":") && node_of(*address) == node;
}

void Judge::note_unreadable() {
    for (Condition &each : result_.conditions) {
        for (const store::Unreadable &unreadable : snapshot_.unreadable()) {
            if (!each.stored && is_meant(unreadable, each.key, records_.node)) {
                each.key = unreadable.first;
                each.stored = true;
                each.flaw = Condition::Flaw::kUnreadable;
            }
        }
    }
}

void Judge::add_own_record() {
    if (is_in_wrong_record()) {
        add(Kind::kOwnRecord, false, !in_advance_, state_.record, {}, Actor::kCardSoftware);
    }
}

// How much of what makes a card ready a readiness record says; of other records none is better than another.
int Judge::worth(const Record &record) const {
    const ProtobufCMessageDescriptor *const type = record.type().descriptor;
    if (type != &cap_fe_ready__descriptor && type != &cap_cm_ready__descriptor) {
        return 0;
    }
    const NodeState state = state_of(record);
    return (state.ready ? 4 : 0) + (state.node_type == result_.card.node_type ? 2 : 0) + (state.real_time ? 1 : 0);
}

// Of records that contradict each other the one to go by: the best, and among equals the one that is read last.
const Record &Judge::kept_of(const Records &records) const {
    return **std::max_element(records.rbegin(), records.rend(),
                              [this](const Record *a, const Record *b) { return worth(*a) < worth(*b); });
}

std::vector<std::string> contradicting(const Records &records, const Record &one) {
    std::vector<std::string> keys;
    for (const Record *record : records) {
        if (contradict(*record, one)) {
            keys.push_back(record->key());
        }
    }
    return keys;
}

void Judge::add_contradiction(const Records &records, bool asked, Actor actor) {
    if (records.empty()) {
        return;
    }
    std::vector<std::string> others = contradicting(records, *records.back());
    if (!others.empty()) {
        add(Kind::kOneVoice, false, asked, records.back(), {}, actor);
        result_.conditions.back().contradicted_by = std::move(others);
        result_.conditions.back().superfluous = contradicting(records, kept_of(records));
    }
}

Judgement Judge::judgement() && {
    add_installed();
    add_check();
    add_readiness();
    add_class();
    add_own_record();
    add_contradiction(cards_, true, Actor::kSlotWatcher);
    add_contradiction(records_.checks, is_line_card() && !in_advance_, Actor::kChecker);
    add_contradiction(records_.fe_ready, true, Actor::kCardSoftware);
    add_contradiction(records_.cm_ready, true, Actor::kCardSoftware);

    const auto &conditions = result_.conditions;
    const auto is_missing = [](const Condition &each) { return each.is_missing(); };
    if (std::any_of(conditions.begin(), conditions.end(),
                    [](const Condition &each) { return each.kind == Kind::kOneVoice && each.asked; })) {
        result_.verdict = Verdict::kContradictory;
    } else if (std::none_of(conditions.begin(), conditions.end(), is_missing)) {
        result_.verdict = in_advance_ ? Verdict::kInAdvance : Verdict::kReady;
    }
    note_unreadable();
    result_.has_capabilities = !result_.is_known && has_capabilities(snapshot_, records_.node);
    result_.findings = findings(records_);
    const std::set<CardClass> ready = ready_classes(snapshot_);
    result_.told = told_at_start(records_, ready);
    result_.told_to_own = told_at_start(records_, ready, rules_.own_events);
    return std::move(result_);
}

}  // namespace

std::string_view name_of(Verdict verdict) {
    switch (verdict) {
        case Verdict::kReady:
            return "ready";
        case Verdict::kInAdvance:
            return "ready in advance";
        case Verdict::kNotReady:
            return "not ready";
        case Verdict::kContradictory:
            break;
    }
    return "contradictory";
}

std::string_view name_of(Actor actor) {
    switch (actor) {
        case Actor::kSlotWatcher:
            return "slot watcher";
        case Actor::kChecker:
            return "application's checker";
        case Actor::kCardSoftware:
            return "card's software";
        case Actor::kReadinessCalculation:
            break;
    }
    return "readiness calculation";
}

std::string_view task_of(Actor actor) {
    switch (actor) {
        case Actor::kSlotWatcher:
            return "writes card_info when a card is put in or pulled out";
        case Actor::kReadinessCalculation:
            return "writes whether the device and the classes are ready";
        default:
            return "";
    }
}

std::string_view name_of(Condition::Kind kind) {
    switch (kind) {
        case Kind::kInstalled:
            return "installed";
        case Kind::kChecked:
            return "checked";
        case Kind::kNotDenied:
            return "not denied";
        case Kind::kReady:
            return "ready";
        case Kind::kRealTime:
            return "real time";
        case Kind::kClassReady:
            return "class ready";
        case Kind::kOwnRecord:
            return "right record";
        case Kind::kOneVoice:
            break;
    }
    return "agreement";
}

bool is_class_ready(const store::Snapshot &snapshot, CardClass card_class) {
    const Record *const state = snapshot.find(rules_of(card_class).state_type);
    return state != nullptr && std::get<bool>(state->get("ready"));
}

std::set<CardClass> ready_classes(const store::Snapshot &snapshot) {
    std::set<CardClass> ready;
    for (const CardClass each :
         {CardClass::kLineCard, CardClass::kFabric, CardClass::kControlModule, CardClass::kHps}) {
        if (is_class_ready(snapshot, each)) {
            ready.insert(each);
        }
    }
    return ready;
}

std::vector<const record::RecordType *> judged_types() {
    std::vector<const record::RecordType *> types;
    for (const ProtobufCMessageDescriptor *each :
         {&card_info__descriptor, &app_df_card_deny_check_result__descriptor, &cap_fe_ready__descriptor,
          &cap_cm_ready__descriptor, &cap_glb_state__descriptor, &cap_cm_glb_state__descriptor,
          &cap_fab_glb_state__descriptor, &cap_hps_glb_state__descriptor}) {
        types.push_back(&record::type_of(*each));
    }
    return types;
}

Judgement judge(const store::Snapshot &snapshot, int32_t node) {
    return Judge(snapshot, records_of(snapshot, node)).judgement();
}

std::vector<Judgement> judge_all(const store::Snapshot &snapshot) {
    std::vector<Judgement> all;
    for (const auto &[node, records] : records_by_node(snapshot)) {
        all.push_back(Judge(snapshot, records).judgement());
    }
    std::stable_partition(all.begin(), all.end(), [](const Judgement &each) { return !is_ready(each.verdict); });
    return all;
}

}  // namespace chassis
