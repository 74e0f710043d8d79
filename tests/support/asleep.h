// Whether threads or processes wait for something: what a test does next is then done to one that waits.
#pragma once

#include <fstream>
#include <string>
#include <sys/types.h>
#include <time.h>
#include <vector>

namespace test_support {

// How often the threads have gone to sleep; -1 where one is awake.
inline std::vector<long> sleeps_of(const std::vector<pid_t> &threads) {
    std::vector<long> sleeps;
    for (const pid_t thread : threads) {
        std::ifstream status("/proc/" + std::to_string(thread) + "/status");
        bool asleep = false;
        long times = -1;
        for (std::string word; status >> word;) {
            if (word == "State:") {
                asleep = status >> word && word == "S";
            } else if (word == "voluntary_ctxt_switches:") {
                status >> times;
            }
        }
        sleeps.push_back(asleep ? times : -1);
    }
    return sleeps;
}

// Waits until all of them sleep at the same time and go on sleeping; false when that takes too long. One that another
// of them only keeps for a moment does not count: the other would be awake.
inline bool all_fall_asleep(const std::vector<pid_t> &threads) {
    constexpr int kLooks = 20000;  // of 2 ms
    std::vector<long> before;
    for (int look = 0; look < kLooks; ++look) {
        std::vector<long> now = sleeps_of(threads);
        bool all = true;
        for (const long sleeps : now) {
            all = all && sleeps >= 0;
        }
        if (all && now == before) {
            return true;
        }
        before = std::move(now);
        const timespec pause = {.tv_sec = 0, .tv_nsec = 2000000};
        nanosleep(&pause, nullptr);
    }
    return false;
}

inline bool falls_asleep(pid_t thread) { return all_fall_asleep({thread}); }

}  // namespace test_support
