// A scenario: a chassis, what happens to it over time, and what an application is to be told of it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "scenario/timeline.h"

namespace scenario {

struct Scenario {
    std::string file;
    std::string about;                          // a sentence; may be empty
    std::map<int32_t, std::string> node_names;  // of the cards, by their nodes
    uint32_t follow = 0;                        // the events that a test follows, a bit each
    Timeline before;                            // what is there when the application starts
    Timeline steps;
    std::optional<Expectation> expected_output;  // of a program that is tested
    std::optional<int> expected_status;          // with which a program ends by itself

    bool expects_events() const;
};

// Both throw a Mistake, FILE:LINE:COLUMN and what was expected there, and have then done nothing; or a Failure
// (kFailed) when there is no such file, or it cannot be read.
Scenario read_file(const std::string &path);
Scenario read_text(std::string_view text, const std::string &name);

}  // namespace scenario
