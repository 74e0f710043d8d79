// The answer of a server, built in an arena instead of an allocation for every string.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "core/arena.h"

namespace mom::redis {

struct Reply {
    enum class Type : uint8_t { kString, kStatus, kError, kInteger, kNil, kArray };

    Type type;
    int64_t integer;
    std::string_view text;      // strings, statuses, errors
    std::span<Reply> elements;  // arrays

    bool is_error() const { return type == Type::kError; }
    bool is_text() const { return type == Type::kString || type == Type::kStatus; }
};

// So many replies without a kind, as an array of them; nullptr when memory is exhausted.
inline Reply *make_replies(Arena &arena, size_t count) {
    auto *replies = static_cast<Reply *>(arena.allocate(count * sizeof(Reply)));
    if (replies != nullptr) {
        std::uninitialized_value_construct_n(replies, count);
    }
    return replies;
}

}  // namespace mom::redis
