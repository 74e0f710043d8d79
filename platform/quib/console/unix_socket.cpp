#include "unix_socket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>

namespace console {

Descriptor::~Descriptor() {
    if (fd_ >= 0) {
        close(fd_);
    }
}

bool is_socket(const std::string &path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode);
}

Attempt connect_to(const std::string &path) {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    if (path.size() >= sizeof address.sun_path) {
        return {Descriptor(), ENAMETOOLONG};
    }
    path.copy(address.sun_path, path.size());
    Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (socket.get() < 0 || connect(socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        const int error = errno;
        return {std::move(socket), error};
    }
    return {std::move(socket), 0};
}

pid_t process_behind(const Descriptor &socket) {
    ucred credentials{};
    socklen_t size = sizeof credentials;
    return getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &credentials, &size) == 0 ? credentials.pid : 0;
}

}  // namespace console
