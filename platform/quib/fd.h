// Descriptors and their owners.
#pragma once

#include <utility>

namespace quib {

class Fd {
public:
    Fd() = default;
    // Takes the descriptor over. One that took the place of a standard stream, because that was closed, is moved: what
    // is done to descriptor 1 during a command must not hit it.
    explicit Fd(int fd);
    Fd(Fd &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Fd &operator=(Fd &&other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Fd();

    explicit operator bool() const { return fd_ >= 0; }
    int get() const { return fd_; }
    int release() { return std::exchange(fd_, -1); }

private:
    int fd_ = -1;
};

// One that a forked child closes at once: a module is served by one process, and an operator who waits must see the end
// of the connection when that process dies.
class ParentFd {
public:
    ParentFd() = default;
    explicit ParentFd(Fd fd);
    ParentFd(ParentFd &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    ParentFd &operator=(ParentFd &&other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~ParentFd();

    int get() const { return fd_; }

private:
    int fd_ = -1;
};

}  // namespace quib
