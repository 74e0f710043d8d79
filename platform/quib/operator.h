// One operator's connection.
#pragma once

#include <string>

#include "answer.h"
#include "fd.h"
#include "poller.h"

namespace quib {

class Operator final : private Source {
public:
    Operator(Poller &poller, Fd socket);
    Operator(const Operator &) = delete;
    Operator &operator=(const Operator &) = delete;
    ~Operator() = default;

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

    uint64_t turn = 0;  // when it last had a command run, by its server's count

private:
    void on_events(uint32_t events) override;
    void read_some();
    void send_some();
    bool fill();
    bool unsent() const;
    void watch();

    Poller &poller_;
    ParentFd socket_;
    uint32_t watched_ = 0;
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
