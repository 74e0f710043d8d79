// A card as the page draws it.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string_view>

#include "chassis/judgement.h"

namespace board {

// ready, ready in advance, denied, not installed, not ready or contradictory.
std::string_view state_of(const chassis::Judgement &judgement);

// The judgement as JSON, and with it "state", and "place", the numbers of its device, slot and sub-slot.
nlohmann::ordered_json card_json(const chassis::Judgement &judgement);

}  // namespace board
