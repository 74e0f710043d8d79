#include "fake_module.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include <protocol.h>

namespace console_test {

namespace {

std::string frame(quib::FrameKind kind, const std::string &payload) {
    const quib::FrameHeader header = quib::frame_header(kind, static_cast<uint32_t>(payload.size()));
    return std::string(header.data(), header.size()) + payload;
}

int listen_on(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 || listen(fd, 16) != 0) {
        throw std::runtime_error(path + ": " + std::strerror(errno));
    }
    return fd;
}

bool send_all(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<size_t>(sent));
    }
    return true;
}

}  // namespace

std::string output(const std::string &text) { return frame(quib::kFrameOutput, text); }
std::string diagnostic(const std::string &text) { return frame(quib::kFrameDiagnostic, text); }
std::string exit_frame(int code) { return frame(quib::kFrameExit, std::to_string(code)); }

Reply echo(const std::string &line) {
    return line.empty() ? exit_frame(0) : output("[" + line + "]\n") + exit_frame(0);
}

Answer with_commands(const std::string &commands, const Answer &answer) {
    return [=](const std::string &line) -> Reply {
        return line == ".commands" ? Reply(output(commands) + exit_frame(0)) : answer(line);
    };
}

FakeModule::FakeModule(const std::string &path, Answer answer, Greeting greeting)
    : path_(path), answer_(std::move(answer)), greeting_(std::move(greeting)), listener_(listen_on(path)), wake_{} {
    if (pipe(wake_) != 0) {
        throw std::runtime_error("no pipe");
    }
    thread_ = std::thread([this] { serve(); });
}

FakeModule::~FakeModule() {
    {
        const std::lock_guard lock(mutex_);
        stops_ = true;
    }
    static_cast<void>(write(wake_[1], "", 1));
    thread_.join();
    unlink(path_.c_str());
    for (const auto &[fd, heard] : operators_) {
        close(fd);
    }
    for (const int fd : {listener_, wake_[0], wake_[1]}) {
        close(fd);
    }
}

std::vector<std::string> FakeModule::lines() {
    const std::lock_guard lock(mutex_);
    return lines_;
}

size_t FakeModule::operators() {
    const std::lock_guard lock(mutex_);
    return operators_.size();
}

void FakeModule::dismiss(const std::string &bytes) {
    const std::lock_guard lock(mutex_);
    for (const auto &[fd, heard] : operators_) {
        send_all(fd, bytes);
        shutdown(fd, SHUT_RDWR);
    }
}

void FakeModule::serve() {
    for (;;) {
        std::vector<pollfd> descriptors = {{wake_[0], POLLIN, 0}, {listener_, POLLIN, 0}};
        {
            const std::lock_guard lock(mutex_);
            if (stops_) {
                return;
            }
            for (const auto &[fd, heard] : operators_) {
                descriptors.push_back({fd, POLLIN, 0});
            }
        }
        poll(descriptors.data(), descriptors.size(), -1);
        if (descriptors[1].revents != 0) {
            accept_operator();
        }
        for (size_t i = 2; i < descriptors.size(); ++i) {
            const int fd = descriptors[i].fd;
            if (descriptors[i].revents != 0 && !hear(fd, operators_[fd])) {
                const std::lock_guard lock(mutex_);
                close(fd);
                operators_.erase(fd);
            }
        }
    }
}

void FakeModule::accept_operator() {
    const int fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    send_all(fd, greeting_.bytes);
    if (greeting_.closes) {
        close(fd);
        return;
    }
    const std::lock_guard lock(mutex_);
    operators_[fd] = "";
}

bool FakeModule::hear(int fd, std::string &heard) {
    char block[8192];
    const ssize_t length = recv(fd, block, sizeof block, 0);
    if (length <= 0) {
        return false;
    }
    heard.append(block, static_cast<size_t>(length));
    for (size_t end = 0; (end = heard.find('\n')) != std::string::npos;) {
        const std::string line = heard.substr(0, end);
        heard.erase(0, end + 1);
        if (!answer_line(fd, line)) {
            return false;
        }
    }
    return true;
}

bool FakeModule::answer_line(int fd, const std::string &line) {
    if (line != ".commands") {
        const std::lock_guard lock(mutex_);
        lines_.push_back(line);
    }
    const Reply reply = answer_(line);
    return send_all(fd, reply.bytes) && !reply.closes;
}

void leave_stale_socket(const std::string &path) { close(listen_on(path)); }

}  // namespace console_test
