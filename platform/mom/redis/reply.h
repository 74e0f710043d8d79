// What a server answers, built in memory that one clear() takes back, instead of an allocation for every string.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

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

// Where replies live. Blocks are kept from one reply to the next.
class ReplyArena {
public:
    ReplyArena() = default;
    ReplyArena(const ReplyArena &) = delete;
    ReplyArena &operator=(const ReplyArena &) = delete;
    ~ReplyArena();

    // nullptr when memory is exhausted.
    void *allocate(size_t size);

    // So many replies without a kind, as an array of them; nullptr when memory is exhausted.
    Reply *make_replies(size_t count);

    // A copy of the bytes; nullptr when memory is exhausted.
    const char *keep(std::string_view bytes);

    // The latest allocation, of that size, is not needed after all.
    void give_back(size_t size) { blocks_->used -= aligned(size); }

    // Every reply built here is gone.
    void clear();

private:
    struct alignas(std::max_align_t) Block {
        Block *next;
        size_t capacity;
        size_t used;
    };

    static size_t aligned(size_t size);
    static std::byte *data(Block *block) { return reinterpret_cast<std::byte *>(block + 1); }
    Block *add_block(size_t size);

    Block *blocks_ = nullptr;  // the newest, and largest, first
};

}  // namespace mom::redis
