// Changes drawn by lot: the same for the same seed, on every machine.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "scenario/steps.h"

namespace scenario {

struct RandomChanges {
    int32_t count = 0;
    uint32_t seed = 0;
    Time over{0};
    std::vector<std::string> kinds = {};  // of random_kinds(); empty: all
    std::vector<const NamedCard *> cards = {};
};

std::vector<std::string> random_kinds();
void add_random_changes(Course &course, const RandomChanges &changes);

}  // namespace scenario
