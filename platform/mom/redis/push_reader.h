// What a server pushes to a follower. Nearly all of it is messages, and those are recognised where they were received,
// by their bytes; anything else is hiredis's to read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "redis/reply.h"

namespace mom {

class PushReader {
public:
    // Throws std::bad_alloc, here and in room().
    PushReader();

    // Where to receive next; what next() gave is gone then. received() tells how much came.
    std::span<char> room();
    void received(size_t size) { end_ += size; }

    enum class Item : uint8_t {
        kNone,     // nothing more that is whole
        kMessage,  // channel() and payload()
        kReply,    // reply()
        kBroken    // the server does not speak the protocol, or memory is exhausted: error()
    };

    // The next that has come whole. It lives until the next call.
    Item next();

    std::string_view channel() const { return channel_; }
    std::string_view payload() const { return payload_; }
    const Reply &reply() const { return *reply_; }
    const char *error() const { return reader_->errstr; }

private:
    struct FreeReader {
        void operator()(redisReader *reader) const { redisReaderFree(reader); }
    };

    std::string_view unread() const { return {buffer_.data() + begin_, end_ - begin_}; }
    Item read_line();

    std::vector<char> buffer_;
    size_t begin_ = 0;
    size_t end_ = 0;
    std::string_view channel_;
    std::string_view payload_;

    std::unique_ptr<redisReader, FreeReader> reader_;
    ReplyArena arena_;
    Reply *reply_ = nullptr;
    bool in_reply_ = false;  // hiredis has the beginning of one
};

}  // namespace mom
