// Has each allocation of a call fail in turn.
#pragma once

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "allocations.h"

namespace test_support {

// Calls prepare(), then call() with its 1st, 2nd, 3rd … allocation failing, alone and with all that follow, and then
// check() with what call() returned and whether it came to that; until it makes fewer allocations, or a check fails.
// Returns how often one failed.
inline int fail_each_allocation(const std::function<void()> &prepare, const std::function<int32_t()> &call,
                                const std::function<void(int32_t status, bool failed)> &check) {
    constexpr int kMost = 5000;  // more means that the call never ends
    int failures = 0;
    for (const auto length : {FailingAllocations::Length::kOnce, FailingAllocations::Length::kFromThenOn}) {
        bool failed = true;
        for (int nth = 1; failed && nth < kMost && !testing::Test::HasFailure(); ++nth) {
            prepare();
            int32_t status = 0;
            {
                const FailingAllocations failing(nth, length);
                status = call();
                failed = an_allocation_failed();
            }
            failures += failed ? 1 : 0;
            SCOPED_TRACE("allocation " + std::to_string(nth) +
                         (length == FailingAllocations::Length::kOnce ? "" : " and on") + ", which returned " +
                         std::to_string(status));
            check(status, failed);
        }
        EXPECT_FALSE(failed && !testing::Test::HasFailure()) << "it never ends";
    }
    return failures;
}

}  // namespace test_support
