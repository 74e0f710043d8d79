#include "verbs/explain_events.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "chassis/events.h"
#include "command_line/exit_status.h"
#include "command_line/streams.h"
#include "command_line/text.h"
#include "verbs/print.h"

namespace capctl {

using namespace command_line;
using chassis::CardClass;
using chassis::EventRule;
using chassis::List;
using Json = nlohmann::ordered_json;

namespace {

// What is said of a node, or that a class is ready.
std::string event_words(const EventRule &rule) {
    return rule.event ? std::string(chassis::name_of_event(*rule.event)) + " (" + std::to_string(*rule.event) + ") " +
                            (rule.ready ? "ready" : "not ready")
                      : "nothing";
}

Json rule_json(const EventRule &rule) {
    Json json = {{"class", name_of(rule.card_class)},
                 {"record", rule.record},
                 {"change", rule.change},
                 {"event", nullptr},
                 {"name", nullptr},
                 {"ready", nullptr},
                 {"list", nullptr},
                 {"registration", nullptr},
                 {"condition", rule.condition}};
    if (rule.event) {
        json["event"] = *rule.event;
        json["name"] = chassis::name_of_event(*rule.event);
        json["ready"] = rule.ready;
        json["list"] = name_of(rule.list);
        json["registration"] = registration_of(rule.list);
    }
    return json;
}

std::string rules_table() {
    std::vector<Row> rows = {{"CLASS  ", "RECORD  ", "CHANGE  ", "EVENT  ", "TO THOSE OF  ", "CONDITION"}};
    for (const EventRule &rule : chassis::event_rules()) {
        const std::string gap = "  ";
        rows.push_back({std::string(name_of(rule.card_class)) + gap, std::string(rule.record) + gap,
                        std::string(rule.change) + gap, event_words(rule) + gap,
                        (rule.event ? std::string(registration_of(rule.list)) : "-") + gap,
                        std::string(rule.condition)});
    }
    return table(rows);
}

// What becomes of a record, and what follows; the record and the change only where they are other than before.
using Before = std::pair<std::string_view, std::string_view>;

std::string rule_text(const EventRule &rule, const std::string &change, const Before &before) {
    constexpr size_t kChangeWidth = 18;
    std::string text = rule.record == before.first ? "" : "  " + std::string(rule.record) + "\n";
    const bool is_same = text.empty() && rule.change == before.second;
    std::string lead = is_same ? "" : change;
    lead.resize(std::max(kChangeWidth, lead.size() + 2), ' ');
    text += "    " + lead + event_words(rule) + (rule.event ? ", to " + std::string(name_of(rule.list)) : "");
    return text + (rule.condition.empty() ? "\n" : ": " + std::string(rule.condition) + "\n");
}

bool is_silent_alike(const EventRule &a, const EventRule &b) {
    return !a.event && !b.event && a.card_class == b.card_class && a.record == b.record && a.condition == b.condition;
}

// What is so in every class, of each one's state: it is told once, at the end.
bool is_so_in_all(const EventRule &rule) {
    const auto rules = chassis::event_rules();
    return !rule.event && rule.record == chassis::rules_of(rule.card_class).state_type &&
           std::count_if(rules.begin(), rules.end(), [&](const EventRule &each) {
               return !each.event && each.change == rule.change && each.condition == rule.condition &&
                      each.record == chassis::rules_of(each.card_class).state_type;
           }) == static_cast<ptrdiff_t>(chassis::class_names().size());
}

// pass, withdrawn: what happens the same way is told once.
std::string changes_alike(const EventRule &rule) {
    std::string changes;
    for (const EventRule &each : chassis::event_rules()) {
        if (&each == &rule || is_silent_alike(each, rule)) {
            changes.append(changes.empty() ? "" : ", ").append(each.change);
        }
    }
    return changes;
}

std::string rules_of_class(CardClass card_class) {
    std::string text;
    Before before;
    const auto rules = chassis::event_rules();
    for (const EventRule &rule : rules) {
        const auto first = std::find_if(rules.begin(), rules.end(),
                                        [&](const EventRule &each) { return is_silent_alike(each, rule); });
        if (rule.card_class != card_class || is_so_in_all(rule) || (first != rules.end() && &*first != &rule)) {
            continue;
        }
        text += rule_text(rule, changes_alike(rule), before);
        before = {rule.record, rule.change};
    }
    return text;
}

// A heading for each class.
std::string rules_text() {
    std::string text = "What becomes of a record, and the event that follows, to those of a registration:\n";
    for (const List list :
         {List::kLineCards, List::kFabric, List::kControlModules, List::kHps, List::kLineCardsAndHps}) {
        std::string name(name_of(list));
        name.resize(12, ' ');
        text += "  " + name + std::string(registration_of(list)) + "\n";
    }
    text += "Ready in advance: ready, and not yet in real time. A condition follows the colon.\n";
    std::string states;
    for (const std::string &name : chassis::class_names()) {
        const CardClass card_class = chassis::class_named(name);
        text += "\nClass " + name + "\n" + rules_of_class(card_class);
        states += (states.empty() ? "" : ", ") + std::string(chassis::rules_of(card_class).state_type);
    }
    text += "\nAll classes\n  " + states + "\n";
    for (const EventRule &rule : chassis::event_rules()) {
        if (rule.card_class == CardClass::kLineCard && is_so_in_all(rule)) {
            text += rule_text(rule, std::string(rule.change), {rule.record, ""});
        }
    }
    return text;
}

}  // namespace

int explain_events(const Session &session) {
    if (session.is_json()) {
        Json array = Json::array();
        for (const EventRule &rule : chassis::event_rules()) {
            array.push_back(rule_json(rule));
        }
        print_list(session, array);
    } else {
        write_output(session.format == Format::kTable ? rules_table() : rules_text());
    }
    return kDone;
}

}  // namespace capctl
