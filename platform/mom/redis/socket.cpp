#include "redis/socket.h"

#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>

namespace mom::redis {

namespace {

// A peer that is gone without a word is noticed by the system after half a minute.
constexpr int kKeepAliveIdle = 15;
constexpr int kKeepAliveInterval = 5;
constexpr int kKeepAliveProbes = 3;

void set(int fd, int level, int option, int value) { setsockopt(fd, level, option, &value, sizeof value); }

void set_up_tcp(int fd) {
    set(fd, IPPROTO_TCP, TCP_NODELAY, 1);
    set(fd, SOL_SOCKET, SO_KEEPALIVE, 1);
    set(fd, IPPROTO_TCP, TCP_KEEPIDLE, kKeepAliveIdle);
    set(fd, IPPROTO_TCP, TCP_KEEPINTVL, kKeepAliveInterval);
    set(fd, IPPROTO_TCP, TCP_KEEPCNT, kKeepAliveProbes);
}

}  // namespace

base::Fd begin_to_connect(const Address &address) {
    const auto *generic = reinterpret_cast<const sockaddr *>(&address.bytes);
    base::Fd fd(socket(generic->sa_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!fd) {
        return fd;
    }
    if (generic->sa_family != AF_UNIX) {
        set_up_tcp(fd.get());
    }
    if (connect(fd.get(), generic, address.size) != 0 && errno != EINPROGRESS) {
        const int why = errno;
        fd = base::Fd();
        errno = why;
    }
    return fd;
}

int connecting_ended(const base::Fd &socket) {
    int error = 0;
    socklen_t size = sizeof error;
    return getsockopt(socket.get(), SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

Address peer_of(int fd) {
    Address address{.bytes = {}, .size = sizeof address.bytes};
    if (getpeername(fd, reinterpret_cast<sockaddr *>(&address.bytes), &address.size) != 0) {
        address.size = 0;
    }
    return address;
}

}  // namespace mom::redis
