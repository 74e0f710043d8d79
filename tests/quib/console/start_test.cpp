#include <algorithm>
#include <chrono>

#include "console_test.h"
#include "fake_module.h"

namespace console_test {

namespace {

class Started : public ConsoleTest {};

// The best of several, of as many as it takes: the machine may be busy with other things.
TEST_F(Started, InLessThanTwentyMilliseconds) {
    using std::chrono::steady_clock;
    constexpr auto kLimit = std::chrono::milliseconds(20);
    const FakeModule demo(socket("demo"), echo);
    const auto end = steady_clock::now() + std::chrono::seconds(30);
    auto best = steady_clock::duration::max();
    while (best >= kLimit && steady_clock::now() < end) {
        const auto from = steady_clock::now();
        ASSERT_EQ(run({"demo", "x"}).status, 0);
        best = std::min(best, steady_clock::now() - from);
    }
    EXPECT_LT(best, kLimit) << std::chrono::duration<double, std::milli>(best).count() << " ms";
}

}  // namespace

}  // namespace console_test
