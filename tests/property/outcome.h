// What can be seen of a step, in the library as in the model.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "history.h"

namespace property {

// A question to the store.
struct Question {
    enum Kind { kScan, kState, kSubscription } kind = kScan;
    int32_t db = 0;
    std::string type;                    // the record's full name
    std::optional<Processor> processor;  // that is to be given the answer

    bool operator==(const Question &) const = default;
};

struct Flags {
    uint32_t fe = 0;
    uint32_t fab_cm = 0;
    uint32_t hps = 0;
    uint32_t lc_and_hps = 0;

    bool operator==(const Flags &) const = default;
};

// What has been read of the store, by record type; the states by the processors that follow them.
struct Loaded {
    int32_t install = 0;
    int32_t check = 0;
    int32_t fe_node = 0;
    int32_t cm_node = 0;
    std::array<int32_t, 4> state = {};

    bool operator==(const Loaded &) const = default;
};

// An event, as one registration heard it.
struct Heard {
    size_t registration = 0;
    int32_t event = 0;
    std::optional<int32_t> node;  // none: the event came without
    int32_t ready = 0;
    Loaded loaded;  // at that moment
    std::array<int32_t, 4> class_ready = {};

    bool operator==(const Heard &) const = default;
};

struct State {
    std::vector<Node> nodes;
    Loaded loaded;
    std::array<int32_t, 4> class_ready = {};
    Flags flags;
    int32_t reconnecting = 0;

    bool operator==(const State &) const = default;
};

struct Outcome {
    int32_t code = 0;
    std::vector<Heard> heard;
    std::vector<Question> questions;
    State state;
    std::array<bool, 4> all_loaded = {};     // the validated tests
    std::optional<int32_t> preinstall_card;  // of the node that the step names

    bool operator==(const Outcome &) const = default;
};

// In words, the first thing in which they differ; empty when they do not.
std::string difference(const Outcome &expected, const Outcome &seen);

std::ostream &operator<<(std::ostream &out, const Heard &heard);
std::ostream &operator<<(std::ostream &out, const Question &question);

// The node that a step names.
std::optional<int32_t> node_of(const Step &step);

}  // namespace property
