#include "scenario/event.h"

#include <trel_cap/events.h>

#include <iterator>

namespace scenario {

namespace {

struct Kind {
    const char *name;
    bool of_node;
};

constexpr Kind kKinds[] = {
    {"system", false}, {"fe_node", true},  {"cm", false},  {"fab", false},        {"fab_node", true},
    {"cm_node", true}, {"hps_node", true}, {"hps", false}, {"lc_and_hps", false},
};
static_assert(std::size(kKinds) == TREL_CAP_EVENT_LC_AND_HPS + 1);

}  // namespace

std::vector<std::string> event_names() {
    std::vector<std::string> names;
    for (const Kind &kind : kKinds) {
        names.emplace_back(kind.name);
    }
    return names;
}

bool is_of_node(int32_t code) { return kKinds[code].of_node; }

uint32_t every_event() { return TREL_CAP_EVENT_BIT(std::size(kKinds)) - 1; }

std::string event_text(const Event &event, const std::map<int32_t, std::string> &node_names) {
    std::string name = kKinds[event.code].name;
    if (!event.of_node) {
        return name;
    }
    const auto known = node_names.find(event.node);
    const std::string node = known == node_names.end() ? std::to_string(event.node) : known->second;
    return "{event: " + name + ", node: " + node + ", ready: " + (event.ready ? "yes}" : "no}");
}

}  // namespace scenario
