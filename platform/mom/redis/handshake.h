// The opening of a connection: look the host up, connect, say everything, hear an answer to each. Nothing of it waits:
// whoever drives it does, in a loop or asleep.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "redis/connection.h"
#include "redis/resolution.h"

namespace mom::redis {

class Handshake {
public:
    // It ends by `until`. A host that has several addresses is tried at each: who is silent has its part of the time.
    // One whose address is known already is not looked up.
    Handshake(const Endpoint &endpoint, std::span<const Command> commands, TimePoint until, Resolver &resolver,
              const Address &known = {});
    Handshake(const Handshake &) = delete;
    Handshake &operator=(const Handshake &) = delete;

    enum class State : uint8_t { kGoingOn, kDone, kFailed };

    // Does what can be done now. kFailed: code(), and the reason in last_error().
    State advance();

    // While it is going on: advance() is to be called when fd() is ready for events(), as of poll(), or at due().
    // The descriptor may be closed in advance(), and be another one afterwards.
    int fd() const;
    short events() const;
    TimePoint due() const { return due_; }

    // Ends it for want of memory.
    void fail_for_memory() noexcept;
    int32_t code() const { return code_; }

    // The answers, in order of the commands. The replies live as long as this.
    std::span<Reply *const> replies() const { return replies_; }
    std::unique_ptr<Connection> take_connection() { return std::move(connection_); }

private:
    State resolve();
    State connect_next(int why);
    State finish_connecting();
    State speak();
    State time_out();

    std::string peer_;
    std::string request_;
    size_t expected_;
    TimePoint start_;
    TimePoint until_;
    TimePoint due_;
    int32_t code_ = 0;

    Resolution resolution_;
    std::vector<Address> addresses_;
    size_t next_ = 0;  // of the addresses
    base::Fd socket_;  // while it is connecting
    std::unique_ptr<Connection> connection_;
    Arena arena_;
    std::vector<Reply *> replies_;
};

// Drives it by sleeping until it has ended. False when it failed: its code(), and the reason in last_error().
bool finish(Handshake &handshake);

}  // namespace mom::redis
