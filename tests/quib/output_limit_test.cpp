// Output that is too much, or that there is no room for.
#include "output.h"

#include <sys/resource.h>

#include <algorithm>
#include <vector>

namespace quib_test {
namespace {

constexpr size_t kOutputLimit = size_t{64} << 20U;
constexpr const char *kNoRoom =
    "the program has no room for the output: no descriptors, no memory, or a limit on its files";

using OutputLimitTest = OutputTest;

void print_bytes(size_t count) {
    const std::string block(size_t{1} << 16U, 'x');
    for (size_t left = count; left > 0;) {
        const size_t now = std::min(left, block.size());
        fwrite(block.data(), 1, now, stdout);
        left -= now;
    }
}

TEST_F(OutputLimitTest, UpToALimit) {
    const Answer exactly = answer_of([] { print_bytes(kOutputLimit); });
    EXPECT_EQ(exactly.output.size(), kOutputLimit);
    EXPECT_EQ(exactly.errors, "");
    EXPECT_EQ(exactly.code, 0);
}

TEST_F(OutputLimitTest, BeyondTheLimitItIsCutAndNothingOfItComesLater) {
    Operator mine = connect();
    const OutputFile file(root() + "/output");
    for (const size_t beyond : {size_t{1}, size_t{20} << 20U}) {
        hook = [beyond] {
            print_bytes(kOutputLimit + beyond);
            fputs("still in the stream's buffer", stdout);
        };
        const Answer cut = ask(mine, "hook");
        EXPECT_EQ(cut.output.size(), kOutputLimit);
        EXPECT_EQ(cut.errors, "the output was cut after 67108864 bytes\n");
        EXPECT_EQ(cut.code, 0);
    }
    EXPECT_EQ(ferror(stdout), 0);
    printf("the program's");
    EXPECT_EQ(file.content(), "the program's");
}

TEST_F(OutputLimitTest, NoCommandIsRunWhenDescriptorsAreShort) {
    Operator mine = connect();
    hook = [] { puts("before"); };
    EXPECT_EQ(ask(mine, "hook"), printed("before\n"));  // UBSan needs a descriptor at the first virtual call
    hook = [] { ADD_FAILURE() << "called"; };
    std::vector<int> taken;
    for (int fd = dup(STDERR_FILENO); fd >= 0; fd = dup(STDERR_FILENO)) {
        taken.push_back(fd);
    }
    const Answer answer = ask(mine, "hook");
    for (const int fd : taken) {
        close(fd);
    }
    EXPECT_EQ(answer, refused(kNoRoom, 5));
    hook = [] { puts("again"); };
    EXPECT_EQ(ask(mine, "hook"), printed("again\n"));
}

TEST_F(OutputLimitTest, NoCommandIsRunWhenFilesMayNotBeLargeEnough) {
    Operator mine = connect();
    hook = [] { ADD_FAILURE() << "called"; };
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit small{.rlim_cur = kOutputLimit, .rlim_max = before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const Answer answer = ask(mine, "hook");
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_EQ(answer, refused(kNoRoom, 5)) << "and the program is not ended by a signal";
}

}  // namespace
}  // namespace quib_test
