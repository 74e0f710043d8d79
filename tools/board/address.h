// Where the board listens, and who is let in.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace board {

struct Address {
    std::string host;   // in numbers: 127.0.0.1, ::1
    uint16_t port = 0;  // 0: any that is free
};

// HOST:PORT, or PORT alone of 127.0.0.1; HOST is an address in numbers, [::1] in brackets, or localhost. Throws a usage
// failure.
Address parse_address(const std::string &text);

// Whether nobody but this machine reaches it.
bool is_loopback(const Address &address);

std::string url_of(const Address &address);

// Whether a request that names this host means the board: a page of another site can have its own name lead to this
// machine, but not an address in numbers or a name that this machine knows as its own. The port is free, so that a
// forwarded one works.
bool names_this_machine(std::string_view host, const Address &listening);

// Whether a page of this origin is the board's own: the one that was served under that host.
bool is_own_origin(std::string_view origin, std::string_view host);

}  // namespace board
