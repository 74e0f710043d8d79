#include "trusted_path.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <filesystem>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "protocol.h"

namespace quib {

namespace {

constexpr mode_t kNewMode = 0700;
constexpr mode_t kOthersMayWrite = S_IWGRP | S_IWOTH;
constexpr int kMostLinks = 40;  // as the kernel follows

class Walk {
public:
    Walk(const std::string &path, uid_t user, IfMissing if_missing)
        : path_(path), user_(user), makes_(if_missing == IfMissing::kMake) {}

    TrustedDirectory run() {
        if (begin() && reach_end() && is_kept_from_others()) {
            found_.fd = Fd(openat(at_.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
            if (!found_.fd) {
                fail("cannot open");
            }
        }
        return std::move(found_);
    }

private:
    bool begin() {
        std::error_code error;
        const std::string absolute = std::filesystem::absolute(path_, error);
        if (error) {
            errno = error.value();
            return fail("cannot open");
        }
        append_steps(absolute);
        struct stat status {};
        if (!go_to_root() || fstat(at_.get(), &status) != 0) {
            return fail("cannot open");
        }
        owner_of_root_ = status.st_uid;
        return true;
    }

    bool go_to_root() {
        at_ = Fd(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
        reached_.clear();
        return static_cast<bool>(at_);
    }

    // The part that is still to be gone, ahead of what follows it.
    void append_steps(std::string_view way) {
        std::deque<std::string> steps;
        for (size_t from = 0; from < way.size();) {
            const size_t end = std::min(way.find('/', from), way.size());
            if (end > from) {
                steps.emplace_back(way.substr(from, end - from));
            }
            from = end + 1;
        }
        steps_.insert(steps_.begin(), steps.begin(), steps.end());
    }

    bool reach_end() {
        while (!steps_.empty()) {
            const std::string name = std::move(steps_.front());
            steps_.pop_front();
            if (!step(name)) {
                return false;
            }
        }
        return true;
    }

    bool step(const std::string &name) {
        if (makes_ && steps_.empty()) {
            found_.made = mkdirat(at_.get(), name.c_str(), kNewMode) == 0;
            if (!found_.made && errno != EEXIST) {
                return fail("cannot make");
            }
        }
        Fd next(openat(at_.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        struct stat status {};
        if (!next || fstat(next.get(), &status) != 0) {
            found_.missing = errno == ENOENT;
            return fail(makes_ && found_.missing ? "cannot make" : "cannot open");
        }
        const std::string before = std::exchange(reached_, reached_ + "/" + name);
        if (!is_trusted(status.st_uid)) {
            found_.stranger = status.st_uid;
            found_.reason = here() + " belongs to another user";
            return false;
        }
        if (S_ISLNK(status.st_mode)) {
            reached_ = before;
            return follow(next);
        }
        if (!S_ISDIR(status.st_mode)) {
            errno = ENOTDIR;
            return fail("cannot open");
        }
        at_ = std::move(next);
        return steps_.empty() || (status.st_mode & S_ISVTX) != 0 || is_closed(status.st_mode);
    }

    bool follow(const Fd &link) {
        std::array<char, PATH_MAX> target{};
        const ssize_t length = readlinkat(link.get(), "", target.data(), target.size());
        errno = length < 0 ? errno : ELOOP;
        if (length < 0 || ++links_ > kMostLinks) {
            return fail("cannot open");
        }
        const std::string_view way(target.data(), static_cast<size_t>(length));
        append_steps(way);
        return !way.starts_with('/') || go_to_root() || fail("cannot open");
    }

    bool is_trusted(uid_t owner) const { return owner == user_ || owner == 0 || owner == owner_of_root_; }

    bool is_closed(mode_t mode) {
        if ((mode & kOthersMayWrite) == 0) {
            return true;
        }
        char digits[8];
        snprintf(digits, sizeof digits, "%04o", static_cast<unsigned>(mode & 07777U));
        found_.reason = here() + ": others may write there (mode " + digits + ")";
        return false;
    }

    bool is_kept_from_others() {
        struct stat status {};
        if (fstat(at_.get(), &status) != 0) {
            return fail("cannot open");
        }
        const bool is_roots = status.st_uid == 0 || status.st_uid == owner_of_root_;
        const bool shared = path_ == kSystemDirectory && is_roots && (status.st_mode & S_ISVTX) != 0;
        return shared || is_closed(status.st_mode);
    }

    // The directory as it was asked for, or one above it.
    std::string here() const { return steps_.empty() ? path_ : reached_ + " on the way to " + path_; }

    bool fail(const char *what) {
        const int error = errno;
        found_.reason = std::string(what) + " " + path_ + ": " + std::strerror(error);
        return false;
    }

    const std::string &path_;
    const uid_t user_;
    const bool makes_;
    uid_t owner_of_root_ = 0;
    Fd at_;
    std::string reached_;  // its name
    std::deque<std::string> steps_;
    int links_ = 0;
    TrustedDirectory found_;
};

}  // namespace

TrustedDirectory open_trusted(const std::string &path, uid_t user, IfMissing if_missing) {
    return Walk(path, user, if_missing).run();
}

}  // namespace quib
