#include "listener.h"

#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

#include "directory.h"
#include "process.h"
#include "protocol.h"
#include "quib.h"
#include "report.h"

namespace quib {

namespace {

constexpr mode_t kSocketMode = 0600;
constexpr int kBacklog = 16;
constexpr int kInstanceLimit = 1000;

enum class Occupant { kNone, kDead, kAlive, kUnknown };

bool make_address(const std::string &path, sockaddr_un &address) {
    if (path.size() >= sizeof address.sun_path) {
        report("%s: the path of a socket has room for %zu bytes only", path.c_str(), sizeof address.sun_path - 1);
        return false;
    }
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, path.size());
    return true;
}

Fd make_socket() { return Fd(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)); }

const sockaddr *generic(const sockaddr_un &address) { return reinterpret_cast<const sockaddr *>(&address); }

// Who has the path, which fits into an address. The directory is locked, so that nobody is between making a socket and
// listening on it.
Occupant occupant_of(const std::string &path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        if (errno == ENOENT) {
            return Occupant::kNone;
        }
        report("%s: %s", path.c_str(), std::strerror(errno));
        return Occupant::kUnknown;
    }
    if (!S_ISSOCK(status.st_mode)) {
        report("%s is in the way: it is no socket", path.c_str());
        return Occupant::kUnknown;
    }
    sockaddr_un address{};
    make_address(path, address);
    const Fd probe = make_socket();
    if (probe && (connect(probe.get(), generic(address), sizeof address) == 0 || errno == EAGAIN)) {
        return Occupant::kAlive;
    }
    if (probe && errno == ECONNREFUSED) {
        return Occupant::kDead;
    }
    report("%s: %s", path.c_str(), std::strerror(errno));
    return Occupant::kUnknown;
}

ino_t inode_of(const std::string &path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

}  // namespace

Listener::Listener(std::string name) : name_(std::move(name)), pid_(getpid()) {}

Listener::~Listener() {
    if (getpid() != pid_) {
        return;
    }
    if (inode_ != 0 && inode_of(path_) == inode_) {
        unlink(path_.c_str());
    }
    Process::get().release_name(name_);
}

int32_t Listener::make(const std::string &module, std::unique_ptr<Listener> &listener) {
    LockedDirectory directory;
    if (!directory.open(socket_directory())) {
        return QUIB_E_SOCKET;
    }
    for (int instance = 1; instance <= kInstanceLimit; ++instance) {
        std::string name = instance == 1 ? module : module + "." + std::to_string(instance);
        std::unique_ptr<Listener> candidate(new Listener(std::move(name)));
        if (!Process::get().take_name(candidate->name_)) {
            candidate->name_.clear();  // another's
            continue;
        }
        const int32_t code = candidate->listen(directory.path());
        if (code == 0) {
            listener = std::move(candidate);
        }
        // Of the further names another process may have one, since it had the first when this one had not.
        if (code != QUIB_E_IN_USE || instance == 1) {
            return code;
        }
    }
    return QUIB_E_IN_USE;
}

int32_t Listener::listen(const std::string &directory) {
    path_ = directory + "/" + name_;
    sockaddr_un address{};
    if (!make_address(path_, address)) {
        return QUIB_E_SOCKET;
    }
    switch (occupant_of(path_)) {
        case Occupant::kAlive:
            return QUIB_E_IN_USE;
        case Occupant::kUnknown:
            return QUIB_E_SOCKET;
        case Occupant::kDead:
            unlink(path_.c_str());
            break;
        case Occupant::kNone:
            break;
    }
    Fd socket = make_socket();
    if (!socket || !bind_to(socket)) {
        report("cannot listen on %s: %s", path_.c_str(), std::strerror(errno));
        return QUIB_E_SOCKET;
    }
    fd_ = ParentFd(std::move(socket));
    return 0;
}

bool Listener::bind_to(const Fd &socket) {
    sockaddr_un address{};
    make_address(path_, address);
    if (bind(socket.get(), generic(address), sizeof address) != 0) {
        return false;
    }
    inode_ = inode_of(path_);
    // Before it listens nobody can connect, whatever the process's umask made of the mode.
    return chmod(path_.c_str(), kSocketMode) == 0 && ::listen(socket.get(), kBacklog) == 0;
}

}  // namespace quib
