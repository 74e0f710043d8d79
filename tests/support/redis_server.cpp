#include "redis_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace test_support {

namespace fs = std::filesystem;
using std::chrono::steady_clock;

namespace {

constexpr char kDirectoryPrefix[] = "ox-redis-";
constexpr auto kStartLimit = std::chrono::seconds(20);
constexpr timeval kReplyLimit = {20, 0};

[[noreturn]] void fail(const std::string &what) { throw std::runtime_error(what); }

bool is_directory(int fd, const std::string &path) {
    struct stat opened = {};
    struct stat named = {};
    return fstat(fd, &opened) == 0 && stat(path.c_str(), &named) == 0 && opened.st_ino == named.st_ino;
}

int lock_directory(const std::string &path) {
    const int fd = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0 && (flock(fd, LOCK_EX | LOCK_NB) != 0 || !is_directory(fd, path))) {
        close(fd);
        return -1;
    }
    return fd;
}

void remove_abandoned(const fs::path &parent) {
    std::error_code ignored;
    for (const auto &entry : fs::directory_iterator(parent, ignored)) {
        if (!entry.path().filename().string().starts_with(kDirectoryPrefix)) {
            continue;
        }
        const int fd = lock_directory(entry.path());
        if (fd >= 0) {
            fs::remove_all(entry.path(), ignored);
            close(fd);
        }
    }
}

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

PrivateDirectory::PrivateDirectory() : lock_(-1) {
    const fs::path parent = fs::temp_directory_path();
    remove_abandoned(parent);
    while (lock_ < 0) {
        std::string name = (parent / (std::string(kDirectoryPrefix) + "XXXXXX")).string();
        if (mkdtemp(name.data()) == nullptr) {
            fail("no directory " + name + ": " + std::strerror(errno));
        }
        lock_ = lock_directory(name);
        path_ = name;
    }
}

PrivateDirectory::~PrivateDirectory() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
    close(lock_);
}

void RedisReplyDeleter::operator()(redisReply *reply) const { freeReplyObject(reply); }

void RedisConnection::ContextDeleter::operator()(redisContext *context) const { redisFree(context); }

RedisConnection::RedisConnection(const std::string &socket_path)
    : context_(redisConnectUnixWithTimeout(socket_path.c_str(), kReplyLimit)) {
    if (context_ == nullptr || context_->err != 0) {
        fail("cannot connect to " + socket_path);
    }
    redisSetTimeout(context_.get(), kReplyLimit);
}

RedisConnection::RedisConnection(int port) : context_(redisConnectWithTimeout("127.0.0.1", port, kReplyLimit)) {
    if (context_ == nullptr || context_->err != 0) {
        fail("cannot connect to port " + std::to_string(port));
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
        fail(std::string("no reply: ") + context_->errstr);
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
        fail(arguments[0] + ": " + reply->str);
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
            fail(options_.program + " does not start:\n" + log());
        }
        if (steady_clock::now() > limit) {
            kill();
            fail(options_.program + " does not answer:\n" + log());
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
        fail("no port is free");
    }
    return ntohs(address.sin_port);
}

}  // namespace test_support
