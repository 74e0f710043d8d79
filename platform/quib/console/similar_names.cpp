#include "similar_names.h"

#include <algorithm>
#include <limits>

#include "edit_distance.h"

namespace console {

std::vector<std::string> similar_names(std::string_view word, const std::vector<std::string> &names) {
    constexpr size_t kLettersPerMistake = 3;
    constexpr size_t kShortestPart = 3;
    const size_t limit = std::max<size_t>(1, word.size() / kLettersPerMistake);
    size_t best = std::numeric_limits<size_t>::max();
    std::vector<std::string> similar;
    for (const std::string &name : names) {
        // An operator may know the application's name only, which is the module's after what all have in common.
        const bool part = word.size() >= kShortestPart && name.find(word) != std::string::npos;
        const size_t mistakes = part ? 0 : quib::edit_distance(word, name);
        if (mistakes <= limit && mistakes <= best) {
            if (mistakes < best) {
                similar.clear();
            }
            best = mistakes;
            similar.push_back(name);
        }
    }
    return similar;
}

}  // namespace console
