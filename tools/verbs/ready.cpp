// ready: whether the device, or a card class, is ready.
#include <memory>
#include <nlohmann/json.hpp>

#include "chassis/card.h"
#include "command_line/exit_status.h"
#include "command_line/names.h"
#include "command_line/streams.h"
#include "command_line/text.h"
#include "record/record_json.h"
#include "verbs/print.h"
#include "verbs/value.h"
#include "verbs/verbs.h"

namespace capctl {

using namespace command_line;
using record::Record;

namespace {

struct Ready {
    std::string scope;
    std::string value;
    Option value_option;

    int run(Session &session) const;
};

// What nobody has published is not ready.
bool show(Session &session, const Record &address) {
    const auto stored = session.store().read(address);
    const bool ready = stored && std::get<bool>(stored->get("ready"));
    if (session.format == Format::kText) {
        write_output(ready ? "on\n" : "off\n");
    } else {
        print_written(session, stored ? *stored : Record(address.type()));
    }
    return ready;
}

int Ready::run(Session &session) const {
    const bool publishes = value_option.is_given();
    const Record record = chassis::scope_ready(scope, publishes && parse_switch("on|off", value));
    if (!publishes) {
        return show(session, record) ? kDone : kNegative;
    }
    session.store().write(record);
    print_written(session, record);
    return kDone;
}

}  // namespace

void add_ready(Verbs &verbs) {
    const auto ready = std::make_shared<Ready>();
    const Command command = verbs.add("ready", "Print or publish whether a scope is ready",
                                      "  trel_capctl ready glb on\n"
                                      "  trel_capctl ready fab && echo fabric cards are ready\n",
                                      [ready](Session &session) { return ready->run(session); });
    command.add_option("SCOPE", ready->scope, "glb (the device), cm, fab or hps (a card class)").required();
    ready->value_option = command.add_option("on|off", ready->value, "What to publish; without it nothing is written");
}

}  // namespace capctl
