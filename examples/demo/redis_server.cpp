#include "redis_server.h"

#include <chrono>
#include <csignal>
#include <iterator>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>

#include <ox_mom.h>

#include "child.h"

namespace demo {

namespace {

bool answers(const std::string &store) {
    MomClient *client = ox_mom_client_create(store.c_str());
    const bool connected = client != nullptr && ox_mom_client_connect_sync(client, 0) == 0;
    ox_mom_client_destroy(client);
    return connected;
}

}  // namespace

RedisServer::RedisServer() { start(); }

RedisServer::~RedisServer() { stop(SIGTERM); }

void RedisServer::start() {
    std::string directory = directory_.path();
    std::string socket = directory + "/redis.sock";
    std::string log = directory + "/redis.log";
    std::string words[] = {
        "redis-server", "--port",    "0", "--unixsocket", socket, "--databases", "32", "--save", "", "--dir",
        directory,      "--logfile", log};
    char *arguments[std::size(words) + 1] = {};
    for (size_t i = 0; i < std::size(words); ++i) {
        arguments[i] = words[i].data();
    }
    if (!spawn_apart("redis-server", nullptr, arguments, pid_)) {
        throw std::runtime_error("redis-server does not start: is it installed?");
    }
    constexpr int kTries = 250;
    for (int i = 0; i < kTries; ++i) {
        if (answers(store())) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    const std::string reason = ox_mom_last_error();
    stop(SIGTERM);
    throw std::runtime_error("redis-server does not answer: " + reason);
}

void RedisServer::restart() {
    stop(SIGKILL);
    start();
}

void RedisServer::stop(int signal) {
    if (pid_ > 0) {
        kill(pid_, signal);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }
}

}  // namespace demo
