#include "edit_distance.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace quib {

size_t edit_distance(std::string_view a, std::string_view b) {
    std::vector<size_t> before(b.size() + 1);
    std::vector<size_t> row(b.size() + 1);
    std::vector<size_t> next(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 1; i <= a.size(); ++i) {
        next[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t replaced = row[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            next[j] = std::min({row[j] + 1, next[j - 1] + 1, replaced});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                next[j] = std::min(next[j], before[j - 2] + 1);
            }
        }
        before.swap(row);
        row.swap(next);
    }
    return row.back();
}

}  // namespace quib
