// What a server answers to requests. Nearly all of it is arrays of strings, and those are recognised where they were
// received, by their bytes; anything else is hiredis's to read.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string_view>

#include "redis/reply.h"

namespace mom {

class AnswerReader {
public:
    // The reader lives longer. It will build Replies.
    explicit AnswerReader(redisReader &reader);

    // Where to receive next; not empty when next() had no reply left. received() tells how much came.
    std::span<char> room();
    void received(size_t size) { end_ += size; }

    // The next reply that has been received whole, built in the arena; nullptr when there is none, or when is_broken().
    Reply *next(ReplyArena &arena);

    // The server does not speak the protocol, or memory is exhausted: error().
    bool is_broken() const { return reader_.err != 0; }
    const char *error() const { return reader_.errstr; }

private:
    std::string_view unread() const { return {buffer_.data() + begin_, end_ - begin_}; }
    Reply *read_all(ReplyArena &arena);

    redisReader &reader_;
    bool handed_over_ = false;  // what comes next is hiredis's
    size_t begin_ = 0;
    size_t end_ = 0;
    std::array<char, size_t{16} * 1024> buffer_;
};

}  // namespace mom
