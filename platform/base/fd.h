// A descriptor and its owner.
#pragma once

#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace base {

class Fd {
public:
    Fd() = default;

    // Takes the descriptor over. One that took the place of a standard stream, because the program had closed that, is
    // moved: what others print there must not go into it. -1, and errno tells why, when there is no other place.
    explicit Fd(int fd) : fd_(fd) {
        if (fd_ >= 0 && fd_ <= STDERR_FILENO) {
            fd_ = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
            close(fd);
        }
    }

    Fd(Fd &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Fd &operator=(Fd &&other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Fd() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }

    explicit operator bool() const { return fd_ >= 0; }
    int get() const { return fd_; }
    int release() { return std::exchange(fd_, -1); }

private:
    int fd_ = -1;
};

}  // namespace base
