#include "fd.h"

#include <fcntl.h>
#include <unistd.h>

#include "process.h"

namespace quib {

Fd::Fd(int fd) : fd_(fd) {
    if (fd_ >= 0 && fd_ <= STDERR_FILENO) {
        const int moved = fcntl(fd_, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
        close(fd_);
        fd_ = moved;
    }
}

Fd::~Fd() {
    if (fd_ >= 0) {
        close(fd_);
    }
}

ParentFd::ParentFd(Fd fd) {
    if (fd) {
        Process::get().add_fd(fd.get());
        fd_ = fd.release();
    }
}

ParentFd::~ParentFd() {
    // In a forked child the number may long be another's.
    if (fd_ >= 0) {
        Process::get().close_fd(fd_);
    }
}

}  // namespace quib
