#include "listener.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "process.h"
#include "protocol.h"
#include "quib.h"
#include "report.h"
#include "socket_file.h"

namespace quib {

namespace {

constexpr mode_t kSocketMode = 0600;
constexpr int kBacklog = 16;

// Beyond the first numbers, which others may have taken to keep somebody out, nobody can know which comes next.
constexpr int kNumbersInOrder = 1000;
constexpr int kInstanceLimit = kNumbersInOrder + 10;

unsigned random_number() {
    unsigned number = 0;
    return getrandom(&number, sizeof number, 0) == sizeof number ? number : 0;
}

std::string name_of(const std::string &module, int instance) {
    if (instance == 1) {
        return module;
    }
    const unsigned number = instance <= kNumbersInOrder ? static_cast<unsigned>(instance) : random_number();
    return module + "." + std::to_string(number);
}

// One that nobody knows before it is taken. It has some of the module's, because listings of the system's sockets show
// this one.
std::string new_name_for(const std::string &module) {
    constexpr size_t kLongestPart = 48;
    char number[2 * sizeof(unsigned) + 1];
    snprintf(number, sizeof number, "%x", random_number());
    return std::string(".new-") + number + "-" + module.substr(0, kLongestPart);
}

}  // namespace

Listener::Listener(SocketDirectory directory, std::string module)
    : directory_(std::move(directory)), module_(std::move(module)), pid_(getpid()) {}

Listener::~Listener() {
    if (getpid() != pid_) {
        return;
    }
    for (const std::string *name : {&new_name_, &name_}) {
        if (!name->empty()) {
            remove(*name);
        }
    }
    if (!name_.empty()) {
        Process::get().release_name(name_);
    }
}

// No descriptor is opened for it, and no memory taken: there may be none left. 0: there is no such file.
ino_t Listener::inode_of(const std::string &name) const {
    struct stat status {};
    return fstatat(directory_.fd(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 ? status.st_ino : 0;
}

void Listener::remove(const std::string &name) const {
    if (inode_ != 0 && inode_of(name) == inode_) {
        unlinkat(directory_.fd(), name.c_str(), 0);
    }
}

int32_t Listener::make(const std::string &module, std::unique_ptr<Listener> &listener) {
    SocketDirectory directory;
    if (!directory.open(socket_directory()) || !directory.clear(module)) {
        return QUIB_E_SOCKET;
    }
    std::unique_ptr<Listener> made(new Listener(std::move(directory), module));
    if (!made->listen()) {
        report("cannot listen on %s: %s", made->directory_.path_to(module).c_str(), std::strerror(errno));
        return QUIB_E_SOCKET;
    }
    const int32_t code = made->take_name();
    if (code == 0) {
        listener = std::move(made);
    }
    return code;
}

// Under a name that nobody asks for, so that the module's own leads to a socket that is ready, or to none.
bool Listener::listen() {
    Fd socket = make_socket();
    if (!socket || !bind(socket)) {
        return false;
    }
    const auto file = open_socket_file(directory_.fd(), new_name_);
    if (!file) {
        return false;
    }
    // Before it listens nobody can connect, whatever the process's umask made of the mode.
    if (change_mode(*file, kSocketMode) != 0 || ::listen(socket.get(), kBacklog) != 0) {
        return false;
    }
    fd_ = ParentFd(std::move(socket));
    return true;
}

bool Listener::bind(const Fd &socket) {
    constexpr int kAttempts = 10;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        new_name_ = new_name_for(module_);
        if (bind_in(socket.get(), directory_.fd(), new_name_) == 0) {
            inode_ = inode_of(new_name_);  // from here on it is removed when something fails
            return true;
        }
        if (errno != EADDRINUSE) {
            return false;
        }
    }
    return false;
}

int32_t Listener::take_name() {
    for (int instance = 1; instance <= kInstanceLimit; ++instance) {
        std::string name = name_of(module_, instance);
        if (!Process::get().take_name(name)) {
            continue;
        }
        if (link_to(name)) {
            name_ = std::move(name);  // which takes no memory
            remove(new_name_);
            new_name_.clear();
            return 0;
        }
        const int error = errno;
        Process::get().release_name(name);
        if (error != EEXIST) {
            report("cannot listen on %s: %s", directory_.path_to(name).c_str(), std::strerror(error));
            return QUIB_E_SOCKET;
        }
        if (!directory_.is_shared() && !open_socket_file(directory_.fd(), name) && errno == ENOTSOCK) {
            report("%s is in the way: it is no socket", directory_.path_to(name).c_str());
            return QUIB_E_SOCKET;
        }
    }
    return QUIB_E_IN_USE;
}

bool Listener::link_to(const std::string &name) const {
    const int directory = directory_.fd();
    return linkat(directory, new_name_.c_str(), directory, name.c_str(), 0) == 0;
}

}  // namespace quib
