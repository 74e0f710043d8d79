#include "redis/reply.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <utility>

namespace mom {

namespace {

constexpr size_t kFirstBlock = size_t{16} * 1024;
constexpr size_t kKeptBlock = size_t{1024} * 1024;  // a larger one is not kept for the next reply

// The place of a reply: in its array, or on its own.
Reply *place(const redisReadTask *task) {
    if (task->parent) {
        return &static_cast<Reply *>(task->parent->obj)->elements[static_cast<size_t>(task->idx)];
    }
    void *memory = static_cast<ReplyArena *>(task->privdata)->allocate(sizeof(Reply));
    return memory ? new (memory) Reply{} : nullptr;
}

void *make_text(const redisReadTask *task, char *text, size_t length) {
    Reply *reply = place(task);
    auto *copy = reply ? static_cast<char *>(static_cast<ReplyArena *>(task->privdata)->allocate(length)) : nullptr;
    if (!copy) {
        return nullptr;
    }
    std::memcpy(copy, text, length);
    reply->type = task->type == REDIS_REPLY_ERROR    ? Reply::Type::kError
                  : task->type == REDIS_REPLY_STATUS ? Reply::Type::kStatus
                                                     : Reply::Type::kString;
    reply->text = {copy, length};
    return reply;
}

// An int for hiredis 0.14, a size_t for 1.0 and later.
template <typename Count>
void *make_array(const redisReadTask *task, Count elements) {
    const auto count = static_cast<size_t>(std::max(elements, Count{0}));
    if (count > std::numeric_limits<size_t>::max() / sizeof(Reply)) {
        return nullptr;
    }
    Reply *reply = place(task);
    void *memory = reply ? static_cast<ReplyArena *>(task->privdata)->allocate(count * sizeof(Reply)) : nullptr;
    if (!memory) {
        return nullptr;
    }
    auto *first = static_cast<Reply *>(memory);
    std::uninitialized_value_construct_n(first, count);
    reply->type = Reply::Type::kArray;
    reply->elements = {first, count};
    return reply;
}

void *make_integer(const redisReadTask *task, long long value) {
    Reply *reply = place(task);
    if (reply) {
        reply->type = Reply::Type::kInteger;
        reply->integer = value;
    }
    return reply;
}

void *make_nil(const redisReadTask *task) {
    Reply *reply = place(task);
    if (reply) {
        reply->type = Reply::Type::kNil;
    }
    return reply;
}

// From 1.0 on, hiredis reads RESP3 as well. It is never asked for, but a server may send what it likes.
template <typename Functions>
constexpr Functions all_functions() {
    Functions functions{};
    functions.createString = make_text;
    functions.createArray = make_array;
    functions.createInteger = make_integer;
    functions.createNil = make_nil;
    functions.freeObject = [](void *) {};
    if constexpr (requires { functions.createDouble; }) {
        functions.createDouble = [](const redisReadTask *task, double, char *text, size_t length) {
            return make_text(task, text, length);
        };
        functions.createBool = [](const redisReadTask *task, int value) { return make_integer(task, value); };
    }
    return functions;
}

}  // namespace

constinit redisReplyObjectFunctions reply_functions = all_functions<redisReplyObjectFunctions>();

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

}  // namespace mom
