#include "redis/reply.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

namespace mom::redis {

namespace {

constexpr size_t kFirstBlock = size_t{16} * 1024;
constexpr size_t kKeptBlock = size_t{1024} * 1024;  // a larger one is not kept for the next reply

}  // namespace

ReplyArena::~ReplyArena() {
    while (blocks_) {
        std::free(std::exchange(blocks_, blocks_->next));
    }
}

size_t ReplyArena::aligned(size_t size) {
    constexpr size_t kAlign = alignof(Reply);
    return std::max((size + kAlign - 1) / kAlign * kAlign, kAlign);
}

void *ReplyArena::allocate(size_t size) {
    size = aligned(size);
    Block *block = blocks_ && blocks_->capacity - blocks_->used >= size ? blocks_ : add_block(size);
    if (!block) {
        return nullptr;
    }
    void *memory = data(block) + block->used;
    block->used += size;
    return memory;
}

Reply *ReplyArena::make_replies(size_t count) {
    auto *replies = static_cast<Reply *>(allocate(count * sizeof(Reply)));
    if (replies) {
        std::uninitialized_value_construct_n(replies, count);
    }
    return replies;
}

const char *ReplyArena::keep(std::string_view bytes) {
    auto *copy = static_cast<char *>(allocate(bytes.size()));
    if (copy) {
        std::memcpy(copy, bytes.data(), bytes.size());
    }
    return copy;
}

void ReplyArena::clear() {
    while (blocks_ && (blocks_->next || blocks_->capacity > kKeptBlock)) {
        // The newest is the largest: it alone will do next time, unless one reply was far larger than usual.
        Block *extra = blocks_->capacity > kKeptBlock ? blocks_ : blocks_->next;
        (extra == blocks_ ? blocks_ : blocks_->next) = extra->next;
        std::free(extra);
    }
    if (blocks_) {
        blocks_->used = 0;
    }
}

ReplyArena::Block *ReplyArena::add_block(size_t size) {
    const size_t capacity = std::max({kFirstBlock, size, blocks_ ? blocks_->capacity * 2 : 0});
    auto *block = static_cast<Block *>(std::malloc(sizeof(Block) + capacity));
    if (!block) {
        return nullptr;
    }
    *block = {.next = blocks_, .capacity = capacity, .used = 0};
    blocks_ = block;
    return block;
}

}  // namespace mom::redis
