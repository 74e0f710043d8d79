// Descriptors and their owners.
#pragma once

#include <utility>

#include "base/fd.h"

namespace quib {

using base::Fd;

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
