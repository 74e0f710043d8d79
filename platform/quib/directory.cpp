#include "directory.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "process.h"
#include "protocol.h"
#include "report.h"
#include "socket_file.h"
#include "trusted_path.h"

namespace quib {

namespace {

constexpr mode_t kSharedMode = 01777;
constexpr mode_t kLockMode = 0600;

// Taken for moments only; who holds it longer is no module.
constexpr std::chrono::milliseconds kLockPatience(2000);
constexpr std::chrono::milliseconds kLockPause(5);

// Among the user's processes. Another user cannot open the file; one who has put something else in its place has
// prevented the lock, and no more.
class Lock {
public:
    explicit Lock(int directory)
        : fd_(openat(directory, (".lock-" + std::to_string(geteuid())).c_str(),
                     O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, kLockMode)) {
        struct stat status {};
        const bool ours = fd_ && fstat(fd_.get(), &status) == 0 && S_ISREG(status.st_mode) &&
                          status.st_uid == geteuid() && (status.st_mode & ~kLockMode & ALLPERMS) == 0;
        held_ = ours && take();
    }
    ~Lock() {
        if (held_) {
            flock(fd_.get(), LOCK_UN);  // a child that was forked meanwhile must not keep it
        }
    }
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;

    bool held() const { return held_; }

private:
    bool take() const {
        const auto limit = std::chrono::steady_clock::now() + kLockPatience;
        while (flock(fd_.get(), LOCK_EX | LOCK_NB) != 0) {
            if (errno != EWOULDBLOCK || std::chrono::steady_clock::now() > limit) {
                return false;
            }
            std::this_thread::sleep_for(kLockPause);
        }
        return true;
    }

    Fd fd_;
    bool held_ = false;
};

// MODULE, MODULE.2 and so on.
bool is_instance(std::string_view name, std::string_view module) {
    if (!name.starts_with(module)) {
        return false;
    }
    name.remove_prefix(module.size());
    return name.empty() || (name.size() > 1 && name.front() == '.' &&
                            std::ranges::all_of(name.substr(1), [](char c) { return c >= '0' && c <= '9'; }));
}

// Those of other processes that there are; in no order.
std::vector<std::string> instances_in(int directory, const std::string &module) {
    std::vector<std::string> names;
    Fd reading(openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, int (*)(DIR *)> entries(reading ? fdopendir(reading.get()) : nullptr, closedir);
    if (!entries) {
        return names;
    }
    reading.release();
    while (const dirent *entry = readdir(entries.get())) {
        if (is_instance(entry->d_name, module) && !Process::get().has_name(entry->d_name)) {
            names.emplace_back(entry->d_name);
        }
    }
    return names;
}

enum class State { kDead, kNotToRemove, kUnknown };

// A socket gets its name when it is listened on already, and so nobody is on the way to it.
State state_of(int directory, const std::string &name) {
    const auto file = open_socket_file(directory, name);
    if (!file) {
        return errno == ENOENT || errno == ENOTSOCK ? State::kNotToRemove : State::kUnknown;
    }
    if (file->owner != geteuid()) {
        return State::kNotToRemove;
    }
    const Fd probe = make_socket();
    if (probe && (connect_to(probe.get(), *file) == 0 || errno == EAGAIN)) {
        return State::kNotToRemove;
    }
    return probe && errno == ECONNREFUSED ? State::kDead : State::kUnknown;
}

// As earlier versions made it, and so shut out all users but the first.
bool is_private(int directory) {
    struct stat status {};
    return fstat(directory, &status) == 0 && (status.st_mode & ALLPERMS) == S_IRWXU;
}

}  // namespace

bool SocketDirectory::open(const std::string &path) {
    path_ = path;
    TrustedDirectory found = open_trusted(path, geteuid(), IfMissing::kMake);
    if (!found.fd) {
        report("%s", found.reason.c_str());
        return false;
    }
    fd_ = ParentFd(std::move(found.fd));
    if (path == kSystemDirectory && geteuid() == 0 && (found.made || is_private(fd_.get()))) {
        fchmod(fd_.get(), kSharedMode);
    }
    return true;
}

bool SocketDirectory::is_shared() const {
    struct stat status {};
    return fstat(fd_.get(), &status) == 0 && (status.st_mode & S_ISVTX) != 0;
}

bool SocketDirectory::clear(const std::string &module) const {
    if (instances_in(fd(), module).empty()) {
        return true;
    }
    const Lock lock(fd());
    if (!lock.held()) {
        return true;
    }
    return std::ranges::all_of(instances_in(fd(), module), [this](const std::string &name) { return clear_one(name); });
}

bool SocketDirectory::clear_one(const std::string &name) const {
    const State state = state_of(fd(), name);
    if (state == State::kUnknown) {
        report("%s: %s", path_to(name).c_str(), std::strerror(errno));
        return false;
    }
    if (state == State::kDead) {
        unlinkat(fd(), name.c_str(), 0);
    }
    return true;
}

}  // namespace quib
