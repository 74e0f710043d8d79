// node: the readiness of one node, as the card's own software tells it.
#include <memory>
#include <nlohmann/json.hpp>

#include <trel_cap/records.h>

#include "chassis/explanation.h"
#include "command_line/exit_status.h"
#include "verbs/card_options.h"
#include "verbs/print.h"
#include "verbs/value.h"
#include "verbs/verbs.h"

namespace capctl {

using namespace command_line;
using record::Record;

namespace {

struct Node {
    CardOptions options;
    std::string readiness;
    std::string real_time = "on";

    int run(Session &session) const;
};

// The model is part of the address: one that is stored is written again, unless another is named.
chassis::Card addressed(const KnownNode &known, const CardOptions &options) {
    chassis::Card card = options.card(known);
    const bool is_cm = chassis::class_of(card.node_type) == chassis::CardClass::kControlModule;
    const auto &stored = is_cm ? known.records().cm_ready : known.records().fe_ready;
    if (options.has_model() || stored.empty()) {
        return card;
    }
    if (stored.size() > 1) {
        throw Failure(kNegative, "node " + chassis::node_argument(card.node) + ": it has " +
                                     std::to_string(stored.size()) + " readiness records, such as " +
                                     stored.front()->key() + " and " + stored.back()->key() +
                                     "; say which with --model");
    }
    card.config_dev_type = std::get<int32_t>(stored.front()->get("index.config_dev_type"));
    return card;
}

int Node::run(Session &session) const {
    const bool is_ready = parse_ready(readiness);
    options.check();
    const KnownNode known(session.store(), options.node());
    const Record record = node_ready(addressed(known, options), is_ready, real_time == "on");
    session.store().write(record);
    print_written(session, record);
    return kDone;
}

}  // namespace

void add_node(Verbs &verbs) {
    const auto node = std::make_shared<Node>();
    const Command command = verbs.add("node", "Tell that a node is ready or not, as its card does",
                                      "  trel_capctl node 17 ready\n"
                                      "  trel_capctl node 17 ready --real-time off\n"
                                      "  trel_capctl node 0x1 unready --class cm\n",
                                      [node](Session &session) { return node->run(session); });
    node->options.add_to(command);
    command.add_option("ready|unready", node->readiness, "What to publish").required();
    command.add_option("--real-time", node->real_time, "Whether it is in real time: on (the default) or off")
        .type_name("on|off")
        .one_of({"on", "off"});
}

}  // namespace capctl
