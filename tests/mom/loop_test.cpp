// The loop's watches, from inside: what happens to a socket that breaks is not to be had in time from a server.
#include <string>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "mom/loop.h"

namespace {

class LoopTest : public testing::Test, public mom::WatchHandler {
protected:
    LoopTest() {
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends_), 0);
        EXPECT_TRUE(loop_.open());
        watch_ = std::make_unique<mom::Watch>(loop_, ends_[0], *this);
        watch_->set(UV_READABLE);
        loop_.run();
    }
    ~LoopTest() override {
        watch_.reset();
        close(ends_[0]);
        close_other();
    }

    int socket() const { return ends_[0]; }
    int other() const { return ends_[1]; }
    void close_other() { close(std::exchange(ends_[1], -1)); }

    // A byte at a time, as long as the socket is watched.
    void on_ready(int) override {
        char byte = 0;
        const ssize_t length = read(socket(), &byte, 1);
        seen_ += length == 1 ? std::string(1, byte) : length == 0 ? "(end)" : "(error)";
        watch_->set(length == 1 ? UV_READABLE : 0);
    }
    void on_no_memory() noexcept override { seen_ += "(no memory)"; }

    std::string run(int times) {
        while (times-- > 0) {
            loop_.run();
        }
        return seen_;
    }

private:
    int ends_[2] = {-1, -1};
    mom::Loop loop_;
    std::unique_ptr<mom::Watch> watch_;
    std::string seen_;
};

TEST_F(LoopTest, GivesWhatCameBeforeTheEnd) {
    ASSERT_EQ(write(other(), "abc", 3), 3);
    close_other();
    EXPECT_EQ(run(10), "abc(end)");
}

// The other end goes with bytes of ours unread: an error, behind what it had sent.
TEST_F(LoopTest, GivesWhatCameBeforeAnError) {
    ASSERT_EQ(write(socket(), "x", 1), 1);
    ASSERT_EQ(write(other(), "abc", 3), 3);
    close_other();
    const std::string seen = run(10);
    EXPECT_TRUE(seen.starts_with("abc(")) << seen;
}

}  // namespace
