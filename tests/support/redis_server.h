// Private Redis or Valkey servers for tests, each in a directory of its own.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "private_directory.h"
#include "redis_connection.h"

namespace test_support {

struct RedisOptions {
    std::string program = "redis-server";
    bool tcp = false;  // an ephemeral port of 127.0.0.1 in place of the Unix socket
    int databases = 32;
    std::vector<std::string> arguments;  // more, as on the server's command line
    std::string password;                // what its own connections log in with
    std::string sentinel_config;         // not empty: runs as a sentinel with these settings
};

// The server dies with the thread that started it, however that ends, and is gone with its directory afterwards.
class RedisServer {
public:
    enum class Data { kDropped, kKept };

    explicit RedisServer(RedisOptions options = {});
    ~RedisServer();
    RedisServer(const RedisServer &) = delete;
    RedisServer &operator=(const RedisServer &) = delete;

    // Returns when the server answers. Throws std::runtime_error with the server's log when it does not start.
    void start();
    void kill();
    void restart(Data data);
    // From its next start on.
    void set_databases(int databases) { options_.databases = databases; }
    // SIGSTOP and SIGCONT: a paused server accepts connections and answers nothing.
    void pause();
    void resume();

    RedisConnection connection() const;
    std::string socket_path() const { return directory_.file("socket"); }
    int port() const { return port_; }
    std::string store_name() const;
    std::string log() const;

private:
    std::vector<std::string> command_line() const;
    void start_process();
    bool answers() const;
    void wait_until_it_answers();

    RedisOptions options_;
    PrivateDirectory directory_;
    int port_ = 0;
    pid_t pid_ = -1;
};

// Whether a program of that name is found along $PATH.
bool program_is_installed(const std::string &name);

// A port of 127.0.0.1 on which nobody listens.
int unused_port();

}  // namespace test_support
