#include "failing_allocations.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <dlfcn.h>
#include <new>
#include <sys/epoll.h>

// What allocates in their place: the C library, or the sanitizer that took its place.
#ifdef TREL_CAP_TESTS_SANITIZED
#define BEHIND(function) __interceptor_##function
#else
#define BEHIND(function) __libc_##function
#endif

#define EXPORTED __attribute__((visibility("default")))

namespace {

struct Plan {
    int until_failure;  // 0: not armed
    bool stays;
    bool happened;
    int suspended;
};

thread_local Plan plan = {};

// Its own allocations are not the client's.
bool is_c_library(void *caller) {
    Dl_info in = {};
    return dladdr(caller, &in) != 0 && std::strstr(in.dli_fname, "/libc.so") != nullptr;
}

bool fails(void *caller) {
    if (plan.until_failure == 0 || plan.suspended > 0 || is_c_library(caller)) {
        return false;
    }
    if (--plan.until_failure > 0) {
        return false;
    }
    plan.until_failure = plan.stays ? 1 : 0;
    plan.happened = true;
    errno = ENOMEM;
    return true;
}

}  // namespace

extern "C" {

void *BEHIND(malloc)(size_t size) noexcept;
void *BEHIND(calloc)(size_t count, size_t size) noexcept;
void *BEHIND(realloc)(void *memory, size_t size) noexcept;
void BEHIND(free)(void *memory) noexcept;

EXPORTED void *malloc(size_t size) noexcept {
    return fails(__builtin_return_address(0)) ? nullptr : BEHIND(malloc)(size);
}

EXPORTED void *calloc(size_t count, size_t size) noexcept {
    return fails(__builtin_return_address(0)) ? nullptr : BEHIND(calloc)(count, size);
}

EXPORTED void *realloc(void *memory, size_t size) noexcept {
    return fails(__builtin_return_address(0)) ? nullptr : BEHIND(realloc)(memory, size);
}

EXPORTED void free(void *memory) noexcept { BEHIND(free)(memory); }

// What it takes to watch one more descriptor is the system's memory, whoever asks.
EXPORTED int epoll_ctl(int epoll, int operation, int fd, epoll_event *event) noexcept {
    using Function = int (*)(int, int, int, epoll_event *);
    static const auto behind = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "epoll_ctl"));
    const int result = behind(epoll, operation, fd, event);
    if (operation == EPOLL_CTL_ADD && result == 0 && fails(nullptr)) {
        behind(epoll, EPOLL_CTL_DEL, fd, event);
        errno = ENOMEM;
        return -1;
    }
    return result;
}

}  // extern "C"

EXPORTED void *operator new(size_t size) {
    void *memory = fails(__builtin_return_address(0)) ? nullptr : BEHIND(malloc)(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

EXPORTED void *operator new(size_t size, const std::nothrow_t &) noexcept {
    return fails(__builtin_return_address(0)) ? nullptr : BEHIND(malloc)(size);
}

EXPORTED void operator delete(void *memory) noexcept { BEHIND(free)(memory); }

EXPORTED void operator delete(void *memory, size_t) noexcept { BEHIND(free)(memory); }

// The forms for arrays call these by default.

namespace mom_test {

FailingAllocations::FailingAllocations(int nth, Length length) {
    plan = {.until_failure = nth, .stays = length == Length::kFromThenOn, .happened = false, .suspended = 0};
}

FailingAllocations::~FailingAllocations() { plan.until_failure = 0; }

bool an_allocation_failed() { return plan.happened; }

SafeAllocations::SafeAllocations() { ++plan.suspended; }

SafeAllocations::~SafeAllocations() { --plan.suspended; }

}  // namespace mom_test
