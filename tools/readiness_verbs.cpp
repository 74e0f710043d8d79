// ready: whether the device, or a card class, is ready.
#include <trel_cap/records.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "command_line/exit_status.h"
#include "command_line/names.h"
#include "command_line/streams.h"
#include "command_line/text.h"
#include "record_json.h"
#include "value.h"
#include "verbs.h"

namespace capctl {

using namespace command_line;

namespace {

constexpr int32_t kReadyField = 5;

struct Scope {
    const char *name;
    const ProtobufCMessageDescriptor &type;
};

constexpr Scope kScopes[] = {
    {"glb", cap_glb_state__descriptor},
    {"cm", cap_cm_glb_state__descriptor},
    {"fab", cap_fab_glb_state__descriptor},
    {"hps", cap_hps_glb_state__descriptor},
};

// A state record of any scope: they differ in their type only.
static_assert(sizeof(CapGlbState) == sizeof(CapCmGlbState) && sizeof(CapGlbState) == sizeof(CapFabGlbState) &&
              sizeof(CapGlbState) == sizeof(CapHpsGlbState));

CapGlbState make_state(const Scope &scope, bool ready) {
    CapGlbState state;
    protobuf_c_message_init(&scope.type, &state);
    state.ready = ready;
    return state;
}

const Scope &scope_named(const std::string &name) {
    const auto *scope =
        std::find_if(std::begin(kScopes), std::end(kScopes), [&](const Scope &each) { return name == each.name; });
    if (scope == std::end(kScopes)) {
        std::vector<std::string> names;
        std::transform(std::begin(kScopes), std::end(kScopes), std::back_inserter(names),
                       [](const Scope &each) { return each.name; });
        throw Failure(kUsage, "SCOPE: glb, cm, fab or hps expected, not " + quote(name) + did_you_mean(name, names));
    }
    return *scope;
}

struct Ready {
    std::string scope;
    std::string value;
    const CLI::Option *value_option = nullptr;

    int run(Session &session) const;
};

void print_json_of(const CapGlbState &state, bool published) {
    print_json(record_json(state.base, {&kReadyField, published ? size_t{1} : 0}));
}

void publish(Session &session, const Scope &scope, bool ready) {
    const CapGlbState state = make_state(scope, ready);
    session.store.connect(TREL_CAP_DB_CAPABILITIES);
    session.store.write_object(TREL_CAP_DB_CAPABILITIES, state.base);
    if (session.json) {
        print_json_of(state, true);
    }
}

// What nobody has published is not ready.
bool show(Session &session, const Scope &scope) {
    session.store.connect(TREL_CAP_DB_CAPABILITIES);
    const CapGlbState request = make_state(scope, false);
    const Object stored = session.store.read_object(TREL_CAP_DB_CAPABILITIES, request.base);
    const bool ready = stored && reinterpret_cast<const CapGlbState *>(stored.get())->ready;
    if (session.json) {
        print_json_of(make_state(scope, ready), stored != nullptr);
    } else {
        write_output(ready ? "on\n" : "off\n");
    }
    return ready;
}

int Ready::run(Session &session) const {
    const Scope &wanted = scope_named(scope);
    if (value_option->count() == 0) {
        return show(session, wanted) ? kDone : kNegative;
    }
    publish(session, wanted, parse_switch("on|off", value));
    return kDone;
}

}  // namespace

void add_readiness_verbs(Verbs &verbs) {
    const auto ready = std::make_shared<Ready>();
    CLI::App &command = verbs.add("ready", "Print whether a scope is ready (on or off), or publish that",
                                  "  trel_capctl ready glb on\n"
                                  "  trel_capctl ready fab && echo fabric cards are ready\n",
                                  [ready](Session &session) { return ready->run(session); });
    command.add_option("SCOPE", ready->scope, "glb (the device), cm, fab or hps (a card class)")->required();
    ready->value_option = command.add_option("on|off", ready->value, "What to publish; without it nothing is written");
}

}  // namespace capctl
