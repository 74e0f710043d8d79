// What happens to a store over time: every write, with the moment at which it is due.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "record/record.h"
#include "scenario/time.h"

namespace scenario {

struct Write {
    enum class Kind { kSet, kDelete };
    Kind kind;
    record::Record record;  // what is written; of one that is deleted, its address
};

// What is to have been told, and how strictly. Each thing is a line: an event as event_text() says it, or a line of a
// program's output.
struct Expectation {
    int line = 0;  // of the file
    std::vector<std::string> items;
    bool any_order = false;
    bool others = false;  // whether more than the items may have been told
};

// One step, done at once.
struct Moment {
    Time at;  // since the timeline began
    int line;
    std::string text;  // in the words of the scenario: "insert lc1, node 3"
    std::vector<Write> writes;
    std::shared_ptr<const Expectation> expected;  // judges all that was told since the one before it; none: nullptr
};

struct Timeline {
    std::vector<Moment> moments;  // ascending
    Time length{0};               // what is waited for at the end included
};

}  // namespace scenario
