// The time line: what happens, in plain words.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "store/follower.h"

namespace board {

struct Line {
    std::string kind;             // card, check, node, class, capability, record, state or store
    std::optional<int32_t> node;  // that it speaks of
    std::string text;             // a sentence without its full stop
};

// A record that was written for the first time, written again, or deleted.
Line line_of(const store::Change &change, bool is_new);

// A card whose state is another than before.
Line line_of_state(int32_t node, std::string_view state);

// {"id", "time", "kind", "node", "text"}, of which "node" may be missing.
nlohmann::ordered_json line_json(const Line &line, uint64_t id, int64_t time_ms);

}  // namespace board
