// The processes of a crowd: applications that follow the readiness of all cards.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

#include "shared.h"

namespace crowd {

enum class Kind {
    kApplication,  // the library, told by its callback
    kBare          // a program of its own: hiredis, a channel, protobuf-c
};

struct Crowd {
    Kind kind = Kind::kApplication;
    size_t processes = 64;
    size_t threads = 1;  // of each process, and every one follows

    size_t followers() const { return processes * threads; }
};

// Where a bare writer publishes what its followers decode.
constexpr const char *kBareChannel = "crowd";

// Of a store's name, unix://PATH.
inline const char *path_of(const std::string &store) { return store.c_str() + sizeof "unix://" - 1; }

// Starts the processes; they end when page.ends, or when the caller dies.
std::vector<pid_t> start(const Crowd &crowd, const std::string &store, Shared &page);

}  // namespace crowd
