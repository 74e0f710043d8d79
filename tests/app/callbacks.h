// The five kinds of registration as a table, and application callbacks that remember how they were called.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "library_test.h"

namespace trel_cap_tests {

struct Kind {
    const char *name;
    int32_t (*reg)(const char *, CapEventCb, uint32_t);
    const char *reg_name;
    int32_t (*dispatch)(int32_t, void *);
    const char *dispatch_name;
    uint32_t &(*flags)();  // the calling thread's
};

inline const Kind kKinds[] = {
    {"Fe", trel_cap_event_callback_reg, "trel_cap_event_callback_reg", trel_cap_callback_hander,
     "trel_cap_callback_hander", []() -> uint32_t & { return g_trel_cap_flag; }},
    {"Fab", trel_cap_fab_event_callback_reg, "trel_cap_fab_event_callback_reg", trel_cap_fab_callback_hander,
     "trel_cap_fab_callback_hander", []() -> uint32_t & { return g_trel_fab_cm_cap_flag; }},
    {"Cm", trel_cap_cm_event_callback_reg, "trel_cap_cm_event_callback_reg", trel_cap_cm_callback_hander,
     "trel_cap_cm_callback_hander", []() -> uint32_t & { return g_trel_fab_cm_cap_flag; }},
    {"Hps", trel_cap_hps_event_callback_reg, "trel_cap_hps_event_callback_reg", trel_cap_hps_callback_hander,
     "trel_cap_hps_callback_hander", []() -> uint32_t & { return g_trel_hps_cap_flag; }},
    {"LcAndHps", trel_cap_lc_and_hps_event_callback_reg, "trel_cap_lc_and_hps_event_callback_reg",
     trel_cap_lc_and_hps_callback_hander, "trel_cap_lc_and_hps_callback_hander",
     []() -> uint32_t & { return g_trel_lc_and_hps_cap_flag; }},
};

// The line cards' kind is unlike the four of the classes: its callbacks have no mask of their own.
inline bool is_fe(const Kind &kind) { return kind.reg == trel_cap_event_callback_reg; }

// How a callback was called.
struct Received {
    int who;
    int32_t event;
    void *arg;

    bool operator==(const Received &) const = default;
};
inline std::ostream &operator<<(std::ostream &out, const Received &received) {
    return out << "callback " << received.who << '(' << received.event << ", " << received.arg << ')';
}

// What the callbacks of a test have received. One at a time; without one they receive nothing.
class Callbacks {
public:
    Callbacks() { current() = this; }
    ~Callbacks() { current() = nullptr; }
    Callbacks(const Callbacks &) = delete;
    Callbacks &operator=(const Callbacks &) = delete;

    // Run inside each callback; its result is the callback's.
    std::function<int32_t(const Received &)> on_event = [](const Received &) { return 0; };

    std::vector<Received> take() {
        const std::lock_guard guard(mutex_);
        return std::exchange(received_, {});
    }

    // A callback of its own for each number.
    template <int kWho>
    static int32_t number(int32_t event, void *arg) {
        Callbacks *const now = current();
        return now == nullptr ? 0 : now->receive({kWho, event, arg});
    }

private:
    static std::atomic<Callbacks *> &current() {
        static std::atomic<Callbacks *> the_current = nullptr;
        return the_current;
    }
    int32_t receive(const Received &received) {
        {
            const std::lock_guard guard(mutex_);
            received_.push_back(received);
        }
        return on_event(received);
    }

    std::mutex mutex_;
    std::vector<Received> received_;
};

// Tests of registrations, which last as long as the process: each test needs one of its own.
class CallbacksTest : public LibraryTest {
protected:
    Callbacks callbacks;

    CallbacksTest() { trel_cap_dbg_inited = 1; }

    // Registers silently.
    static int32_t register_quietly(const Kind &kind, const std::string &name, CapEventCb callback, uint32_t flag) {
        const int32_t level = g_trel_cap_zlog_level;
        g_trel_cap_zlog_level = 0;
        const int32_t status = kind.reg(name.c_str(), callback, flag);
        g_trel_cap_zlog_level = level;
        return status;
    }
};

// The same for each kind of registration.
class EachKindTest : public CallbacksTest, public ::testing::WithParamInterface<Kind> {
protected:
    const Kind &kind = GetParam();
};

inline std::string kind_name(const ::testing::TestParamInfo<Kind> &info) { return info.param.name; }

}  // namespace trel_cap_tests
