// Suggestions for a name that is mistyped.
#ifndef QUIB_CONSOLE_SIMILAR_NAMES_H
#define QUIB_CONSOLE_SIMILAR_NAMES_H

#include <string>
#include <string_view>
#include <vector>

namespace console {

// Of the names, those that look most like what may have been meant.
std::vector<std::string> similar_names(std::string_view word, const std::vector<std::string> &names);

}  // namespace console

#endif
