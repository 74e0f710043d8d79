// A handshake that the client's loop drives.
#pragma once

#include <functional>
#include <memory>

#include "core/loop.h"
#include "redis/handshake.h"

namespace mom::redis {

// Who sees to it that on_due() is called in time.
class Timekeeper {
public:
    virtual void due_changed() = 0;

protected:
    ~Timekeeper() = default;
};

// Who all openings of one client are made for.
struct Opener {
    Loop &loop;
    Timekeeper &timekeeper;
    Resolver &resolver;
};

class Opening final : public WatchHandler {
public:
    // Called once, with how it ended; may destroy the opening. Throws nothing.
    using Ended = std::function<void(Handshake &, Handshake::State)>;

    Opening(const Opener &opener, const Endpoint &endpoint, std::span<const Command> commands, TimePoint until,
            Ended ended);

    // The first step is made here: it may have ended when this returns, and be destroyed.
    void start() { step(); }

    // When on_due() is to be called, if it has not ended.
    TimePoint due() const { return handshake_.due(); }
    void on_due() { step(); }

private:
    void step() noexcept;
    Handshake::State advance() noexcept;
    void on_ready(uint32_t) override { step(); }
    void on_no_memory() noexcept override { step(); }

    const Opener &opener_;
    Ended ended_;
    Handshake handshake_;
    std::unique_ptr<Watch> watch_;  // destroyed before the handshake's descriptor is closed
};

}  // namespace mom::redis
