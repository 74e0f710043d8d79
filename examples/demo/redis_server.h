// A Redis server of the demo's own: on a Unix socket in a directory that goes away with it.
#pragma once

#include <string>
#include <sys/types.h>

#include "temporary_directory.h"

namespace demo {

class RedisServer {
public:
    // Throws std::runtime_error when the server does not come up.
    RedisServer();
    RedisServer(const RedisServer &) = delete;
    RedisServer &operator=(const RedisServer &) = delete;
    ~RedisServer();

    // As a crash and a new start: all that was stored is gone.
    void restart();

    std::string store() const { return "unix://" + directory_.path() + "/redis.sock"; }

private:
    void start();
    void stop(int signal);

    TemporaryDirectory directory_;
    pid_t pid_ = -1;
};

}  // namespace demo
