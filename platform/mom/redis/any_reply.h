// Replies of any shape. hiredis reads them, line by line, and they are built in an arena.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "redis/reply.h"

struct redisReader;

namespace mom::redis {

class AnyReply {
public:
    // Takes the lines of one reply off the front, as far as they have come; the same arena until it is whole. nullptr
    // when it is not whole yet, or when there is an error(). Throws std::bad_alloc; what was taken is lost then.
    Reply *take(std::string_view &bytes, Arena &arena);

    // The beginning of a reply has been taken.
    bool is_under_way() const { return taken_ != 0; }

    // The bytes were no reply; nullptr: all is well.
    const char *error() const { return error_; }

private:
    struct Free {
        void operator()(redisReader *reader) const;
    };

    std::unique_ptr<redisReader, Free> reader_;
    size_t taken_ = 0;  // of the reply under way
    const char *error_ = nullptr;
};

}  // namespace mom::redis
