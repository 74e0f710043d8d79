// Reading the answers and notifications of a server. Nearly all of it is arrays of strings and numbers, which are
// recognised where they were received, by their bytes; anything else is hiredis's to read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <string_view>

#include "redis/any_reply.h"
#include "redis/reply.h"
#include "redis/resp.h"

namespace mom::redis {

class Reader {
public:
    // All that takes memory throws std::bad_alloc when there is none; the rest of what was received is lost then. What
    // a server only announces takes none.

    // Where to receive next; a notification that was given is gone then. received() tells how much came.
    std::span<char> room();
    void received(size_t size);

    // The next reply that has come whole, built in the arena; nullptr when there is none, or when is_broken(). The
    // arena is the same until it has.
    Reply *take_reply(Arena &arena);

    enum class Item : uint8_t {
        kNone,          // nothing more that is whole
        kNotification,  // channel() and payload(), which live until room() is asked for
        kReply,         // reply()
        kBroken
    };

    // The same for one that is also sent notifications.
    Item take(Arena &arena);
    std::string_view channel() const { return channel_; }
    std::string_view payload() const { return payload_; }
    const Reply &reply() const { return *reply_; }

    // The server does not speak the protocol: error(). Nothing more is read then.
    bool is_broken() const { return any_.error() != nullptr; }
    const char *error() const { return any_.error(); }

private:
    struct Free {
        void operator()(char *memory) const { std::free(memory); }
    };

    std::string_view unread() const { return {buffer_.get() + begin_, end_ - begin_}; }
    void resize(size_t capacity);
    resp::Found take_number(Arena &arena);
    resp::Found skim();
    resp::Found take_array(Arena &arena);

    std::unique_ptr<char, Free> buffer_;
    size_t capacity_ = 0;
    size_t begin_ = 0;
    size_t end_ = 0;
    bool busy_ = false;  // what came filled all the room that there was

    // Of an array of strings that has come in part, so that a long one is not looked through from its beginning again.
    size_t skimmed_ = 0;  // bytes
    size_t missing_ = 0;  // strings

    AnyReply any_;
    Reply *reply_ = nullptr;
    std::string_view channel_;
    std::string_view payload_;
};

}  // namespace mom::redis
