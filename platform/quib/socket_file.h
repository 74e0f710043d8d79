// Sockets in a directory, reached through descriptors: what was looked at is what is used, and a name may be longer
// than the path of a socket may be.
#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

#include "base/fd.h"

namespace quib {

using base::Fd;

struct SocketFile {
    Fd entry;  // of the socket itself; no connection
    uid_t owner = 0;
};

// The socket of that name, no link to one; none, with errno: ENOENT, ENOTSOCK, or another reason.
std::optional<SocketFile> open_socket_file(int directory, const std::string &name);

Fd make_socket();

// As bind() and connect(), but for where the path comes from.
int bind_in(int socket, int directory, const std::string &name);
int connect_to(int socket, const SocketFile &file);

// As chmod() of the socket.
int change_mode(const SocketFile &file, mode_t mode);

}  // namespace quib
