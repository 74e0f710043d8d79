#include "parent_fd.h"

#include "process.h"

namespace quib {

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
