// How far two words are apart, for suggestions on both sides of the console.
#ifndef QUIB_EDIT_DISTANCE_H
#define QUIB_EDIT_DISTANCE_H

#include <cstddef>
#include <string_view>

namespace quib {

// How many bytes must be put in, taken out, replaced, or exchanged with their neighbour to make one word the other.
size_t edit_distance(std::string_view a, std::string_view b);

}  // namespace quib

#endif
