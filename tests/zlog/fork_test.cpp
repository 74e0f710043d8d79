#include <gtest/gtest.h>
#include <ox_zlog.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include "child.h"
#include "log_line.h"

namespace zlog_test {

namespace {

constexpr int kForks = 100;

[[noreturn]] void be_a_child() {
    alarm(20);
    say(ox_zlog_init("child"), "from the child");
    _exit(0);
}

// Forks while other threads are inside the logging layer; returns how many children did not come to their end.
int fork_among_loggers() {
    std::atomic<bool> stop = false;
    std::vector<std::thread> loggers(3);
    for (std::thread &logger : loggers) {
        logger = std::thread([&stop] {
            for (void *category = ox_zlog_init("parent"); !stop; ox_zlog_init("parent")) {
                say(category, "from the parent");
            }
        });
    }
    int failed = 0;
    for (int i = 0; i < kForks; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            be_a_child();
        }
        int status = 0;
        waitpid(child, &status, 0);
        failed += WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : 1;
        if (failed != 0) {
            break;
        }
    }
    stop = true;
    for (std::thread &logger : loggers) {
        logger.join();
    }
    return failed;
}

TEST(Fork, LeavesTheChildAbleToLogAndToInitialise) {
    const Outcome outcome = in_child(fork_among_loggers);
    EXPECT_EQ(outcome.status, 0);
    const std::vector<std::string> lines = lines_of(outcome.error_output);
    const auto from_children = std::count_if(lines.begin(), lines.end(), [](const std::string &line) {
        return line.ends_with(" ERROR child speak:7 from the child");
    });
    EXPECT_EQ(from_children, kForks);
}

TEST(Fork, BeforeTheFirstInitialisationIsNoMatter) {
    const Outcome outcome = in_child([] {
        const pid_t child = fork();
        if (child == 0) {
            be_a_child();
        }
        int status = 0;
        waitpid(child, &status, 0);
        say(ox_zlog_init("parent"), "from the parent");
        return status;
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(lines_of(outcome.error_output).size(), 2U) << outcome.error_output;
}

}  // namespace

}  // namespace zlog_test
