// One connection to a server: the bytes are moved here, without signals and with limits.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <sys/types.h>

#include "core/backoff.h"
#include "core/store_name.h"
#include "redis/answer_reader.h"
#include "redis/reply.h"

namespace mom {

class Connection {
public:
    // Begins to connect; nullptr, with a code and the reason in last_error(), when that fails at once.
    static std::unique_ptr<Connection> open(const Endpoint &endpoint, int32_t *code);

    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;
    ~Connection();

    int fd() const { return context_->fd; }

    // Whether the connection that open() began stands; false with the reason in last_error().
    bool finish_connecting() const;

    // Adds a command to what send() sends.
    void add(std::span<const std::string_view> command);
    void add(std::initializer_list<std::string_view> command) { add(std::span(command.begin(), command.size())); }
    bool has_unsent() const { return sent_ < out_.size(); }

    // Neither waits. Sends what it can; false when the connection is lost, with the reason in last_error().
    bool send();

    // Receives into the room. How many bytes; 0 when there are none now; -1 when the connection is lost.
    ssize_t receive_into(std::span<char> room) const { return receive_into(room, Sleep::kNever); }

    // Receives one piece for next_reply(). The same result.
    ssize_t receive() { return receive(Sleep::kNever); }

    // The next reply that has been received whole, built in the arena; nullptr when there is none, or when the server
    // does not speak the protocol, which is_broken() tells.
    Reply *next_reply(ReplyArena &arena);
    bool is_broken() const { return answers_.is_broken(); }

    // How long await_reply() waits in all. Makes the descriptor blocking, with that limit; only await_reply() makes use
    // of it.
    void set_limit(Millis limit);

    // Sends what was added and waits for one reply. nullptr: *code tells whether the connection is lost or the time
    // ran out. Either way the connection can't be used again.
    Reply *await_reply(ReplyArena &arena, int32_t *code);

private:
    enum class Sleep : uint8_t {
        kNever,
        kInReceiving  // until there is something, or the limit has passed
    };

    struct FreeContext {
        void operator()(redisContext *context) const { redisFree(context); }
    };

    using ContextPtr = std::unique_ptr<redisContext, FreeContext>;

    Connection(ContextPtr context, std::string peer);

    ssize_t receive_into(std::span<char> room, Sleep sleep) const;
    ssize_t receive(Sleep sleep);

    // False when the deadline has passed.
    bool wait_for(short events, TimePoint deadline) const;

    ContextPtr context_;
    AnswerReader answers_;
    std::string peer_;
    std::string out_;
    size_t sent_ = 0;
    Millis limit_{0};
};

}  // namespace mom
