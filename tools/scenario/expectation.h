// What was to be told, read from a file and held against what was told.
#pragma once

#include <string>
#include <vector>

#include "scenario/cards.h"
#include "scenario/timeline.h"
#include "scenario/yaml.h"

namespace scenario {

// A list, or a map with the list as "events" and how strictly it is meant.
Expectation read_expected_events(const Value &value, const Cards &cards);
// The same with "lines". Other lines may come between them unless the file says otherwise.
Expectation read_expected_output(const Value &value);

bool is_as_expected(const Expectation &expected, std::vector<std::string> told);

// Where they differ: "- " before what was expected and not told, "+ " before what was told and not expected, "  "
// before what was both. Empty: as expected.
std::vector<std::string> differences(const Expectation &expected, const std::vector<std::string> &told);

}  // namespace scenario
