// What the store's client says through the logging layer.
#pragma once

#include <string>
#include <string_view>

namespace capctl {

// From now on it is silent of losses, of what keeps the store away and of its return: the verb tells them itself, in
// words that fit its output. Whatever else the client says goes where it went before.
void tell_losses_here();

// The same in words.
std::string lost_words(const std::string &reason);
std::string still_lost_words(const std::string &reason);
inline constexpr std::string_view kBackWords = "the store is back";

// Records that do not decode are named on standard error as they are met, unless the verb names them itself from now
// on.
void tell_unreadable_here();

}  // namespace capctl
