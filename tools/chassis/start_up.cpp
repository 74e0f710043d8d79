#include "chassis/start_up.h"

#include <algorithm>
#include <utility>

namespace chassis {

namespace {

// An application's entry of a node.
struct Entry {
    int32_t model = 0;
    int32_t node_type = 0;
    bool ready = false;
    bool real_time = false;
    bool installed = false;
    bool checked = false;
    bool denied = false;

    bool is_admitted() const { return installed && (!is_checked(node_type) || (checked && !denied)); }
    bool is_fully_ready() const { return ready && real_time && installed && checked && !denied; }
};

// One application, which reads one kind of record after the other, and each class's readiness at last.
class StartUp {
public:
    StartUp(const NodeRecords &records, uint32_t asked_for) : records_(records), asked_for_(asked_for) {}

    std::vector<Told> run(const std::set<CardClass> &ready_classes);

private:
    bool asks_for(int32_t event) const { return (asked_for_ & TREL_CAP_EVENT_BIT(event)) != 0; }
    bool follows_nodes() const {
        return asks_for(TREL_CAP_EVENT_FE_NODE) || asks_for(TREL_CAP_EVENT_FAB_NODE) ||
               asks_for(TREL_CAP_EVENT_CM_NODE) || asks_for(TREL_CAP_EVENT_HPS_NODE);
    }
    bool reads_fe_ready() const {
        return asks_for(TREL_CAP_EVENT_FE_NODE) || asks_for(TREL_CAP_EVENT_FAB_NODE) ||
               asks_for(TREL_CAP_EVENT_HPS_NODE);
    }

    Entry &first_entry(int32_t model);
    Entry &entry_of(int32_t model);
    bool is_judged_ready(bool from) const;
    void tell(const ClassRules &rules, bool ready, bool in_advance, std::string key);

    void read_checks();
    void read_cards();
    template <class NodeReady>
    void read_nodes(const std::vector<const record::Record *> &records, CardClass card_class);
    void announce(const ClassRules &rules);

    const NodeRecords &records_;
    const uint32_t asked_for_;
    std::vector<Entry> entries_;
    std::vector<Told> told_;
};

// Most records are of a node, whatever their model.
Entry &StartUp::first_entry(int32_t model) {
    if (entries_.empty()) {
        entries_.push_back({.model = model});
    }
    return entries_.front();
}

Entry &StartUp::entry_of(int32_t model) {
    const auto found =
        std::find_if(entries_.begin(), entries_.end(), [&](const Entry &entry) { return entry.model == model; });
    return found != entries_.end() ? *found : entries_.emplace_back(Entry{.model = model});
}

bool StartUp::is_judged_ready(bool from) const {
    return from ||
           std::any_of(entries_.begin(), entries_.end(), [](const Entry &entry) { return entry.is_fully_ready(); });
}

// Those who registered for line cards or the device hear all that is told to them, whatever they asked for.
void StartUp::tell(const ClassRules &rules, bool ready, bool in_advance, std::string key) {
    if (rules.list == List::kLineCards ? (asked_for_ & rules.own_events) != 0 : asks_for(rules.node_event)) {
        told_.push_back({.event = rules.node_event,
                         .list = rules.list,
                         .ready = ready,
                         .in_advance = in_advance,
                         .key = std::move(key)});
    }
}

// What a card is, is not known yet: also one of a class that is not checked can be denied.
void StartUp::read_checks() {
    for (const record::Record *record : records_.checks) {
        const auto &check = record->as<AppDfCardDenyCheckResult>();
        Entry &entry = first_entry(check.config_dev_type);
        entry.model = check.config_dev_type;
        entry.checked = true;
        entry.denied = check.stat == APP_DF_CHECK_DENY;
        if (entry.denied) {
            tell(rules_of(CardClass::kLineCard), false, false, record->key());
        }
    }
}

void StartUp::read_cards() {
    for (const record::Record *record : records_.cards) {
        const auto &card = record->as<CardInfo>();
        if (card.static_info == nullptr) {
            continue;  // is refused: it does not say what the card is
        }
        Entry &entry = first_entry(card.config_dev_type);
        entry.model = card.config_dev_type;
        entry.node_type = card.static_info->node_type;
        entry.installed = true;
    }
}

// Who follows line cards is told of every card but the HPS cards.
bool counts(const Entry &entry, CardClass card_class) {
    switch (card_class) {
        case CardClass::kLineCard:
            return entry.node_type != 7 && entry.is_admitted();
        case CardClass::kControlModule:
            return entry.installed;
        default:
            return entry.installed && entry.node_type == rules_of(card_class).announced_type;
    }
}

template <class NodeReady>
void StartUp::read_nodes(const std::vector<const record::Record *> &records, CardClass card_class) {
    for (const record::Record *record : records) {
        const auto &node = record->as<NodeReady>();
        const int32_t model = node.index->config_dev_type;
        // One node may carry several HPS cards, which their model tells apart.
        Entry &entry = card_class == CardClass::kHps ? entry_of(model) : first_entry(model);
        entry.model = model;
        entry.ready = node.ready != 0;
        entry.real_time = node.real_time != 0;
        entry.node_type = node.node_type;
        if (!counts(entry, card_class)) {
            continue;
        }
        const bool is_ready = entry.ready && (entry.real_time || card_class == CardClass::kControlModule);
        if (is_ready || !is_judged_ready(entry.ready)) {
            tell(rules_of(card_class), is_ready, false, record->key());
        }
    }
}

void StartUp::announce(const ClassRules &rules) {
    if (!asks_for(rules.announced_with) || !follows_nodes() ||
        (rules.card_class == CardClass::kControlModule ? !asks_for(TREL_CAP_EVENT_CM_NODE) : !reads_fe_ready())) {
        return;
    }
    for (const Entry &entry : entries_) {
        if (entry.node_type == rules.announced_type && entry.ready && !entry.real_time && entry.installed) {
            tell(rules, true, true, std::string(rules.state_type));
        }
    }
}

std::vector<Told> StartUp::run(const std::set<CardClass> &ready_classes) {
    if (follows_nodes()) {
        read_checks();
        read_cards();
    }
    if (asks_for(TREL_CAP_EVENT_FE_NODE)) {
        read_nodes<CapFeReady>(records_.fe_ready, CardClass::kLineCard);
    }
    if (asks_for(TREL_CAP_EVENT_CM_NODE)) {
        read_nodes<CapCmReady>(records_.cm_ready, CardClass::kControlModule);
    }
    if (asks_for(TREL_CAP_EVENT_FAB_NODE)) {
        read_nodes<CapFeReady>(records_.fe_ready, CardClass::kFabric);
    }
    if (asks_for(TREL_CAP_EVENT_HPS_NODE)) {
        read_nodes<CapFeReady>(records_.fe_ready, CardClass::kHps);
    }
    for (const CardClass each :
         {CardClass::kLineCard, CardClass::kControlModule, CardClass::kFabric, CardClass::kHps}) {
        if (ready_classes.contains(each)) {
            announce(rules_of(each));
        }
    }
    return std::move(told_);
}

}  // namespace

std::vector<Told> told_at_start(const NodeRecords &records, const std::set<CardClass> &ready_classes,
                                uint32_t asked_for) {
    return StartUp(records, asked_for).run(ready_classes);
}

}  // namespace chassis
