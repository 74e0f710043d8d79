// Histories of a store, played over a real one.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "outcome.h"
#include "store_fixture.h"
#include "store_history.h"

namespace property {

struct StorePlayed {
    std::optional<std::string> disagreement;  // in words
    std::vector<Heard> heard;                 // all of it
    size_t missed = 0;                        // messages of what had happened while the connection was away
};

// On a thread of its own, and in a store of its own.
StorePlayed play(const StoreHistory &history, const test_support::StoreKind &kind);

}  // namespace property
