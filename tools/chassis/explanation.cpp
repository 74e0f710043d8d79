#include "chassis/explanation.h"

#include <algorithm>

#include "command_line/names.h"
#include "command_line/text.h"

namespace chassis {

std::string node_argument(int32_t node) {
    if (node >= 0) {
        return std::to_string(node);
    }
    const auto bits = static_cast<uint32_t>(node);
    std::string digits;
    for (unsigned shift = 32; shift != 0;) {
        shift -= 4;
        digits += "0123456789abcdef"[bits >> shift & 0xFU];
    }
    return "0x" + digits;
}

namespace {

using command_line::Row;
using Flaw = Condition::Flaw;
using Kind = Condition::Kind;

std::string text(std::string_view words) { return std::string(words); }

std::string node_text(const Judgement &judgement) { return "node " + node_argument(judgement.card.node); }

CardClass class_in(const Judgement &judgement) { return judgement.card_class.value_or(CardClass::kLineCard); }

std::string why_of_another(const Judgement &judgement, const Condition &condition) {
    return condition.key + " names node " + node_argument(condition.other_node) + ", not " +
           node_argument(judgement.card.node);
}

std::string why_not_installed(const Judgement &judgement, const Condition &condition) {
    return condition.stored ? condition.key + " does not say what the card is (static_info), and is ignored"
                            : "no card_info names " + node_text(judgement);
}

std::string why_not_own_record(const Judgement &judgement, const Condition &condition) {
    const ClassRules &rules = rules_of(class_in(judgement));
    if (!condition.key.starts_with(text(rules.node_type) + ":")) {
        return "the readiness of a " + what_is(judgement) + " is told in " + text(rules.node_type) + ", not in " +
               condition.key;
    }
    return condition.key + " has a node_type that is not a " + what_is(judgement) + "'s, and node_type " +
           std::to_string(judgement.card.node_type) + " is expected";
}

std::string why_contradictory(const Condition &condition) {
    return condition.key + " and " + command_line::joined(condition.contradicted_by) +
           " contradict each other, and the one that is read last counts";
}

// Only what is asked makes a difference. Where a card takes the other way, by its class or by real time, what that way
// does not ask is shown and not lamented.
std::string mark(const Condition &condition) {
    if (condition.met) {
        return "yes";
    }
    return condition.asked ? "NO" : "no";
}

// What is there in place of the record that is asked for.
std::string remark_on_record(const Condition &condition) {
    switch (condition.flaw) {
        case Flaw::kOfAnotherNode:
            return "  (names node " + node_argument(condition.other_node) + ")";
        case Flaw::kWithoutValue:
            return "  (has no stat)";
        case Flaw::kUnreadable:
            return "  (does not decode)";
        case Flaw::kNone:
            break;
    }
    return condition.stored ? "" : "  (not there)";
}

std::string remark(const Condition &condition) {
    return condition.met ? "" : remark_on_record(condition) + (condition.asked ? "" : "  (not asked as things are)");
}

std::string condition_lines(const Judgement &judgement) {
    std::vector<Row> rows;
    for (const Condition &each : judgement.conditions) {
        rows.push_back({"  " + mark(each), "  " + text(name_of(each.kind)), "  " + each.key + remark(each)});
    }
    return command_line::table(rows);
}

std::string missing_lines(const Judgement &judgement) {
    std::string lines;
    std::string before;
    for (const Condition &each : judgement.conditions) {
        if (!each.is_missing()) {
            continue;
        }
        const std::string line = "  " + in_words(each.actor) + ": " + why(judgement, each) + "\n";
        const std::string command = remedy(judgement, each);
        if (line != before) {
            lines += line;
            lines += command.empty() ? "" : "      at a desk: " + command + "\n";
        }
        before = line;
    }
    return lines.empty() ? "" : "\nWho has to act, and why:\n" + lines;
}

std::string told_lines(const Judgement &judgement) {
    std::string lines = "\nAn application that starts now and asks for every event is told:\n";
    for (const Told &each : judgement.told) {
        lines += "  " + in_words(each) + "\n";
    }
    return judgement.told.empty() ? lines + "  nothing of this node\n" : lines;
}

std::string note_lines(const Judgement &judgement) {
    std::string lines;
    for (const std::string &note : notes(judgement)) {
        lines += "\nNote: " + note + "\n";
    }
    return lines;
}

// Of a node that no record names: what there is where its records would be.
std::string instead_lines(const Judgement &judgement) {
    std::string lines;
    for (const Condition &each : judgement.conditions) {
        if (each.kind == Kind::kInstalled && each.flaw == Flaw::kOfAnotherNode) {
            lines += "In the slot of that number is another card: " + why_of_another(judgement, each) + ".\n";
        } else if (each.flaw == Flaw::kUnreadable && lines.find(each.key) == std::string::npos) {
            lines += each.key + " is stored, but does not decode; trel_capctl del " + each.key + " deletes it.\n";
        }
    }
    return lines;
}

// What is told last to the card's own list; nothing: not ready.
bool ends_ready(const std::vector<Told> &told, List list) {
    const auto last = std::find_if(told.rbegin(), told.rend(), [&](const Told &each) { return each.list == list; });
    return last != told.rend() && last->ready;
}

bool is_unmet(const Judgement &judgement, Kind kind) {
    return std::any_of(judgement.conditions.begin(), judgement.conditions.end(),
                       [&](const Condition &each) { return each.kind == kind && !each.met; });
}

}  // namespace

std::string what_is(const Judgement &judgement) {
    if (!judgement.card_class) {
        return judgement.told_type ? "card of no class" : "card of a class not known yet";
    }
    switch (*judgement.card_class) {
        case CardClass::kLineCard:
            return "line card";
        case CardClass::kFabric:
            return "fabric card";
        case CardClass::kControlModule:
            return "control module";
        case CardClass::kHps:
            break;
    }
    return "HPS card";
}

std::string class_in_words(CardClass card_class) {
    switch (card_class) {
        case CardClass::kLineCard:
            return "the device";
        case CardClass::kFabric:
            return "the class of fabric cards";
        case CardClass::kControlModule:
            return "the class of control modules";
        case CardClass::kHps:
            break;
    }
    return "the class of HPS cards";
}

std::string slot_of(const Card &card) {
    return std::to_string(card.devid) + "/" + std::to_string(card.slotid) + "/" + std::to_string(card.sslotid);
}

std::string why(const Judgement &judgement, const Condition &condition) {
    if (condition.flaw == Flaw::kOfAnotherNode) {
        return why_of_another(judgement, condition);
    }
    if (condition.flaw == Flaw::kUnreadable) {
        return condition.key + " is stored, but does not decode";
    }
    if (condition.flaw == Flaw::kWithoutValue) {
        return condition.key + " does not say whether the card is denied (stat), which is read as a denial";
    }
    switch (condition.kind) {
        case Kind::kInstalled:
            return why_not_installed(judgement, condition);
        case Kind::kChecked:
            return "no app_df_card_deny_check_result names " + node_text(judgement);
        case Kind::kNotDenied:
            return condition.key + " denies the card";
        case Kind::kReady:
        case Kind::kRealTime:
            if (!condition.stored) {
                return "there is no " + condition.key;
            }
            return condition.key + (condition.kind == Kind::kReady ? " says that it is not ready"
                                                                   : " says that it is not in real time");
        case Kind::kClassReady:
            return class_in_words(class_in(judgement)) + " is not ready, which a card not yet in real time waits for";
        case Kind::kOwnRecord:
            return why_not_own_record(judgement, condition);
        case Kind::kOneVoice:
            break;
    }
    return why_contradictory(condition);
}

namespace {

// The result of a card that has moved is where the card was, and one of several can't be written.
std::string check_remedy(const Judgement &judgement, const Condition &condition) {
    const std::string check = "trel_capctl check " + node_argument(judgement.card.node);
    const bool is_in_place = !judgement.has_many_checks && condition.key == check_result(judgement.card, true).key();
    return (is_in_place ? "" : check + " withdraw && ") + check + " pass";
}

std::string readiness_remedy(const Judgement &judgement, const std::string &class_option) {
    return "trel_capctl node " + node_argument(judgement.card.node) + " ready" + class_option +
           (judgement.one_of_models ? " --model " + std::to_string(*judgement.one_of_models) : "");
}

// Results of checks are taken back as a whole; of other records those go that stand against the best.
std::string contradiction_remedy(const Judgement &judgement, const Condition &condition) {
    if (condition.actor == Actor::kChecker) {
        return check_remedy(judgement, condition);
    }
    std::string commands;
    for (const std::string &key : condition.superfluous) {
        commands += (commands.empty() ? "" : " && ") + ("trel_capctl del " + key);
    }
    return commands;
}

}  // namespace

std::string remedy(const Judgement &judgement, const Condition &condition) {
    if (condition.flaw == Flaw::kUnreadable) {  // what is written over it does not mend it
        Condition without = condition;
        without.flaw = Flaw::kNone;
        without.stored = false;
        return "trel_capctl del " + condition.key + " && " + remedy(judgement, without);
    }
    const std::string node = node_argument(judgement.card.node);
    const bool is_cm = class_in(judgement) == CardClass::kControlModule;
    switch (condition.kind) {
        case Kind::kInstalled:
            return (condition.flaw == Flaw::kOfAnotherNode
                        ? "trel_capctl card remove " + node_argument(condition.other_node) + " && "
                        : "") +
                   "trel_capctl card insert " + node +
                   (judgement.card_class ? " --class " + text(name_of(*judgement.card_class)) : "");
        case Kind::kChecked:
        case Kind::kNotDenied:
            return check_remedy(judgement, condition);
        case Kind::kReady:
        case Kind::kRealTime:
            return readiness_remedy(judgement, is_cm && !condition.stored ? " --class cm" : "");
        case Kind::kClassReady:
            return "trel_capctl ready " + text(rules_of(class_in(judgement)).scope) + " on";
        case Kind::kOwnRecord:
            return readiness_remedy(judgement, " --class " + text(name_of(class_in(judgement))));
        case Kind::kOneVoice:
            break;
    }
    return contradiction_remedy(judgement, condition);
}

std::string_view about_in_advance() {
    return "Ready in advance: applications are told that a card is ready because its class is, though it is not yet in "
           "real "
           "time.";
}

std::string missing_in_words(const Judgement &judgement) {
    std::vector<std::string> words;
    for (const Condition &each : judgement.conditions) {
        if (each.is_missing()) {
            words.push_back(text(name_of(each.kind)) + " (" +
                            (each.flaw == Flaw::kUnreadable ? "does not decode" : text(name_of(each.actor))) + ")");
        }
    }
    return command_line::joined(words);
}

std::string in_words(const Told &told) {
    return text(name_of_event(told.event)) + " (" + std::to_string(told.event) + "), " +
           (told.ready ? "ready" : "not ready") + (told.in_advance ? " in advance" : "") + ", to those of " +
           text(registration_of(told.list)) + ", because of " + told.key;
}

std::string in_words(Actor actor) {
    const std::string_view task = task_of(actor);
    return text(name_of(actor)) + (task.empty() ? "" : " (" + text(task) + ")");
}

std::vector<std::string> notes(const Judgement &judgement) {
    const ClassRules &rules = rules_of(class_in(judgement));
    std::vector<std::string> notes;
    if (ends_ready(judgement.told, rules.list) && !ends_ready(judgement.told_to_own, rules.list)) {
        notes.emplace_back(
            rules.card_class == CardClass::kFabric
                ? "fabric cards are announced in advance to those only who ask for CM_NODE (5) too."
                : "who asks for the events of HPS cards alone is not told: the card's model in card_info is not that "
                  "of its readiness record.");
    }
    if (judgement.verdict == Verdict::kInAdvance &&
        (is_unmet(judgement, Kind::kChecked) || is_unmet(judgement, Kind::kNotDenied))) {
        notes.emplace_back("an announcement in advance does not ask for the application's check.");
    }
    if (!judgement.card_class && judgement.told_type) {
        notes.emplace_back("node_type " + std::to_string(*judgement.told_type) +
                           " is of no class; it is followed as a line card that is checked.");
    } else if (!judgement.card_class && judgement.is_known) {
        notes.emplace_back(
            "no record tells its node type yet; until then it is followed as a line card that is checked.");
    }
    notes.insert(notes.end(), judgement.findings.begin(), judgement.findings.end());
    return notes;
}

std::string explain(const Judgement &judgement) {
    const Card &card = judgement.card;
    if (!judgement.is_known) {
        return node_text(judgement) + ": not ready\n\n" +
               (judgement.has_capabilities ? "No readiness record names it; there are capabilities of it.\n"
                                           : "No record of the store names it.\n") +
               instead_lines(judgement);
    }
    return node_text(judgement) + ", " + what_is(judgement) + ", slot " + slot_of(card) + ", model " +
           std::to_string(card.config_dev_type) + (card.name.empty() ? "" : ", " + command_line::quote(card.name)) +
           ": " + text(name_of(judgement.verdict)) + "\n\n" +
           (judgement.verdict == Verdict::kInAdvance ? text(about_in_advance()) + "\n\n" : "") +
           condition_lines(judgement) + missing_lines(judgement) + told_lines(judgement) + note_lines(judgement);
}

}  // namespace chassis
