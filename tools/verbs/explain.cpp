// explain: why a card is ready or not, and which record leads to which event.
#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>

#include "chassis/explanation.h"
#include "chassis/judgement_json.h"
#include "chassis/scopes.h"
#include "command_line/exit_status.h"
#include "command_line/names.h"
#include "command_line/program.h"
#include "command_line/streams.h"
#include "command_line/text.h"
#include "record/field_text.h"
#include "store/snapshot.h"
#include "verbs/client_log.h"
#include "verbs/colour.h"
#include "verbs/explain_events.h"
#include "verbs/input.h"
#include "verbs/print.h"
#include "verbs/selection.h"
#include "verbs/verbs.h"

namespace capctl {

using namespace command_line;
using chassis::Judgement;
using chassis::Verdict;
using store::Snapshot;
using Json = nlohmann::ordered_json;

namespace {

constexpr const char *kNoNode = "No record names a node.";

struct Explain {
    std::string node;
    std::string file;
    bool events = false;

    int run(Session &session) const;
    Snapshot snapshot(Session &session) const;
};

Snapshot Explain::snapshot(Session &session) const {
    if (file.empty()) {
        tell_unreadable_here();
        return Snapshot::of(session.store(), chassis::judged_types());
    }
    return read_snapshot(file);
}

Colour colour_of(Verdict verdict) {
    switch (verdict) {
        case Verdict::kReady:
            return Colour::kGreen;
        case Verdict::kInAdvance:
            return Colour::kBlue;
        case Verdict::kNotReady:
            return Colour::kRed;
        default:
            return Colour::kYellow;
    }
}

// The lines of a text, one after the other, with their newlines.
template <class Visit>
void each_line(const std::string &text, Visit visit) {
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = text.find('\n', begin);
        visit(text.substr(begin, end - begin));
        begin = end + 1;
    }
}

std::string explanation(const Session &session, const Judgement &judgement) {
    std::string text;
    each_line(chassis::explain(judgement), [&](const std::string &line) {
        const bool is_missing = line.starts_with("  NO ");
        const bool is_verdict = text.empty();
        text += is_verdict ? painted(session, colour_of(judgement.verdict), line)
                           : (is_missing ? painted(session, Colour::kRed, line) : line);
        text += '\n';
    });
    return text;
}

int explain_node(const Session &session, const Judgement &judgement) {
    if (session.is_json()) {
        print_json(to_json(judgement));
    } else {
        write_output(explanation(session, judgement));
    }
    const bool is_readable =
        std::none_of(judgement.conditions.begin(), judgement.conditions.end(),
                     [](const chassis::Condition &each) { return each.flaw == chassis::Condition::Flaw::kUnreadable; });
    return !is_readable ? kUnreadable : is_ready(judgement.verdict) ? kDone : kNegative;
}

Row overview_row(const Judgement &judgement) {
    const std::string gap = "  ";
    const chassis::Card &card = judgement.card;
    return {chassis::node_argument(card.node) + gap,
            (judgement.card_class ? std::string(name_of(*judgement.card_class)) : "-") + gap,
            slot_of(card) + gap,
            std::to_string(card.config_dev_type) + gap,
            (card.name.empty() ? "-" : on_one_line(card.name)) + gap,
            std::string(name_of(judgement.verdict)) + gap,
            chassis::missing_in_words(judgement)};
}

std::string overview(const Session &session, const std::vector<Judgement> &judgements) {
    std::vector<Row> rows = {{"NODE  ", "CLASS  ", "SLOT  ", "MODEL  ", "NAME  ", "STATE  ", "MISSING"}};
    for (const Judgement &each : judgements) {
        rows.push_back(overview_row(each));
    }
    std::string text;
    auto judgement = judgements.begin();
    each_line(table(rows), [&](const std::string &line) {
        text += text.empty() ? line : painted(session, colour_of((judgement++)->verdict), line);
        text += '\n';
    });
    return text;
}

// What a reader has not met before, where it is in the table.
std::string overview_notes(const std::vector<Judgement> &judgements, const std::vector<chassis::Scope> &scopes) {
    bool is_in_advance = false;
    std::set<chassis::Actor> actors;
    if (std::any_of(scopes.begin(), scopes.end(), [](const chassis::Scope &each) { return each.is_missing(); })) {
        actors.insert(chassis::Actor::kReadinessCalculation);
    }
    for (const Judgement &each : judgements) {
        is_in_advance = is_in_advance || each.verdict == Verdict::kInAdvance;
        for (const chassis::Condition &condition : each.conditions) {
            if (condition.is_missing() && !task_of(condition.actor).empty()) {
                actors.insert(condition.actor);
            }
        }
    }
    std::string text = is_in_advance ? std::string(chassis::about_in_advance()) + "\n" : "";
    for (const chassis::Actor actor : actors) {
        text += "The " + std::string(name_of(actor)) + " " + std::string(task_of(actor)) + ".\n";
    }
    return text.empty() ? "" : "\n" + text;
}

std::string scopes_line(const std::vector<chassis::Scope> &scopes) {
    std::string line;
    for (const chassis::Scope &each : scopes) {
        line += (line.empty() ? "" : ", ") +
                (each.card_class == chassis::CardClass::kLineCard ? std::string("device")
                                                                  : "class " + std::string(each.name())) +
                (each.ready ? " ready" : " not ready");
    }
    return line + "\n\n";
}

// The scopes that keep the chassis from being ready, though no card may be to blame.
std::string scopes_missing(const Session &session, const std::vector<chassis::Scope> &scopes) {
    std::string text;
    for (const chassis::Scope &each : scopes) {
        if (each.is_missing()) {
            text += painted(session, Colour::kRed, "  " + std::string(each.name()) + ": " + why(each)) +
                    "; it waits for the readiness calculation\n      at a desk: " + remedy(each) + "\n";
        }
    }
    return text.empty() ? "" : "\nScopes that have cards, and are not ready:\n" + text;
}

// Each card, and each class that has a card; there is one at least.
bool is_all_ready(const std::vector<Judgement> &judgements, const std::vector<chassis::Scope> &scopes) {
    return !judgements.empty() && std::all_of(judgements.begin(), judgements.end(), [](const Judgement &each) {
        return is_ready(each.verdict);
    }) && std::none_of(scopes.begin(), scopes.end(), [](const chassis::Scope &each) { return each.is_missing(); });
}

int explain_all(const Session &session, const Snapshot &snapshot) {
    const std::vector<Judgement> judgements = chassis::judge_all(snapshot);
    const std::vector<chassis::Scope> scopes = scopes_of(snapshot, judgements);
    if (session.is_json()) {
        Json array = Json::array();
        const auto add = [&array](const auto &each) { array.push_back(to_json(each)); };
        std::for_each(judgements.begin(), judgements.end(), add);
        std::for_each(scopes.begin(), scopes.end(), add);
        print_list(session, array);
        complain(judgements.empty() ? kNoNode : "");
    } else {
        write_output(scopes_line(scopes) + (judgements.empty()
                                                ? std::string(kNoNode) + "\n"
                                                : overview(session, judgements) + scopes_missing(session, scopes) +
                                                      overview_notes(judgements, scopes)));
    }
    return end_with(snapshot.unreadable(), is_all_ready(judgements, scopes) ? kDone : kNegative);
}

int Explain::run(Session &session) const {
    if (events) {
        return explain_events(session);
    }
    if (node.empty()) {
        return explain_all(session, snapshot(session));
    }
    session.prints_only("explain NODE", {Format::kText, Format::kJson, Format::kNdjson});
    const int32_t number = record::parse_number("NODE", node);
    Judgement judgement = chassis::judge(snapshot(session), number);
    if (!judgement.is_known && file.empty()) {  // capabilities of it may be all that there is
        judgement = chassis::judge(Snapshot::of(session.store()), number);
    }
    return explain_node(session, judgement);
}

}  // namespace

void add_explain(Verbs &verbs) {
    const auto explain = std::make_shared<Explain>();
    const Command command = verbs.add("explain", "Say why cards are ready or not, and who has to act",
                                      "  trel_capctl explain\n"
                                      "  trel_capctl explain 0x11\n"
                                      "  trel_capctl explain 17 --from field.ndjson\n"
                                      "  trel_capctl explain --output json | jq '.[] | select(.missing != [])'\n"
                                      "  trel_capctl explain --events --output table\n",
                                      [explain](Session &session) { return explain->run(session); });
    const Option node = command.add_option("NODE", explain->node, "One node; without it all, what is wrong on top");
    const Option from =
        command.add_option("--from", explain->file, "A dump's file in place of the store, - for standard input");
    from.type_name("FILE");
    command.add_flag("--events", explain->events, "Which record leads to which event, and who is told, by class")
        .excludes(node)
        .excludes(from);
}

}  // namespace capctl
