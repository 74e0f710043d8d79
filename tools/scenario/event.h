// The events that an application is told, as scenarios and their tests write them.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace scenario {

struct Event {
    int32_t code;
    bool of_node;  // node and ready count
    int32_t node = 0;
    bool ready = true;
};

// In the order of their codes: system, fe_node, ...
std::vector<std::string> event_names();
bool is_of_node(int32_t code);
// All events, a bit each.
uint32_t every_event();

// As it stands in a file: "system", "{event: fe_node, node: lc1, ready: no}". A node without a name is its number.
std::string event_text(const Event &event, const std::map<int32_t, std::string> &node_names);

}  // namespace scenario
