// A test's own way to a server, past the client under test.
#pragma once

#include <hiredis/hiredis.h>

#include <memory>
#include <string>
#include <vector>

namespace test_support {

struct RedisReplyDeleter {
    void operator()(redisReply *reply) const;
};
using RedisReply = std::unique_ptr<redisReply, RedisReplyDeleter>;

// Throws std::runtime_error when the connection fails.
class RedisConnection {
public:
    explicit RedisConnection(const std::string &socket_path);
    explicit RedisConnection(int port);

    RedisReply command(const std::vector<std::string> &arguments);
    // As command(), but an error reply throws too.
    RedisReply must(const std::vector<std::string> &arguments);
    std::string text(const std::vector<std::string> &arguments);
    std::vector<std::string> list(const std::vector<std::string> &arguments);
    // Sends the same command many times in one go.
    void repeat(const std::vector<std::string> &arguments, int times);
    // Waits for the next message of a subscription made with must().
    RedisReply next_message();

private:
    void queue(const std::vector<std::string> &arguments);
    RedisReply read_reply();

    struct ContextDeleter {
        void operator()(redisContext *context) const;
    };
    std::unique_ptr<redisContext, ContextDeleter> context_;
};

}  // namespace test_support
