// A layer that gets no memory for a message.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ox_zlog.h>

#include <new>

#include "child.h"
#include "log_line.h"

namespace {

thread_local bool failing = false;

}  // namespace

// It stands before that of the C++ library, for the layer too.
void *operator new[](std::size_t size, const std::nothrow_t &) noexcept {
    return failing ? nullptr : ::operator new[](size);
}

namespace zlog_test {

namespace {

using testing::ElementsAre;
using testing::EndsWith;

TEST(Memory, ThatIsExhaustedCutsALongMessageAndMasksWhatWouldBeEscaped) {
    const Outcome outcome = in_child([] {
        void *category = ox_zlog_init("c");
        failing = true;
        say(category, std::string(5000, 'm'));
        say(category, "forged\n\xc2\x9b\xc3\xa4\n");
        say(category, "usual");
        failing = false;
        return 0;
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(lines_of(outcome.error_output),
                ElementsAre(EndsWith(" speak:7 " + std::string(1023, 'm')), EndsWith(" speak:7 forged???\xc3\xa4"), "",
                            EndsWith(" speak:7 usual")));
}

}  // namespace

}  // namespace zlog_test
