// The fewest steps that still fail: parts are left out, large ones first, as long as what is left fails.
#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>

namespace histories {

template <class Steps, class Fails>
Steps shrink(Steps steps, Fails fails) {
    for (size_t part = std::max<size_t>(steps.size() / 2, 1);;) {
        bool shrunk = false;
        for (size_t from = 0; from < steps.size();) {
            Steps fewer(steps.begin(), steps.begin() + static_cast<std::ptrdiff_t>(from));
            fewer.insert(fewer.end(), steps.begin() + static_cast<std::ptrdiff_t>(std::min(from + part, steps.size())),
                         steps.end());
            if (fails(fewer)) {
                steps = std::move(fewer);
                shrunk = true;
            } else {
                from += part;
            }
        }
        if (part == 1 && !shrunk) {
            return steps;
        }
        part = shrunk ? part : part / 2;
    }
}

}  // namespace histories
