// check: the outcome of an application's check of a card, as its checking process tells it.
#include <memory>
#include <nlohmann/json.hpp>

#include <trel_cap/records.h>

#include "chassis/classes.h"
#include "chassis/explanation.h"
#include "command_line/exit_status.h"
#include "command_line/program.h"
#include "verbs/card_options.h"
#include "verbs/print.h"
#include "verbs/value.h"
#include "verbs/verbs.h"

namespace capctl {

using namespace command_line;
using record::Record;

namespace {

struct Check {
    CardOptions options;
    std::string outcome;

    int run(Session &session) const;
};

// Where the card is, or else where a result is that was told before: both have the same kind of address.
Record result_of(const KnownNode &known, const chassis::Card &card, bool passed) {
    Record result = check_result(card, passed);
    const auto &records = known.records();
    const std::vector<const Record *> &placed = records.checks.empty() ? records.cards : records.checks;
    if (!placed.empty()) {
        result.set("index.t_mod", placed.back()->get("index.t_mod"));
    }
    return result;
}

void tell(Session &session, const KnownNode &known, const chassis::Card &card, bool passed) {
    const Record result = result_of(known, card, passed);
    for (const Record *before : known.records().checks) {
        if (before->key() != result.key()) {
            throw Failure(kNegative, before->key() + ": a result for node " + chassis::node_argument(card.node) +
                                         " is stored there; withdraw it first");
        }
    }
    session.store().write(result);
    print_written(session, result);
}

void withdraw(Session &session, const KnownNode &known, int32_t node) {
    if (known.records().checks.empty()) {
        throw Failure(kNegative, "node " + chassis::node_argument(node) + ": no result of a check is stored");
    }
    for (const Record *result : known.records().checks) {
        session.store().remove(*result);
        print_written(session, *result);
    }
}

int Check::run(Session &session) const {
    check_choice(outcome, {"pass", "deny", "withdraw"});
    options.check();
    if (outcome == "withdraw") {
        options.refuse_all("withdraw takes the node only: what is stored of its check goes");
    }
    const KnownNode known(session.store(), options.node());
    if (outcome == "withdraw") {
        withdraw(session, known, options.node());
        return kDone;
    }
    const chassis::Card card = options.card(known);
    tell(session, known, card, outcome == "pass");
    if (!chassis::is_checked(card.node_type)) {
        complain("node " + chassis::node_argument(card.node) + " has node type " + std::to_string(card.node_type) +
                 ", and only line cards of other types than 1 are checked: it is ready or not without this result");
    }
    return kDone;
}

}  // namespace

void add_check(Verbs &verbs) {
    const auto check = std::make_shared<Check>();
    const Command command = verbs.add("check", "Pass or deny a card, as the application's checker does",
                                      "  trel_capctl check 17 pass\n"
                                      "  trel_capctl check 0x11 deny\n"
                                      "  trel_capctl check 17 withdraw\n",
                                      [check](Session &session) { return check->run(session); });
    check->options.add_to(command);
    command.add_option("pass|deny|withdraw", check->outcome, "Its outcome; withdrawn, the card is unchecked")
        .required();
}

}  // namespace capctl
