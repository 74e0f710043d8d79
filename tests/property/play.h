// Histories, played to the library and to the model at once.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "history.h"

namespace property {

struct Disagreement {
    size_t step = 0;  // of the history that was played
    std::string what;
};

// Plays a history on a thread of its own. Nothing when the library does as the model says.
std::optional<Disagreement> play(const History &history);

// The shortest beginning of a history on which they disagree, less every step that it does not need for that.
using Player = std::function<std::optional<Disagreement>(const History &)>;
History shrink(History history, const Player &player);

// A history in words, with what was found at its end.
std::string describe(const History &history, const Disagreement &disagreement);

}  // namespace property
