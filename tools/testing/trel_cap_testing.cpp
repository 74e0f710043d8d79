#include "testing/trel_cap_testing.h"

#include <trel_cap/status.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "chassis/card.h"
#include "command_line/exit_status.h"
#include "scenario/player.h"
#include "scenario/scenario.h"
#include "store/snapshot.h"

struct TrelCapTesting {
    explicit TrelCapTesting(std::string its_name) : name(std::move(its_name)), store(name) {}

    std::string name;
    store::Store store;
    std::string error;
};

namespace {

using command_line::Failure;

// What the caller got wrong, apart from the store.
class BadArgument : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class BadScenario : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

std::string new_name() {
    static std::atomic<unsigned> count = 0;
    return "mem:trel_cap_testing." + std::to_string(getpid()) + "." + std::to_string(++count);
}

int32_t failed(TrelCapTesting &chassis, int32_t code, const char *why) {
    try {
        chassis.error = why;
    } catch (const std::bad_alloc &) {
        chassis.error.clear();  // the code says it alone
    }
    return code;
}

// Does it; what it throws becomes a code, and its text the chassis's error.
template <class Do>
int32_t attempt(TrelCapTesting *chassis, const Do &action) noexcept {
    if (chassis == nullptr) {
        return TREL_CAP_TESTING_E_ARGUMENT;
    }
    try {
        chassis->error.clear();
        action();
        return 0;
    } catch (const BadArgument &bad) {
        return failed(*chassis, TREL_CAP_TESTING_E_ARGUMENT, bad.what());
    } catch (const BadScenario &bad) {
        return failed(*chassis, TREL_CAP_TESTING_E_SCENARIO, bad.what());
    } catch (const std::exception &failure) {
        return failed(*chassis, TREL_CAP_TESTING_E_STORE, failure.what());
    }
}

const char *needed(const char *text, const char *name) {
    if (text == nullptr) {
        throw BadArgument(std::string(name) + " is NULL");
    }
    return text;
}

chassis::Card card_of(int32_t card_class, int32_t node) {
    switch (card_class) {
        case TREL_CAP_TESTING_LC:
            return chassis::usual_card(chassis::CardClass::kLineCard, node);
        case TREL_CAP_TESTING_FAB:
            return chassis::usual_card(chassis::CardClass::kFabric, node);
        case TREL_CAP_TESTING_CM:
            return chassis::usual_card(chassis::CardClass::kControlModule, node);
        case TREL_CAP_TESTING_HPS:
            return chassis::usual_card(chassis::CardClass::kHps, node);
        default:
            throw BadArgument("card_class: there is no class " + std::to_string(card_class));
    }
}

template <class Read>
void play(TrelCapTesting &chassis, double speed, const Read &read) {
    const scenario::Scenario scenario = [&] {
        try {
            return read();
        } catch (const Failure &failure) {
            throw BadScenario(failure.what());
        }
    }();
    scenario::play(chassis.store, scenario.before, {.speed = speed});
    scenario::play(chassis.store, scenario.steps, {.speed = speed});
}

record::Record capability(const char *type, const char *url) {
    const std::string address = needed(url, "url");
    if (address.empty() || address.size() > TREL_CAP_URL_MAX) {
        throw BadArgument("url: 1 to " + std::to_string(TREL_CAP_URL_MAX) + " bytes expected");
    }
    record::Record record(record::type_named(type));
    record.set("index.url", address);
    return record;
}

int32_t set_of_device(TrelCapTesting *chassis, const char *url, const char *field, const record::Value &value) {
    return attempt(chassis, [&] {
        record::Record record = capability("cap_table", url);
        record.set(field, value);
        chassis->store.write(record);
    });
}

}  // namespace

TrelCapTesting *trel_cap_testing_start() {
    try {
        return new TrelCapTesting(new_name());
    } catch (const std::exception &) {
        return nullptr;
    }
}

void trel_cap_testing_stop(TrelCapTesting *chassis) {
    const int32_t emptied = attempt(chassis, [&] {
        const store::Snapshot stored = store::Snapshot::of(chassis->store);
        for (const auto &[key, record] : stored.records()) {
            chassis->store.remove(record);
        }
    });
    if (emptied == 0) {
        delete chassis;
    }
}

const char *trel_cap_testing_store(const TrelCapTesting *chassis) {
    return chassis == nullptr ? "" : chassis->name.c_str();
}

const char *trel_cap_testing_error(const TrelCapTesting *chassis) {
    return chassis == nullptr ? "the chassis is NULL" : chassis->error.c_str();
}

int32_t trel_cap_testing_deliver(MomClient *client) {
    int32_t all = 0;
    for (int32_t made = 0; (made = ox_mom_client_process(client, 0)) != 0; all += made) {
        if (made < 0) {
            return made;
        }
    }
    return all;
}

int32_t trel_cap_testing_play(TrelCapTesting *chassis, const char *text) {
    return attempt(chassis,
                   [&] { play(*chassis, 0, [&] { return scenario::read_text(needed(text, "text"), "scenario"); }); });
}

int32_t trel_cap_testing_play_file(TrelCapTesting *chassis, const char *path) {
    return attempt(chassis, [&] { play(*chassis, 0, [&] { return scenario::read_file(needed(path, "path")); }); });
}

int32_t trel_cap_testing_play_file_at(TrelCapTesting *chassis, const char *path, double speed) {
    return attempt(chassis, [&] {
        if (!(speed > 0)) {
            throw BadArgument("speed: more than 0 expected");
        }
        play(*chassis, speed, [&] { return scenario::read_file(needed(path, "path")); });
    });
}

int32_t trel_cap_testing_insert(TrelCapTesting *chassis, int32_t card_class, int32_t node) {
    return attempt(chassis, [&] { chassis->store.write(chassis::card_info(card_of(card_class, node))); });
}

int32_t trel_cap_testing_remove(TrelCapTesting *chassis, int32_t card_class, int32_t node) {
    return attempt(chassis, [&] { chassis->store.remove(chassis::card_info(card_of(card_class, node))); });
}

int32_t trel_cap_testing_check(TrelCapTesting *chassis, int32_t card_class, int32_t node, int32_t result) {
    return attempt(chassis, [&] {
        const record::Record record = chassis::check_result(card_of(card_class, node), result == TREL_CAP_TESTING_PASS);
        if (result == TREL_CAP_TESTING_WITHDRAW) {
            chassis->store.remove(record);
        } else if (result == TREL_CAP_TESTING_PASS || result == TREL_CAP_TESTING_DENY) {
            chassis->store.write(record);
        } else {
            throw BadArgument("result: there is no result " + std::to_string(result));
        }
    });
}

int32_t trel_cap_testing_ready(TrelCapTesting *chassis, int32_t card_class, int32_t node, int32_t real_time) {
    return attempt(chassis,
                   [&] { chassis->store.write(chassis::node_ready(card_of(card_class, node), true, real_time != 0)); });
}

int32_t trel_cap_testing_unready(TrelCapTesting *chassis, int32_t card_class, int32_t node) {
    return attempt(chassis, [&] { chassis->store.write(chassis::node_ready(card_of(card_class, node), false, true)); });
}

int32_t trel_cap_testing_withdraw(TrelCapTesting *chassis, int32_t card_class, int32_t node) {
    return attempt(chassis,
                   [&] { chassis->store.remove(chassis::node_ready(card_of(card_class, node), false, true)); });
}

int32_t trel_cap_testing_scope_ready(TrelCapTesting *chassis, const char *scope, int32_t ready) {
    return attempt(chassis, [&] {
        const std::string name = needed(scope, "scope");
        const std::vector<std::string> names = chassis::scope_names();
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            throw BadArgument("scope: there is no scope \"" + name + "\"");
        }
        chassis->store.write(chassis::scope_ready(name, ready != 0));
    });
}

int32_t trel_cap_testing_set_bool(TrelCapTesting *chassis, const char *url, int32_t value) {
    return set_of_device(chassis, url, "bool_value", value != 0);
}

int32_t trel_cap_testing_set_int(TrelCapTesting *chassis, const char *url, int32_t value) {
    return set_of_device(chassis, url, "int32_value", value);
}

int32_t trel_cap_testing_set_node_str(TrelCapTesting *chassis, int32_t card_class, int32_t node, const char *url,
                                      const char *value) {
    return attempt(chassis, [&] {
        const bool is_control_module =
            chassis::class_of(card_of(card_class, node).node_type) == chassis::CardClass::kControlModule;
        record::Record record = capability(is_control_module ? "cap_cm_glb_table" : "cap_glb_table", url);
        record.set("index.node", node);
        record.set("str_value", std::string(needed(value, "value")));
        chassis->store.write(record);
    });
}
