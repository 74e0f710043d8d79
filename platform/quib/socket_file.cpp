#include "socket_file.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <utility>

namespace quib {

namespace {

// A path to what the descriptor stands for.
std::string path_of(int fd) { return "/proc/self/fd/" + std::to_string(fd); }

using SocketCall = int (*)(int socket, const sockaddr *address, socklen_t size);

int call_with(SocketCall call, int socket, const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return -1;
    }
    path.copy(address.sun_path, path.size());
    return call(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address);
}

}  // namespace

std::optional<SocketFile> open_socket_file(int directory, const std::string &name) {
    SocketFile file{.entry = Fd(openat(directory, name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC))};
    struct stat status {};
    if (!file.entry || fstat(file.entry.get(), &status) != 0) {
        return std::nullopt;
    }
    if (!S_ISSOCK(status.st_mode)) {
        errno = ENOTSOCK;
        return std::nullopt;
    }
    file.owner = status.st_uid;
    return file;
}

Fd make_socket() { return Fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)); }

int bind_in(int socket, int directory, const std::string &name) {
    return call_with(::bind, socket, path_of(directory) + "/" + name);
}

int connect_to(int socket, const SocketFile &file) { return call_with(::connect, socket, path_of(file.entry.get())); }

int change_mode(const SocketFile &file, mode_t mode) { return chmod(path_of(file.entry.get()).c_str(), mode); }

}  // namespace quib
