#include <fcntl.h>
#include <gtest/gtest.h>
#include <ox_zlog.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <future>
#include <thread>

#include "asleep.h"
#include "child.h"
#include "log_line.h"

// AddressSanitizer does not notice how a cancelled thread leaves its stack, and takes giving back the thread's signal
// stack for an overflow afterwards.
// The sanitizer looks for this name.
// NOLINTBEGIN(cert-dcl37-c,cert-dcl51-cpp,bugprone-reserved-identifier,readability-identifier-naming)
extern "C" __attribute__((visibility("default"))) const char *__asan_default_options();
const char *__asan_default_options() { return "use_sigaltstack=0"; }
// NOLINTEND(cert-dcl37-c,cert-dcl51-cpp,bugprone-reserved-identifier,readability-identifier-naming)

namespace zlog_test {

namespace {

std::promise<pid_t> logging;

void *log_until_cancelled(void *category) {
    logging.set_value(gettid());
    for (;;) {
        say(category, std::string(4000, 'x'));
        pthread_testcancel();
    }
}

bool is_nearly_full(int pipe_end) {
    int unread = 0;
    ioctl(pipe_end, FIONREAD, &unread);
    return unread > fcntl(pipe_end, F_GETPIPE_SZ) / 2;
}

void drain(int pipe_end) {
    char block[65536];
    while (read(pipe_end, block, sizeof block) > 0) {
    }
}

// The thread is cancelled while it waits, inside the layer, for room in a pipe.
int cancel_a_logger() {
    int ends[2];
    const int usual = dup(STDERR_FILENO);
    if (pipe(ends) != 0 || dup2(ends[1], STDERR_FILENO) < 0) {
        return 1;
    }
    close(ends[1]);
    pthread_t logger = {};
    if (pthread_create(&logger, nullptr, log_until_cancelled, ox_zlog_init("c")) != 0) {
        return 2;
    }
    if (!test_support::falls_asleep(logging.get_future().get()) || !is_nearly_full(ends[0])) {
        return 4;
    }
    pthread_cancel(logger);
    std::thread drainer(drain, ends[0]);
    void *result = nullptr;
    pthread_join(logger, &result);
    const bool usable = ox_zlog_init("another") != nullptr;
    dup2(usual, STDERR_FILENO);
    drainer.join();
    return usable && result == PTHREAD_CANCELED ? 0 : 3;
}

TEST(Cancellation, OfALoggingThreadLeavesTheLayerUsable) {
    const Outcome outcome = in_child(cancel_a_logger);
    EXPECT_EQ(outcome.status, 0) << outcome.error_output;
}

}  // namespace

}  // namespace zlog_test
