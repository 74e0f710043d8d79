#include "remote_publisher.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <sstream>
#include <stdexcept>

#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

namespace readiness {
namespace {

constexpr timeval kAnswerLimit = {30, 0};

[[noreturn]] void become(int socket, const std::string &store) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(socket, STDIN_FILENO);
    dup2(socket, STDOUT_FILENO);
    execl(READINESS_PUBLISHER, "readiness_publisher", store.c_str(), nullptr);
    _exit(127);
}

}  // namespace

RemotePublisher::RemotePublisher(const std::string &store) : socket_(-1), pid_(-1) {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::runtime_error(std::strerror(errno));
    }
    pid_ = fork();
    if (pid_ == 0) {
        become(ends[1], store);
    }
    close(ends[1]);
    socket_ = ends[0];
    setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &kAnswerLimit, sizeof kAnswerLimit);
}

RemotePublisher::~RemotePublisher() {
    close(socket_);
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
}

void RemotePublisher::publish(const Order &order) {
    std::ostringstream text;
    text << order << '\n';
    const std::string line = text.str();
    if (send(socket_, line.data(), line.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(line.size())) {
        throw std::runtime_error("the publisher is gone");
    }
    std::string answer;
    for (char byte = 0; byte != '\n'; answer += byte) {
        if (recv(socket_, &byte, 1, 0) != 1) {
            throw std::runtime_error("the publisher does not answer");
        }
    }
    if (answer != "\n") {
        throw std::runtime_error("the publisher: " + answer);
    }
}

}  // namespace readiness
