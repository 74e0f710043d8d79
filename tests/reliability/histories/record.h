// What is written down of a history: what the store held, and what the application was told. In windows: all that is
// published in one arrives in it.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace histories {

// One thing that the application was told.
struct Told {
    enum class What : uint8_t {
        kNode,     // `ready` or not, of a node
        kValue,    // of the capability
        kGone,     // the capability
        kReturned  // the store is back
    };
    What what = What::kReturned;
    int32_t number = 0;  // the node, or the value
    bool ready = false;
    bool in_advance = false;  // the node's entry is not yet in real time
    bool is_loaded = true;    // all that readiness depends on has been read, by then
};

// What the store held of a node at any time in a window.
struct NodeInStore {
    bool was_installed = false;
    bool was_passed = false;
    bool was_ready = false;
    bool lacked_something = false;
    int writes = 0;  // of its records, deletions among them
};

struct Window {
    std::map<int32_t, NodeInStore> nodes;
    std::set<int32_t> values;  // of the capability
    bool was_without_value = false;
    std::vector<Told> told;
};

struct Level {
    uint32_t record_subscriptions = 0;
    uint32_t field_subscriptions = 0;
    int descriptors = 0;
    size_t bytes = 0;  // allocated in the process, less what the record itself takes
};

struct Record {
    std::vector<Window> windows;
    std::string application;  // what it takes to be so in the end
    std::string store;        // and what one that starts then does
    Level before;
    Level after;
    int32_t confirmed = -1;  // the last write of the application that was, while its server lived; -1: none was
    int32_t kept = -1;       // what the store has of it
};

}  // namespace histories
