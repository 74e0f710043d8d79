#include "board/listener.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>

#include "command_line/exit_status.h"

namespace board {

using namespace command_line;

namespace {

// What the system keeps for a viewer who reads slowly; accepted sockets have it from the one that listens.
constexpr int kSendBuffer = 128 * 1024;

[[noreturn]] void fail(const Address &address) {
    const int error = errno;
    const std::string advice = error == EADDRINUSE ? "; --listen 127.0.0.1:0 takes a port that is free" : "";
    throw Failure(kFailed, "cannot listen on " + url_of(address) + ": " + std::strerror(error) + advice);
}

union SocketAddress {
    sockaddr any;
    sockaddr_in v4;
    sockaddr_in6 v6;
};

socklen_t fill(SocketAddress &to, const Address &from) {
    to = {};
    if (inet_pton(AF_INET, from.host.c_str(), &to.v4.sin_addr) == 1) {
        to.v4.sin_family = AF_INET;
        to.v4.sin_port = htons(from.port);
        return sizeof to.v4;
    }
    inet_pton(AF_INET6, from.host.c_str(), &to.v6.sin6_addr);
    to.v6.sin6_family = AF_INET6;
    to.v6.sin6_port = htons(from.port);
    return sizeof to.v6;
}

}  // namespace

base::Fd listen_on(Address &address) {
    SocketAddress where{};
    socklen_t size = fill(where, address);
    base::Fd socket(::socket(where.any.sa_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int on = 1;
    if (!socket || setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
        setsockopt(socket.get(), SOL_SOCKET, SO_SNDBUF, &kSendBuffer, sizeof kSendBuffer) != 0 ||
        bind(socket.get(), &where.any, size) != 0 || listen(socket.get(), SOMAXCONN) != 0 ||
        getsockname(socket.get(), &where.any, &size) != 0) {
        fail(address);
    }
    address.port = ntohs(where.any.sa_family == AF_INET ? where.v4.sin_port : where.v6.sin6_port);
    return socket;
}

}  // namespace board
