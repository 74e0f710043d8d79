#include <gtest/gtest.h>
#include <ox_zlog.h>

#include <barrier>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "child.h"
#include "log_line.h"

namespace zlog_test {

namespace {

constexpr int kThreads = 8;
constexpr int kMessages = 200;

struct Handles {
    void *shared = nullptr;
    void *own = nullptr;
};

void work(int number, std::barrier<> &start, Handles &handles) {
    start.arrive_and_wait();
    for (int i = 0; i < kMessages; ++i) {
        void *shared = ox_zlog_init("shared");
        void *own = ox_zlog_init(("own" + std::to_string(number)).c_str());
        if (i > 0 && (shared != handles.shared || own != handles.own)) {
            std::abort();
        }
        handles = {shared, own};
        say(i % 2 == 0 ? shared : own, std::to_string(number) + " " + std::string(200, 'x') + " " + std::to_string(i));
    }
}

int run_threads() {
    std::barrier start(kThreads);
    std::vector<Handles> handles(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back(work, i, std::ref(start), std::ref(handles[static_cast<size_t>(i)]));
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    for (size_t i = 1; i < kThreads; ++i) {
        if (handles[i].shared != handles[0].shared || handles[i].own == handles[0].own) {
            return 1;
        }
    }
    return handles[0].shared != nullptr ? 0 : 2;
}

// The first initialisation of the process included, each thread's messages come whole and in the thread's order.
TEST(Threads, InitialiseAndLogAtOnce) {
    const Outcome outcome = in_child(run_threads);
    EXPECT_EQ(outcome.status, 0) << outcome.error_output;
    std::map<std::string, int> next;
    for (const std::string &line : lines_of(outcome.error_output)) {
        const size_t from = line.find("speak:7 ");
        ASSERT_NE(from, std::string::npos) << line;
        const std::string message = line.substr(from + 8);
        const std::string number = message.substr(0, 1);
        const std::string expected = number + " " + std::string(200, 'x') + " " + std::to_string(next[number]++);
        ASSERT_EQ(message, expected);
    }
    ASSERT_EQ(next.size(), static_cast<size_t>(kThreads));
    for (const auto &[number, count] : next) {
        EXPECT_EQ(count, kMessages) << number;
    }
}

}  // namespace

}  // namespace zlog_test
