#include "redis_connection.h"

#include <sys/time.h>

#include <algorithm>
#include <stdexcept>

namespace test_support {

namespace {

constexpr timeval kReplyLimit = {20, 0};

}  // namespace

void RedisReplyDeleter::operator()(redisReply *reply) const { freeReplyObject(reply); }

void RedisConnection::ContextDeleter::operator()(redisContext *context) const { redisFree(context); }

RedisConnection::RedisConnection(const std::string &socket_path)
    : context_(redisConnectUnixWithTimeout(socket_path.c_str(), kReplyLimit)) {
    if (context_ == nullptr || context_->err != 0) {
        throw std::runtime_error("cannot connect to " + socket_path);
    }
    redisSetTimeout(context_.get(), kReplyLimit);
}

RedisConnection::RedisConnection(int port) : context_(redisConnectWithTimeout("127.0.0.1", port, kReplyLimit)) {
    if (context_ == nullptr || context_->err != 0) {
        throw std::runtime_error("cannot connect to port " + std::to_string(port));
    }
    redisSetTimeout(context_.get(), kReplyLimit);
}

void RedisConnection::queue(const std::vector<std::string> &arguments) {
    std::vector<const char *> values;
    std::vector<size_t> lengths;
    for (const std::string &argument : arguments) {
        values.push_back(argument.data());
        lengths.push_back(argument.size());
    }
    redisAppendCommandArgv(context_.get(), static_cast<int>(values.size()), values.data(), lengths.data());
}

RedisReply RedisConnection::read_reply() {
    void *reply = nullptr;
    if (redisGetReply(context_.get(), &reply) != REDIS_OK) {
        throw std::runtime_error(std::string("no reply: ") + context_->errstr);
    }
    return RedisReply(static_cast<redisReply *>(reply));
}

RedisReply RedisConnection::command(const std::vector<std::string> &arguments) {
    queue(arguments);
    return read_reply();
}

RedisReply RedisConnection::must(const std::vector<std::string> &arguments) {
    RedisReply reply = command(arguments);
    if (reply->type == REDIS_REPLY_ERROR) {
        throw std::runtime_error(arguments[0] + ": " + reply->str);
    }
    return reply;
}

std::string RedisConnection::text(const std::vector<std::string> &arguments) {
    const RedisReply reply = must(arguments);
    return reply->str == nullptr ? std::string() : std::string(reply->str, static_cast<size_t>(reply->len));
}

std::vector<std::string> RedisConnection::list(const std::vector<std::string> &arguments) {
    const RedisReply reply = must(arguments);
    std::vector<std::string> values;
    for (size_t i = 0; i < reply->elements; ++i) {
        const redisReply *element = reply->element[i];
        values.emplace_back(element->str, static_cast<size_t>(element->len));
    }
    return values;
}

void RedisConnection::repeat(const std::vector<std::string> &arguments, int times) {
    constexpr int kAtOnce = 1000;
    for (int sent = 0; sent < times;) {
        const int batch = std::min(kAtOnce, times - sent);
        for (int i = 0; i < batch; ++i) {
            queue(arguments);
        }
        for (int i = 0; i < batch; ++i) {
            read_reply();
        }
        sent += batch;
    }
}

RedisReply RedisConnection::next_message() { return read_reply(); }

}  // namespace test_support
