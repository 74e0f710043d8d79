#include "redis/any_reply.h"

#include <algorithm>
#include <cstring>
#include <new>

#include <hiredis/hiredis.h>

namespace mom::redis {

namespace {

constexpr size_t kFirstElements = 16;
constexpr size_t kKept = size_t{64} * 1024;  // the memory of a longer reply is given back

Arena &arena_of(const redisReadTask *task) { return *static_cast<Arena *>(task->privdata); }

// Elements are made as they come: a server can announce any number of them.
bool make_room(const redisReadTask *array_task, Reply &array, Arena &arena) {
    const auto announced = static_cast<size_t>(array_task->elements);
    const size_t count = std::min(announced, std::max(kFirstElements, array.elements.size() * 2));
    Reply *elements = make_replies(arena, count);
    if (elements == nullptr) {
        return false;
    }
    std::ranges::copy(array.elements, elements);
    array.elements = {elements, count};
    return true;
}

// The place of a reply: in its array, or on its own. nullptr without memory.
Reply *place(const redisReadTask *task) {
    Arena &arena = arena_of(task);
    if (task->parent == nullptr) {
        return make_replies(arena, 1);
    }
    auto &array = *static_cast<Reply *>(task->parent->obj);
    const auto at = static_cast<size_t>(task->idx);
    return at < array.elements.size() || make_room(task->parent, array, arena) ? &array.elements[at] : nullptr;
}

Reply *place(const redisReadTask *task, Reply::Type type) {
    Reply *reply = place(task);
    if (reply != nullptr) {
        reply->type = type;
    }
    return reply;
}

void *make_text(const redisReadTask *task, char *text, size_t length) {
    Reply *reply = place(task, task->type == REDIS_REPLY_ERROR    ? Reply::Type::kError
                               : task->type == REDIS_REPLY_STATUS ? Reply::Type::kStatus
                                                                  : Reply::Type::kString);
    const char *copy = reply != nullptr ? arena_of(task).keep({text, length}) : nullptr;
    if (copy == nullptr) {
        return nullptr;
    }
    reply->text = {copy, length};
    return reply;
}

void *make_integer(const redisReadTask *task, long long value) {
    Reply *reply = place(task, Reply::Type::kInteger);
    if (reply != nullptr) {
        reply->integer = value;
    }
    return reply;
}

// hiredis 0.14 counts in int, 1.0 and later in size_t. From 1.0 on it reads RESP3 as well: that is never asked for, but
// a server may send what it likes.
template <typename Functions>
constexpr Functions all_functions() {
    Functions functions{};
    functions.createString = make_text;
    functions.createArray = [](const redisReadTask *task, auto) -> void * { return place(task, Reply::Type::kArray); };
    functions.createInteger = make_integer;
    functions.createNil = [](const redisReadTask *task) -> void * { return place(task, Reply::Type::kNil); };
    functions.freeObject = [](void *) {};
    if constexpr (requires { functions.createDouble; }) {
        functions.createDouble = [](const redisReadTask *task, double, char *text, size_t length) {
            return make_text(task, text, length);
        };
        functions.createBool = [](const redisReadTask *task, int value) { return make_integer(task, value); };
    }
    return functions;
}

constinit redisReplyObjectFunctions reply_functions = all_functions<redisReplyObjectFunctions>();

redisReader *new_reader() {
    redisReader *reader = redisReaderCreateWithFunctions(&reply_functions);
    if (reader == nullptr) {
        throw std::bad_alloc();
    }
    reader->maxbuf = 0;  // what is kept of its memory is settled here: hiredis ends the process when it gets no other
    return reader;
}

}  // namespace

void AnyReply::Free::operator()(redisReader *reader) const { redisReaderFree(reader); }

// A line at a time: every reply ends with one, so that hiredis never gets the beginning of what follows.
Reply *AnyReply::take(std::string_view &bytes, Arena &arena) {
    if (!reader_) {
        reader_.reset(new_reader());
    }
    reader_->privdata = &arena;
    void *reply = nullptr;
    while (reply == nullptr && !bytes.empty()) {
        const std::string_view line = bytes.substr(0, std::min(bytes.find('\n'), bytes.size() - 1) + 1);
        bytes.remove_prefix(line.size());
        taken_ += line.size();
        if (redisReaderFeed(reader_.get(), line.data(), line.size()) != REDIS_OK ||
            redisReaderGetReply(reader_.get(), &reply) != REDIS_OK) {
            if (reader_->err == REDIS_ERR_OOM) {
                throw std::bad_alloc();
            }
            error_ = reader_->errstr;
            return nullptr;
        }
    }
    // hiredis does not look at how a string ends, and takes what follows for the next reply.
    if (reply != nullptr && reader_->pos != reader_->len) {
        error_ = "Protocol error, a reply does not end with its line";
        return nullptr;
    }
    if (reply != nullptr) {
        if (taken_ > kKept) {
            reader_.reset();
        }
        taken_ = 0;
    }
    return static_cast<Reply *>(reply);
}

}  // namespace mom::redis
