// Records written as such: capabilities of any scope, and whatever a store can hold.
#pragma once

#include <string>
#include <vector>

#include "scenario/steps.h"

namespace scenario {

// The keys that a capability's step may have beside its URL.
std::vector<std::string> capability_options();
void change_capability(Course &course, const Fields &step, const Cards &cards);

// "set" with a key and "fields", or with a whole record as tools print it in JSON.
void set_record(Course &course, const Fields &step);
void delete_records(Course &course, const Value &keys);

}  // namespace scenario
