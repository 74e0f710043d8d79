// Sockets that connect without waiting.
#pragma once

#include <sys/socket.h>

#include "base/fd.h"

namespace mom::redis {

struct Address {
    sockaddr_storage bytes{};
    socklen_t size = 0;
};

// Begins to connect. None when that fails at once: errno.
base::Fd begin_to_connect(const Address &address);

// How a socket's connecting ended: 0, or an errno.
int connecting_ended(const base::Fd &socket);

// To whom a socket is connected; size 0: to nobody any more.
Address peer_of(int fd);

}  // namespace mom::redis
