// A history of a store, and of an application that follows it from some moment on.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <variant>
#include <vector>

#include "history.h"

namespace property {

// Of the processors that follow a record type the first stands for the type; the fabric's and the HPS cards' node
// readiness is the line cards'.
struct Write {
    Processor type;
    Report report;
};
struct Erase {
    Processor type;
    Report report;  // of which the index counts
};
struct Start {};   // of the application: until then nobody follows
struct Settle {};  // lets everything arrive
struct Lose {      // the application's connection
    enum How { kNotifications, kServer, kServerWithItsData } how;
};
using StoreEvent = std::variant<Write, Erase, Start, Settle, Lose>;

struct StoreHistory {
    std::vector<AskForEvents> asked;  // by the application, before it starts
    uint32_t clearing_events = 0;     // as in a step
    std::vector<StoreEvent> events;
};

// Several hundred records, ended by a Settle. Without a server a connection cannot be lost.
StoreHistory random_store_history(uint64_t seed, bool has_server);

std::ostream &operator<<(std::ostream &out, const StoreEvent &event);

}  // namespace property
