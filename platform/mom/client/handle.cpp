#include "client/handle.h"

#include "core/error.h"

namespace {

using mom::fail;

std::atomic<MomClient *> newest{nullptr};

// A number for each thread that owns a client. Never used again, as a thread's own id may be.
std::atomic<uint64_t> last_owner{0};

uint64_t number_of_caller() {
    mom::count_forks();
    if (mom::caller.number == 0) {
        mom::caller.number = ++last_owner;
    }
    return mom::caller.number;
}

}  // namespace

MomClient *MomClient::of(mom::Client &client) {
    auto *handle = new MomClient(client, number_of_caller());
    handle->older_ = newest.load();
    while (!newest.compare_exchange_weak(handle->older_, handle)) {
    }
    return handle;
}

mom::Client *MomClient::refuse(int32_t *code) const {
    if (client_.load(std::memory_order_relaxed) == nullptr) {
        *code = fail(OX_MOM_E_DESTROYED, "the client has been destroyed");
    } else if (fork_generation_ != mom::fork_generation()) {
        *code = fail(OX_MOM_E_FORK, "the client belongs to the process that this one was forked from");
    } else {
        *code = fail(OX_MOM_E_THREAD, "the client belongs to another thread");
    }
    return nullptr;
}
