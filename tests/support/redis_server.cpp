#include "redis_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace test_support {

using std::chrono::steady_clock;

namespace {

constexpr auto kStartLimit = std::chrono::seconds(20);

sockaddr_in loopback(int port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

// In the forked child, where nothing may be allocated, in case there were threads: becomes the program, with everything
// it prints in the log.
[[noreturn]] void become(const std::vector<char *> &arguments, const std::string &log, pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(1);
    }
    const int output = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

}  // namespace

RedisServer::RedisServer(RedisOptions options) : options_(std::move(options)) { start(); }

RedisServer::~RedisServer() { kill(); }

std::vector<std::string> RedisServer::command_line() const {
    if (!options_.sentinel_config.empty()) {
        return {options_.program, directory_.file("sentinel.conf"), "--sentinel"};
    }
    std::vector<std::string> line = {options_.program,
                                     "--save",
                                     "",
                                     "--appendonly",
                                     "no",
                                     "--dir",
                                     directory_.path(),
                                     "--databases",
                                     std::to_string(options_.databases),
                                     "--port",
                                     std::to_string(port_)};
    if (!options_.tcp) {
        line.insert(line.end(), {"--unixsocket", socket_path()});
    }
    line.insert(line.end(), options_.arguments.begin(), options_.arguments.end());
    return line;
}

// A port that was free may be somebody else's by the time that the server wants it.
void RedisServer::start() {
    constexpr int kTries = 5;
    const bool wants_port = port_ == 0 && (options_.tcp || !options_.sentinel_config.empty());
    for (int tries = 1;; ++tries) {
        if (wants_port) {
            port_ = unused_port();
        }
        try {
            start_process();
            return;
        } catch (const std::runtime_error &) {
            if (!wants_port || tries == kTries) {
                throw;
            }
        }
    }
}

void RedisServer::start_process() {
    if (!options_.sentinel_config.empty()) {
        std::ofstream(directory_.file("sentinel.conf"))
            << "port " << port_ << "\nbind 127.0.0.1\ndir " << directory_.path() << "\n"
            << options_.sentinel_config;
    }
    unlink(socket_path().c_str());
    std::vector<std::string> line = command_line();
    std::vector<char *> arguments;
    for (std::string &word : line) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    const std::string log_path = directory_.file("log");
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ == 0) {
        become(arguments, log_path, parent);
    }
    wait_until_it_answers();
}

bool RedisServer::answers() const {
    try {
        RedisConnection made = connection();
        made.must({"PING"});
        const std::string own = "process_id:" + std::to_string(pid_) + "\r\n";
        return made.text({"INFO", "server"}).find(own) != std::string::npos;
    } catch (const std::runtime_error &) {
        return false;
    }
}

void RedisServer::wait_until_it_answers() {
    const auto limit = steady_clock::now() + kStartLimit;
    while (!answers()) {
        if (waitpid(pid_, nullptr, WNOHANG) == pid_) {
            pid_ = -1;
            throw std::runtime_error(options_.program + " does not start:\n" + log());
        }
        if (steady_clock::now() > limit) {
            kill();
            throw std::runtime_error(options_.program + " does not answer:\n" + log());
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

void RedisServer::kill() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }
}

void RedisServer::restart(Data data) {
    if (data == Data::kKept) {
        connection().must({"SAVE"});
    }
    kill();
    if (data == Data::kDropped) {
        unlink(directory_.file("dump.rdb").c_str());
    }
    start();
}

void RedisServer::pause() {
    ::kill(pid_, SIGSTOP);
    int status = 0;
    waitpid(pid_, &status, WUNTRACED);
}

void RedisServer::resume() { ::kill(pid_, SIGCONT); }

RedisConnection RedisServer::connection() const {
    RedisConnection made = port_ != 0 ? RedisConnection(port_) : RedisConnection(socket_path());
    if (!options_.password.empty()) {
        made.must({"AUTH", options_.password});
    }
    return made;
}

std::string RedisServer::store_name() const {
    return port_ != 0 ? "redis://127.0.0.1:" + std::to_string(port_) : "unix://" + socket_path();
}

std::string RedisServer::log() const {
    std::ostringstream text;
    text << std::ifstream(directory_.file("log")).rdbuf();
    return text.str();
}

bool program_is_installed(const std::string &name) {
    const char *path = std::getenv("PATH");
    std::istringstream places(path == nullptr ? "" : path);
    for (std::string place; std::getline(places, place, ':');) {
        if (access((place + "/" + name).c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}

int unused_port() {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    auto *generic = reinterpret_cast<sockaddr *>(&address);
    const bool found = bind(fd, generic, length) == 0 && getsockname(fd, generic, &length) == 0;
    close(fd);
    if (!found) {
        throw std::runtime_error("no port is free");
    }
    return ntohs(address.sin_port);
}

}  // namespace test_support
