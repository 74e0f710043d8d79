// Logs that nobody reads any more: a message is lost, and the host goes on as if nothing had been.
#include <csignal>
#include <gtest/gtest.h>
#include <ox_zlog.h>
#include <pthread.h>
#include <unistd.h>

#include <thread>

#include "child.h"
#include "log_line.h"

namespace zlog_test {

namespace {

// Standard error leads into a pipe that nobody reads; a SIGPIPE would end the process.
class BrokenStandardError {
public:
    BrokenStandardError() : usual_(dup(STDERR_FILENO)) {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        EXPECT_EQ(dup2(ends[1], STDERR_FILENO), STDERR_FILENO);
        close(ends[0]);
        close(ends[1]);
        signal(SIGPIPE, SIG_DFL);
    }
    ~BrokenStandardError() {
        dup2(usual_, STDERR_FILENO);
        close(usual_);
    }
    BrokenStandardError(const BrokenStandardError &) = delete;
    BrokenStandardError &operator=(const BrokenStandardError &) = delete;

private:
    int usual_;
};

bool is_blocked() {
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    return sigismember(&mask, SIGPIPE) == 1;
}

bool is_waiting() {
    sigset_t waiting;
    sigpending(&waiting);
    return sigismember(&waiting, SIGPIPE) == 1;
}

void block() {
    sigset_t pipe_signal;
    sigemptyset(&pipe_signal);
    sigaddset(&pipe_signal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe_signal, nullptr);
}

TEST(BrokenPipe, AtStandardErrorCostsTheMessageOnly) {
    const Outcome outcome = in_child([] {
        void *category = ox_zlog_init("c");
        {
            const BrokenStandardError broken;
            errno = ERANGE;
            say(category, "lost");
            say(category, "lost, too");
            if (errno != ERANGE || is_blocked() || is_waiting()) {
                return 1;
            }
        }
        say(category, "read");
        return 0;
    });
    EXPECT_EQ(outcome.status, 0) << outcome.error_output;
    EXPECT_EQ(outcome.error_output.find("lost"), std::string::npos);
    EXPECT_NE(outcome.error_output.find(" read\n"), std::string::npos);
}

TEST(BrokenPipe, AtStandardErrorTakesWhatTheConfigurationIsToldOf) {
    const Outcome outcome = in_child([] {
        setenv("OX_ZLOG_CONF", "/nonexistent/zlog.conf", 1);
        const BrokenStandardError broken;
        return ox_zlog_init("c") != nullptr && !is_blocked() && !is_waiting() ? 0 : 1;
    });
    EXPECT_EQ(outcome.status, 0) << outcome.error_output;
}

int log_through_an_ended_program() {
    const TemporaryDirectory place;
    const std::string ended = place.file("ended");
    const std::string script = place.write("script", "exec 0<&-\necho >" + ended + "\n");
    const std::string file = place.write("zlog.conf", "[rules]\n*.* | exec sh " + script + "\n");
    setenv("OX_ZLOG_CONF", file.c_str(), 1);
    signal(SIGPIPE, SIG_DFL);
    void *category = ox_zlog_init("c");
    while (access(ended.c_str(), F_OK) != 0) {
        std::this_thread::yield();
    }
    say(category, "lost");
    say(category, "lost, too");
    return is_blocked() || is_waiting() ? 1 : 0;
}

TEST(BrokenPipe, ToTheProgramOfARuleIsToldOnce) {
    const Outcome outcome = in_child([] {
        const int status = log_through_an_ended_program();
        std::fflush(nullptr);
        _exit(status);  // the program of the rule is not waited for
        return status;
    });
    EXPECT_EQ(outcome.status, 0) << outcome.error_output;
    EXPECT_EQ(lines_of(outcome.error_output).size(), 1U) << outcome.error_output;
    EXPECT_NE(outcome.error_output.find("ox_zlog: a message was dropped: write fail"), std::string::npos)
        << outcome.error_output;
}

TEST(BrokenPipe, OfTheHostsOwnIsLeftToIt) {
    const Outcome outcome = in_child([] {
        void *category = ox_zlog_init("c");
        const BrokenStandardError broken;
        block();
        say(category, "lost");
        if (is_waiting() || !is_blocked()) {
            return 1;
        }
        raise(SIGPIPE);
        say(category, "lost");
        return is_waiting() ? 0 : 2;
    });
    EXPECT_EQ(outcome.status, 0) << outcome.error_output;
}

}  // namespace

}  // namespace zlog_test
