// One operator's connection.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "answer.h"
#include "ox_mom.h"
#include "parent_fd.h"
#include "watch.h"

namespace quib {

using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;

class Operator;

class OperatorHandler {
public:
    // There is something to do for the operator, which may be destroyed.
    virtual void on_ready(Operator &which, uint32_t events) = 0;

protected:
    ~OperatorHandler() = default;
};

class Operator final {
public:
    // Throws std::bad_alloc.
    Operator(MomClient *client, Fd socket, OperatorHandler &handler);
    Operator(const Operator &) = delete;
    Operator &operator=(const Operator &) = delete;
    ~Operator() = default;

    // Reads and sends what these events, which the handler was told of, allow.
    void move_bytes(uint32_t events);

    // A line has come, and everything before it has been answered and taken.
    bool has_line() const;
    // The line, without its end. Until its answer nothing more is read.
    std::string take_line();
    void answer(Answer answer);

    // Sends that, after what is still to be sent, and closes.
    void dismiss(const std::string &frames);
    void abandon();

    // There is nothing left to do here. Never while a line is being answered.
    bool finished() const;
    // Of the latest line, or of the latest time that something of an answer was taken.
    TimePoint last_active() const { return last_active_; }
    bool busy() const { return busy_; }

private:
    void read_some();
    void send_some();
    bool fill();
    bool unsent() const;
    void wait();

    OperatorHandler &handler_;
    ParentFd socket_;
    Watch watch_;
    TimePoint last_active_ = Clock::now();

    std::string input_;
    bool ended_ = false;    // nothing more comes
    bool closing_ = false;  // nothing more is read
    bool gone_ = false;     // nothing more is sent
    bool busy_ = false;

    std::string ready_;  // frames that are being sent
    size_t sent_ = 0;
    Answer answer_;  // what follows them
    size_t output_at_ = 0;
};

}  // namespace quib
