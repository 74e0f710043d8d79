// The names of stores: mem:NAME, unix:///path, redis://..., sentinel://...
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mom {

// A server's address: a Unix socket when path is set, TCP otherwise.
struct Endpoint {
    std::string path;
    std::string host;
    uint16_t port = 0;

    std::string text() const;
};

struct StoreName {
    enum class Kind { kMem, kServer, kSentinel };

    Kind kind = Kind::kMem;
    std::string name;                 // of the embedded store, or of the sentinels' service
    std::vector<Endpoint> endpoints;  // the server, or the sentinels
    std::string user;
    std::string password;
    std::string shown;  // the whole name as it was given, but for the password
};

// Empty when the name is not understood; last_error() then names the part.
std::optional<StoreName> parse_store_name(std::string_view text);

}  // namespace mom
