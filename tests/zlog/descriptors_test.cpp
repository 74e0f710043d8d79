// A program that has closed its standard streams: no log takes their place.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <ox_zlog.h>
#include <unistd.h>

#include <thread>

#include "child.h"
#include "log_line.h"

namespace zlog_test {

namespace {

bool all_closed() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(fd, F_GETFD) >= 0) {
            return false;
        }
    }
    return true;
}

void log_with_closed_streams(const std::string &file) {
    setenv("OX_ZLOG_CONF", file.c_str(), 1);
    const int usual = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        close(fd);
    }
    void *category = ox_zlog_init("c");
    say(category, "first");
    say(category, "second");
    const bool left_alone = all_closed();
    dup2(usual, STDERR_FILENO);
    EXPECT_TRUE(left_alone);
}

TEST(Descriptors, OfClosedStreamsAreNoLogs) {
    const TemporaryDirectory place;
    const std::string log = place.file("log");
    const std::string file =
        place.write("zlog.conf", "[formats]\nbare = \"%m%n\"\n[rules]\n*.* \"" + log + "\"; bare\n");
    const Outcome outcome = in_child([&file] {
        log_with_closed_streams(file);
        return testing::Test::HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(outcome.status, 0) << outcome.error_output;
    EXPECT_EQ(read_file(log), "first\nsecond\n");
}

TEST(Descriptors, OfClosedStreamsAreNoPipesOfRules) {
    const TemporaryDirectory place;
    const std::string log = place.file("log");
    const std::string script = place.write("script", "head -n 2 >" + log + ".new; mv " + log + ".new " + log + "\n");
    const std::string file =
        place.write("zlog.conf", "[formats]\nbare = \"%m%n\"\n[rules]\n*.* | exec sh " + script + "; bare\n");
    const Outcome outcome = in_child([&file] {
        log_with_closed_streams(file);
        return testing::Test::HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(outcome.status, 0) << outcome.error_output;
    while (access(log.c_str(), F_OK) != 0) {
        std::this_thread::yield();
    }
    EXPECT_EQ(read_file(log), "first\nsecond\n");
}

}  // namespace

}  // namespace zlog_test
