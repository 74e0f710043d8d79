#include "directory.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "report.h"

namespace quib {

namespace {

constexpr mode_t kDirectoryMode = 0700;
constexpr mode_t kOthersMayWrite = S_IWGRP | S_IWOTH;

// Taken for moments only; who holds it longer is no module.
constexpr std::chrono::milliseconds kLockPatience(2000);
constexpr std::chrono::milliseconds kLockPause(5);

bool is_trusted(const std::string &path, int fd) {
    struct stat status {};
    if (fstat(fd, &status) != 0) {
        report("%s: %s", path.c_str(), std::strerror(errno));
        return false;
    }
    if (status.st_uid != geteuid() && status.st_uid != 0) {
        report("%s belongs to another user", path.c_str());
        return false;
    }
    if ((status.st_mode & kOthersMayWrite) != 0) {
        report("%s: others may write there (mode %04o)", path.c_str(), status.st_mode & 07777U);
        return false;
    }
    return true;
}

}  // namespace

bool LockedDirectory::open(const std::string &path) {
    path_ = path;
    if (mkdir(path.c_str(), kDirectoryMode) != 0 && errno != EEXIST) {
        report("cannot make %s: %s", path.c_str(), std::strerror(errno));
        return false;
    }
    fd_ = Fd(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!fd_) {
        report("cannot open %s: %s", path.c_str(), std::strerror(errno));
        return false;
    }
    return is_trusted(path, fd_.get()) && lock();
}

bool LockedDirectory::lock() const {
    const auto limit = std::chrono::steady_clock::now() + kLockPatience;
    while (flock(fd_.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK || std::chrono::steady_clock::now() > limit) {
            report("cannot lock %s: %s", path_.c_str(), std::strerror(errno));
            return false;
        }
        std::this_thread::sleep_for(kLockPause);
    }
    return true;
}

}  // namespace quib
