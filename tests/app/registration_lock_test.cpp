// Registrations and dispatches of several threads, as far as they wait for each other.

#include <future>
#include <latch>
#include <thread>

#include <unistd.h>

#include "asleep.h"
#include "callbacks.h"

namespace trel_cap_tests {
namespace {

using ::testing::ElementsAre;

class RegistrationLock : public EachKindTest {
protected:
    ~RegistrationLock() override { join(); }

    void start(const std::function<void()> &work) {
        std::promise<pid_t> started;
        std::future<pid_t> number = started.get_future();
        threads_.emplace_back([started = std::move(started), work]() mutable {
            started.set_value(gettid());
            work();
        });
        numbers_.push_back(number.get());
    }
    // Until all the threads wait for what they do not get, which can only be the lock.
    bool all_wait() const { return test_support::all_fall_asleep(numbers_); }

    void join() {
        for (std::thread &thread : threads_) {
            thread.join();
        }
        threads_.clear();
        numbers_.clear();
    }
    void register_on_another_thread(const Kind &which) {
        start([&which] {
            trel_cap_dbg_inited = 1;
            EXPECT_EQ(which.reg("late", Callbacks::number<2>, 1), 0);
        });
    }
    // How many messages of registrations begin so.
    size_t reported(std::string_view start) const {
        size_t count = 0;
        for (const Log &log : platform.logs()) {
            count += log.text.starts_with(start) ? 1U : 0U;
        }
        return count;
    }
    // Registrations of all kinds that have come as far as the lock.
    void let_all_kinds_wait() {
        for (const Kind &which : kKinds) {
            register_on_another_thread(which);
        }
        EXPECT_TRUE(all_wait());
        EXPECT_EQ(reported("reg_name:late"), std::size(kKinds));
    }

private:
    std::vector<std::thread> threads_;
    std::vector<pid_t> numbers_;
};

INSTANTIATE_TEST_SUITE_P(Kinds, RegistrationLock, ::testing::ValuesIn(kKinds), kind_name);

TEST_P(RegistrationLock, MakesRegistrationsWaitForARunningCallback) {
    EXPECT_EQ(register_quietly(kind, "early", Callbacks::number<1>, 1), 0);
    callbacks.on_event = [this](const Received &) {
        let_all_kinds_wait();
        EXPECT_EQ(reported("lock succ"), 0U);
        return 0;
    };
    EXPECT_EQ(kind.dispatch(0, nullptr), 0);
    join();
    EXPECT_EQ(reported("lock succ"), std::size(kKinds));
    EXPECT_THAT(callbacks.take(), ElementsAre(Received{1, 0, nullptr}));
}

// Even though somebody is waiting to register, whom they must not let in either.
TEST_P(RegistrationLock, LetsACallbackDispatchAgain) {
    for (const Kind &which : kKinds) {
        EXPECT_EQ(register_quietly(which, "early", Callbacks::number<1>, 3), 0);
    }
    int nested = 0;
    callbacks.on_event = [&](const Received &received) {
        nested += received.event == 1 ? 1 : 0;
        if (received.event == 0) {
            let_all_kinds_wait();
            for (const Kind &which : kKinds) {
                EXPECT_EQ(which.dispatch(1, nullptr), 0);
            }
            EXPECT_TRUE(all_wait());
            EXPECT_EQ(reported("lock succ"), 0U);
        }
        return 0;
    };
    EXPECT_EQ(kind.dispatch(0, nullptr), 0);
    EXPECT_EQ(nested, static_cast<int>(std::size(kKinds)));
    join();
}

TEST_P(RegistrationLock, LetsSeveralThreadsDispatchAtOnce) {
    EXPECT_EQ(register_quietly(kind, "early", Callbacks::number<1>, 1), 0);
    std::latch all_inside(3);
    callbacks.on_event = [&](const Received &) {
        if (!all_inside.try_wait()) {
            all_inside.arrive_and_wait();
        }
        return 0;
    };
    start([this] { kind.dispatch(0, nullptr); });
    start([this] { kind.dispatch(0, nullptr); });
    kind.dispatch(0, nullptr);
    join();
    EXPECT_EQ(callbacks.take().size(), 3U);
}

TEST_P(RegistrationLock, MakesDispatchesOfAllKindsWaitForARegistration) {
    std::atomic<int> dispatched = 0;
    platform.on_log = [&](const Log &log, const char *) {
        if (log.text == "lock succ") {
            for (const Kind &which : kKinds) {
                start([&which, &dispatched] {
                    which.dispatch(0, nullptr);
                    ++dispatched;
                });
            }
        }
        if (log.text == "lock succ" || log.text == "unlock") {
            EXPECT_TRUE(all_wait()) << log;
            EXPECT_EQ(dispatched, 0) << log;
        }
        if (log.text == "leave") {
            join();
            EXPECT_EQ(dispatched, static_cast<int>(std::size(kKinds)));
        }
    };
    EXPECT_EQ(kind.reg("router", Callbacks::number<1>, 1), 0);
    join();
    EXPECT_THAT(callbacks.take(), ElementsAre(Received{1, 0, nullptr}));
}

// Also where nothing is added to the list.
TEST_P(RegistrationLock, IsGivenBackWhateverComesOfARegistration) {
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(kind.reg("router", Callbacks::number<1>, 1), 0);
    }
    register_on_another_thread(kind);
    join();
    EXPECT_EQ(kind.dispatch(0, nullptr), 0);
    register_on_another_thread(kind);
    join();
    EXPECT_EQ(callbacks.take().size(), 2U);
}

// For the thread sanitizer above all.
TEST_P(RegistrationLock, KeepsTheListsWhole) {
    g_trel_cap_zlog_level = 0;
    constexpr int kThreads = 4;
    constexpr int kRounds = 50;
    for (int t = 0; t < kThreads; ++t) {
        start([t] {
            trel_cap_dbg_inited = 1;
            for (int round = 0; round < kRounds; ++round) {
                for (const Kind &which : kKinds) {
                    const std::string name = std::to_string(t) + " " + std::to_string(round);
                    EXPECT_EQ(which.reg(name.c_str(), Callbacks::number<1>, 1), 0);
                    EXPECT_EQ(which.dispatch(1, nullptr), 0);
                }
            }
        });
    }
    join();
    callbacks.take();
    EXPECT_EQ(kind.dispatch(0, nullptr), 0);
    EXPECT_EQ(callbacks.take().size(), static_cast<size_t>(kThreads * kRounds));
}

}  // namespace
}  // namespace trel_cap_tests
