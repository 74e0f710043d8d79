// What a record speaks of: a card, a class of cards, or a capability.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "record/record.h"

namespace board {

// The node of a card's record: what it is, its check, its readiness.
std::optional<int32_t> node_of(const record::Record &record);

// Of a record of class readiness: glb, cm, fab or hps; else "".
std::string_view scope_of(const record::Record &record);

// Of a capability: "global", "class cm", "class fab", "class hps", "fe 3" or "cm 3", and its URL; else "".
std::string holder_of(const record::Record &record);
std::string_view url_of(const record::Record &record);

}  // namespace board
