// One connection to a server: the bytes are moved here, without signals and without waiting.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/fd.h"
#include "core/backoff.h"
#include "redis/reader.h"

namespace mom::redis {

using Command = std::vector<std::string_view>;

// Appends the command as it goes to a server: whole, or not at all when std::bad_alloc is thrown.
void append_command(std::string &bytes, std::span<const std::string_view> command);

class Connection {
public:
    // peer: how errors name it.
    Connection(base::Fd socket, std::string peer) : socket_(std::move(socket)), peer_(std::move(peer)) {}

    int fd() const { return socket_.get(); }
    const std::string &peer() const { return peer_; }

    // Adds a command to what send() sends.
    void add(std::span<const std::string_view> command) { append_command(out_, command); }
    void add(std::initializer_list<std::string_view> command) { add(std::span(command.begin(), command.size())); }
    void add_encoded(std::string_view commands) { out_ += commands; }
    bool has_unsent() const { return sent_ < out_.size(); }

    // Sends what it can. False when the connection is lost, with the reason in last_error().
    bool send();

    enum class Received : uint8_t { kNothing, kSome, kLost };

    // Receives one piece for the reader. kLost: with the reason in last_error().
    Received receive() { return receive(Sleep::kNever); }

    // The same, asleep until there is something or the time that is set has passed.
    Received receive_asleep() { return receive(Sleep::kInReceiving); }

    // How long receive_asleep() sleeps. Makes the descriptor blocking: a loop that watches it would undo that.
    void set_sleep(Millis limit);

    // Whether nothing has come that nobody asked for, the end of the connection least of all.
    bool is_quiet() const;

    // The next reply, built in the arena; nullptr when none is whole, or when it is broken.
    Reply *take_reply(Arena &arena) {
        Reply *reply = reader_.take_reply(arena);
        return reply != nullptr || !reader_.is_broken() ? reply : broken();
    }
    Reader &reader() { return reader_; }

private:
    enum class Sleep : uint8_t { kNever, kInReceiving };

    Received receive(Sleep sleep);
    Reply *broken() const;

    base::Fd socket_;
    std::string peer_;
    std::string out_;
    size_t sent_ = 0;
    Reader reader_;
};

}  // namespace mom::redis
