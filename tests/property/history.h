// A history: what happens to a thread that follows readiness, step by step, as data. A step holds everything that it
// depends on, so that any part of a history can be played alone.
#pragma once

#include <array>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <variant>
#include <vector>

namespace property {

enum class Processor {
    kSystem,  // the states: of the device, and of three card classes
    kFab,
    kCm,
    kHps,
    kFeNode,  // the readiness of nodes
    kFabNode,
    kCmNode,
    kHpsNode,
    kInstall,
    kCheck,
};
inline constexpr int kProcessors = 10;

inline bool follows_a_state(Processor processor) { return processor <= Processor::kHps; }

// What is wrong with a message.
enum class Flaw { kNone, kNoResult, kErrorCode, kNoRecord, kNoIndex, kNoStaticInfo };

// A message, whichever the type of its record. Booleans are numbers as the record holds them: all but 0 are true.
struct Report {
    int32_t cmd = 4;
    Flaw flaw = Flaw::kNone;
    int32_t node = 0;
    int32_t config_dev_type = 0;
    int32_t devid = 0;
    int32_t slotid = 0;
    int32_t sslotid = 0;
    int32_t node_type = 0;
    int32_t ready = 0;
    int32_t real_time = 0;
    int32_t is_online = 0;
    bool denied = false;

    bool operator==(const Report &) const = default;
};

// An entry of the node list. Flags are numbers, so that one that is neither 0 nor 1 shows.
struct Node {
    int32_t node = 0;
    int32_t config_dev_type = 0;
    int32_t devid = 0;
    int32_t slotid = 0;
    int32_t sslotid = 0;
    int32_t is_online = 0;
    int32_t cns = 0;
    int32_t ready = 0;
    int32_t node_type = 0;
    int32_t real_time = 0;
    int32_t dm_install = 0;
    int32_t app_df_chk = 0;

    bool operator==(const Node &) const = default;
};

// The store's answers, in the order of the questions. Questions beyond them are answered with success and nothing.
struct ScanAnswer {
    int32_t status = 0;
    std::vector<Report> reports;
};
struct StateAnswer {
    int32_t error = 0;
    bool exists = false;
    int32_t ready = 0;
};
struct Answers {
    std::vector<ScanAnswer> scans;
    std::vector<StateAnswer> states;
    std::vector<int32_t> subscriptions;
};

// The five lists of callbacks.
enum class List { kFe, kFab, kCm, kHps, kLcAndHps };

// The process's registrations: made once, because nothing takes them back.
struct Registration {
    List list;
    const char *name;
    uint32_t mask;
};
inline constexpr std::array<Registration, 12> kRegistrations = {{{List::kFe, "all", 0x03},
                                                                 {List::kFe, "deaf", 0},
                                                                 {List::kFab, "class", 0x08},
                                                                 {List::kFab, "all", 0xffffffff},
                                                                 {List::kFab, "deaf", 0},
                                                                 {List::kCm, "node", 0x20},
                                                                 {List::kCm, "all", 0x24},
                                                                 {List::kHps, "all", 0xc0},
                                                                 {List::kHps, "node", 0x40},
                                                                 {List::kHps, "class", 0x80},
                                                                 {List::kLcAndHps, "all", 0x100},
                                                                 {List::kLcAndHps, "deaf", 0}}};

// What can happen.
struct Deliver {
    Processor processor;
    Report report;
};
struct DeliverNothing {  // not even a message
    Processor processor;
};
struct ClearValidated {};
struct Reconnect {};
struct AskForEvents {  // registers again: changes the thread's flags, and nothing else
    size_t registration;
    uint32_t mask;
};
struct Add {  // to the node list, past the processors
    Node node;
};
struct Delete {
    int32_t node;
    int32_t config_dev_type;
};
using Action = std::variant<Deliver, DeliverNothing, ClearValidated, Reconnect, AskForEvents, Add, Delete>;

// A step: what happens, and under which circumstances.
struct Step {
    Action action;
    Answers answers;
    int32_t log_level = 1;
    uint32_t failing_additions = 0;  // bit n: the addition of a node that comes nth, from 0, fails
    uint32_t clearing_events = 0;    // bit n: callbacks of event n clear the readiness of the event's class
};

using History = std::vector<Step>;

// The class whose readiness the callbacks of an event clear, as the processor of its state.
inline Processor class_of_event(int32_t event) {
    constexpr std::array<Processor, 9> kClasses = {Processor::kSystem, Processor::kSystem, Processor::kCm,
                                                   Processor::kFab,    Processor::kFab,    Processor::kCm,
                                                   Processor::kHps,    Processor::kHps,    Processor::kHps};
    return kClasses.at(static_cast<size_t>(event));
}

std::ostream &operator<<(std::ostream &out, Processor processor);
std::ostream &operator<<(std::ostream &out, List list);
std::ostream &operator<<(std::ostream &out, const Node &node);
std::ostream &operator<<(std::ostream &out, const Step &step);

}  // namespace property
