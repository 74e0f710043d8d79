// The loop from inside: what happens between its own descriptors cannot be had in time from a server.
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <list>
#include <new>
#include <optional>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

#include <gtest/gtest.h>

#include "mom/core/loop.h"

namespace {

using std::chrono::milliseconds;

bool is_readable(int fd) {
    pollfd waiting{.fd = fd, .events = POLLIN, .revents = 0};
    return poll(&waiting, 1, 0) > 0;
}

// A watched end of a connection, and the other one. What it is told goes to `seen`.
class Connection final : public mom::WatchHandler {
public:
    explicit Connection(mom::Loop &loop, uint32_t events = EPOLLIN) {
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends_), 0);
        watch.emplace(loop, ends_[0], *this);
        watch->set(events);
    }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;
    ~Connection() {
        watch.reset();
        close(ends_[0]);
        close_other();
    }

    int socket() const { return ends_[0]; }
    int other() const { return ends_[1]; }
    void close_other() { close(std::exchange(ends_[1], -1)); }
    void say(const std::string &bytes) const {
        EXPECT_EQ(write(other(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }

    std::optional<mom::Watch> watch;
    std::string seen;
    std::function<void(uint32_t events)> on_event;  // in place of reading

private:
    // A byte at a time, as long as there is one.
    void on_ready(uint32_t events) override {
        if (on_event) {
            seen += "!";
            on_event(events);
            return;
        }
        char byte = 0;
        const ssize_t length = read(socket(), &byte, 1);
        seen += length == 1 ? std::string(1, byte) : length == 0 ? "(end)" : "(error)";
        watch->set(length == 1 ? uint32_t{EPOLLIN} : 0);
    }
    void on_no_memory() noexcept override { seen += "(no memory)"; }

    int ends_[2] = {-1, -1};
};

class LoopTest : public testing::Test, public mom::LoopHandler {
protected:
    LoopTest() {
        EXPECT_TRUE(loop.open());
        loop.set_handler(this);
    }

    void run(int times) {
        while (times-- > 0) {
            EXPECT_TRUE(loop.run());
        }
    }

    mom::Loop loop;
    std::string told;
    std::function<void()> on_told;

private:
    void tell(const char *what) {
        told += what;
        if (on_told) {
            on_told();
        }
    }
    void on_wake() override { tell("wake "); }
    void on_deadline() override { tell("deadline "); }
    void on_no_memory() noexcept override { told += "no memory "; }
};

TEST_F(LoopTest, GivesWhatCameBeforeTheEnd) {
    Connection connection(loop);
    connection.say("abc");
    connection.close_other();
    run(10);
    EXPECT_EQ(connection.seen, "abc(end)");
}

// The other end goes with bytes of ours unread: an error, behind what it had sent.
TEST_F(LoopTest, GivesWhatCameBeforeAnError) {
    Connection connection(loop);
    ASSERT_EQ(write(connection.socket(), "x", 1), 1);
    connection.say("abc");
    connection.close_other();
    run(10);
    EXPECT_TRUE(connection.seen.starts_with("abc(")) << connection.seen;
}

TEST_F(LoopTest, TellsAnEndToWhoeverWatchesForAnything) {
    for (const uint32_t events : {EPOLLIN, EPOLLOUT, EPOLLRDHUP}) {
        Connection connection(loop, events);
        uint32_t given = 0;
        connection.on_event = [&](uint32_t which) { given = which; };
        connection.close_other();
        run(1);
        EXPECT_EQ(given & events, events);
    }
}

// A pipe without writers is not readable to epoll, but has hung up.
TEST_F(LoopTest, TellsAHangUpAsWhatIsWatchedFor) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    Connection handler(loop, 0);
    uint32_t given = 0;
    handler.on_event = [&](uint32_t which) { given = which; };
    mom::Watch watch(loop, ends[0], handler);
    watch.set(EPOLLIN);
    close(ends[1]);
    run(1);
    EXPECT_TRUE((given & EPOLLIN) != 0) << given;
    watch.set(0);
    close(ends[0]);
}

TEST_F(LoopTest, TellsNothingOfWhatIsNotWatched) {
    Connection connection(loop);
    connection.watch->set(0);
    connection.say("a");
    connection.close_other();
    run(3);
    EXPECT_EQ(connection.seen, "");
    EXPECT_FALSE(is_readable(loop.fd()));
    connection.watch->set(EPOLLIN);
    EXPECT_TRUE(is_readable(loop.fd())) << "what is there already counts";
    run(3);
    EXPECT_EQ(connection.seen, "a(end)");
}

TEST_F(LoopTest, TellsAgainAsLongAsItLasts) {
    Connection connection(loop);
    connection.on_event = [](uint32_t) {};
    connection.say("a");
    run(5);
    EXPECT_EQ(connection.seen, "!!!!!");
}

// Two that are ready at once, of which the first that is told does something to the other.
class TwoTest : public LoopTest {
protected:
    void meet(const std::function<void(Connection &other)> &deed) {
        one_.on_event = [this, deed](uint32_t) { deed(two_); };
        two_.on_event = [this, deed](uint32_t) { deed(one_); };
        one_.say("a");
        two_.say("a");
        run(1);
    }
    std::string told_in_all() const { return one_.seen + two_.seen; }

    Connection one_{loop};
    Connection two_{loop};
};

TEST_F(TwoTest, OneThatIsDestroyedIsNotTold) {
    meet([](Connection &other) { other.watch.reset(); });
    EXPECT_EQ(told_in_all(), "!");
}

TEST_F(TwoTest, OneThatIsNotWatchedAnyMoreIsNotTold) {
    meet([](Connection &other) { other.watch->set(0); });
    EXPECT_EQ(told_in_all(), "!");
}

TEST_F(TwoTest, OneThatIsNotWatchedAnyMoreIsNotToldOfItsEnd) {
    one_.close_other();
    two_.close_other();
    one_.on_event = [this](uint32_t) { two_.watch->set(0); };
    two_.on_event = [this](uint32_t) { one_.watch->set(0); };
    run(1);
    EXPECT_EQ(told_in_all(), "!");
}

TEST_F(TwoTest, OneThatIsWatchedForSomethingElseIsToldOfThatOnly) {
    meet([](Connection &other) { other.watch->set(EPOLLRDHUP); });
    EXPECT_EQ(told_in_all(), "!");
}

TEST_F(TwoTest, OneThatTakesThePlaceOfAnotherIsNotToldWhatWasMeantForThat) {
    Connection third(loop, 0);
    meet([&](Connection &other) {
        other.watch.reset();
        other.watch.emplace(loop, third.socket(), other);  // the same memory
        other.watch->set(EPOLLIN);
    });
    EXPECT_EQ(told_in_all(), "!");
}

TEST_F(LoopTest, AHandlerMayDestroyItsOwnWatchAndMakeOthers) {
    Connection connection(loop);
    std::optional<Connection> another;
    connection.on_event = [&](uint32_t) {
        connection.watch.reset();
        another.emplace(loop);
        another->say("b");
    };
    connection.say("a");
    run(2);
    EXPECT_EQ(connection.seen, "!");
    EXPECT_EQ(another->seen, "b");
}

TEST_F(LoopTest, WantOfMemoryComesBackToTheHandlerThatIsStillThere) {
    Connection connection(loop);
    connection.on_event = [](uint32_t) { throw std::bad_alloc(); };
    connection.say("a");
    run(1);
    EXPECT_EQ(connection.seen, "!(no memory)");
    connection.on_event = [&](uint32_t) {
        connection.watch.reset();
        throw std::bad_alloc();
    };
    run(1);
    EXPECT_EQ(connection.seen, "!(no memory)!");
    loop.wake();
    on_told = [] { throw std::bad_alloc(); };
    run(1);
    EXPECT_EQ(told, "wake no memory ");
    loop.wake();
    on_told = [this] {
        loop.set_handler(nullptr);
        throw std::bad_alloc();
    };
    run(1);
    EXPECT_EQ(told, "wake no memory wake ");
}

TEST_F(LoopTest, MoreThanItFetchesAtOnceAreAllTold) {
    std::list<Connection> all;
    for (int i = 0; i < 200; ++i) {
        all.emplace_back(loop).say("a");
    }
    run(20);
    for (const Connection &each : all) {
        EXPECT_EQ(each.seen, "a");
    }
    EXPECT_FALSE(is_readable(loop.fd()));
}

TEST_F(LoopTest, WakesOnceForManyCallsBeforeItAndAgainForOneInside) {
    for (int i = 0; i < 3; ++i) {
        loop.wake();
    }
    EXPECT_TRUE(is_readable(loop.fd()));
    bool again = true;
    on_told = [&] {
        if (std::exchange(again, false)) {
            loop.wake();
        }
    };
    run(1);
    EXPECT_EQ(told, "wake ");
    EXPECT_TRUE(is_readable(loop.fd()));
    run(3);
    EXPECT_EQ(told, "wake wake ");
    EXPECT_FALSE(is_readable(loop.fd()));
}

TEST_F(LoopTest, NoWakeIsLostBetweenThreads) {
    constexpr int kTimes = 20000;
    std::atomic<int> written = 0;
    int seen = 0;
    on_told = [&] { seen = written; };
    std::thread other([&] {
        for (int i = 0; i < kTimes; ++i) {
            ++written;
            loop.wake();
        }
    });
    while (seen < kTimes && loop.run(milliseconds(5000)) && !told.empty()) {
        told.clear();
    }
    other.join();
    EXPECT_EQ(seen, kTimes);
}

TEST_F(LoopTest, WaitsForTheDeadlineAndTellsOfItOnce) {
    const auto start = mom::Clock::now();
    loop.set_deadline(start + milliseconds(30));
    loop.set_deadline(start + milliseconds(60));  // in its place
    EXPECT_TRUE(loop.run(std::nullopt));
    EXPECT_GE(mom::Clock::now() - start, milliseconds(60));
    EXPECT_EQ(told, "deadline ");
    EXPECT_TRUE(loop.run(milliseconds(20)));
    EXPECT_EQ(told, "deadline ");
    EXPECT_FALSE(is_readable(loop.fd()));
    loop.set_deadline(mom::TimePoint::min());
    run(2);
    EXPECT_EQ(told, "deadline deadline ") << "long over";
    loop.set_deadline(start);
    EXPECT_TRUE(is_readable(loop.fd()));
    loop.set_deadline(std::nullopt);
    run(1);
    EXPECT_EQ(told, "deadline deadline ");
}

TEST_F(LoopTest, WaitsNoLongerThanItsLimit) {
    const auto start = mom::Clock::now();
    EXPECT_TRUE(loop.run(milliseconds(30)));
    EXPECT_GE(mom::Clock::now() - start, milliseconds(30));
    EXPECT_TRUE(loop.run(milliseconds(-5))) << "over already";
}

TEST_F(LoopTest, ASignalEndsTheWait) {
    struct sigaction noted {};
    struct sigaction before {};
    noted.sa_handler = [](int) {};
    noted.sa_flags = SA_RESTART;
    ASSERT_EQ(sigaction(SIGUSR1, &noted, &before), 0);
    const pthread_t waiting = pthread_self();
    std::atomic<bool> ended = false;
    std::thread other([&] {
        while (!ended) {
            pthread_kill(waiting, SIGUSR1);
            std::this_thread::sleep_for(milliseconds(10));
        }
    });
    EXPECT_FALSE(loop.run(std::nullopt));
    ended = true;
    other.join();
    sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(LoopTest, WhatCannotBeWatchedIsTold) {
    Connection connection(loop);
    const int file = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
    mom::Watch watch(loop, file, connection);
    EXPECT_FALSE(watch.try_set(EPOLLIN));
    EXPECT_EQ(errno, EPERM);
    EXPECT_THROW(watch.set(EPOLLIN), std::bad_alloc);
    run(1);
    close(file);
}

// What the epoll descriptor watches is not doubled by a fork.
TEST_F(LoopTest, AForkedChildLeavesAloneWhatItsParentWatches) {
    std::optional<Connection> connection(std::in_place, loop);
    std::optional<Connection> altered(std::in_place, loop);
    loop.set_deadline(mom::Clock::now() + std::chrono::hours(1));
    const pid_t child = fork();
    if (child == 0) {
        altered->watch->set(0);
        altered->watch->set(EPOLLOUT);
        connection.reset();
        loop.set_deadline(mom::TimePoint::min());
        loop.wake();
        _exit(loop.run() ? 1 : 0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0) << "nothing is run there";
    EXPECT_FALSE(is_readable(loop.fd()));
    connection->say("a");
    altered->say("b");
    run(1);
    EXPECT_EQ(connection->seen, "a");
    EXPECT_EQ(altered->seen, "b");
    EXPECT_EQ(told, "");
}

}  // namespace
