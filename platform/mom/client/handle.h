// The handle that a program holds of a client, and who may use it.
#pragma once

#include <atomic>
#include <cstdint>

#include "core/caller.h"
#include "core/fork.h"
#include "ox_mom.h"

namespace mom {
class Client;
}

// A handle is never released, so that it is never taken for a later client's, and may be asked after at any time, from
// any thread: a client that is gone is told from one that is there without reading what was freed.
struct MomClient {
    // For the calling thread, which becomes the owner. Throws std::bad_alloc.
    static MomClient *of(mom::Client &client);

    // The client when the calling thread may use it; nullptr, with a code and the reason in last_error(), when not.
    mom::Client *open(const mom::Caller &caller, int32_t *code) const {
        mom::Client *client = client_.load(std::memory_order_relaxed);
        return client != nullptr && is_of(caller) ? client : refuse(code);
    }

    // The thread that forks has its number in the child, too.
    bool is_of(const mom::Caller &caller) const {
        return owner_ == caller.number && fork_generation_ == mom::fork_generation();
    }
    void close() { client_.store(nullptr, std::memory_order_relaxed); }

private:
    MomClient(mom::Client &client, uint64_t owner)
        : client_(&client), owner_(owner), fork_generation_(mom::fork_generation()) {}

    mom::Client *refuse(int32_t *code) const;

    std::atomic<mom::Client *> client_;  // only the owner changes it, and only the owner goes where it points
    const uint64_t owner_;
    const uint32_t fork_generation_;
    MomClient *older_ = nullptr;  // all are found from the newest one: kept, not leaked
};
