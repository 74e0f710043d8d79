#include "similar_names.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace console {

namespace {

// How many letters must be added, left out, changed or swapped with the next to make one of the other.
size_t distance(std::string_view from, std::string_view to) {
    std::vector<std::vector<size_t>> cost(from.size() + 1, std::vector<size_t>(to.size() + 1));
    std::iota(cost[0].begin(), cost[0].end(), 0);
    for (size_t i = 1; i <= from.size(); ++i) {
        cost[i][0] = i;
        for (size_t j = 1; j <= to.size(); ++j) {
            const size_t change = from[i - 1] == to[j - 1] ? 0 : 1;
            cost[i][j] = std::min({cost[i - 1][j] + 1, cost[i][j - 1] + 1, cost[i - 1][j - 1] + change});
            if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1]) {
                cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
            }
        }
    }
    return cost[from.size()][to.size()];
}

}  // namespace

std::vector<std::string> similar_names(std::string_view word, const std::vector<std::string> &names) {
    constexpr size_t kLettersPerMistake = 3;
    constexpr size_t kShortestPart = 3;
    const size_t limit = std::max<size_t>(1, word.size() / kLettersPerMistake);
    size_t best = std::numeric_limits<size_t>::max();
    std::vector<std::string> similar;
    for (const std::string &name : names) {
        // An operator may know the application's name only, which is the module's after what all have in common.
        const bool part = word.size() >= kShortestPart && name.find(word) != std::string::npos;
        const size_t mistakes = part ? 0 : distance(word, name);
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
