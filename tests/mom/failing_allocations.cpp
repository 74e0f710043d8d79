#include "failing_allocations.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <new>

// What allocates in their place: the C library, or the sanitizer that took its place.
#if defined(__SANITIZE_ADDRESS__)
#define REAL(function) __interceptor_##function
#else
#define REAL(function) __libc_##function
#endif

namespace {

struct Plan {
    int until_failure;  // 0: not armed
    bool stays;
    bool happened;
    int suspended;
};

thread_local Plan plan = {};

// Libraries that end the process when they find no memory: nothing is to be tested there.
bool gives_up(void *caller) {
    Dl_info in = {};
    if (dladdr(caller, &in) == 0) {
        return false;
    }
    for (const char *library : {"/libuv.so", "/libhiredis.so", "/libc.so"}) {
        if (std::strstr(in.dli_fname, library) != nullptr) {
            return true;
        }
    }
    return false;
}

bool fails(void *caller) {
    if (plan.until_failure == 0 || plan.suspended > 0 || gives_up(caller)) {
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

void *REAL(malloc)(size_t size);
void *REAL(calloc)(size_t count, size_t size);
void *REAL(realloc)(void *memory, size_t size);
void REAL(free)(void *memory);

__attribute__((visibility("default"))) void *malloc(size_t size) noexcept {
    return fails(__builtin_return_address(0)) ? nullptr : REAL(malloc)(size);
}

__attribute__((visibility("default"))) void *calloc(size_t count, size_t size) noexcept {
    return fails(__builtin_return_address(0)) ? nullptr : REAL(calloc)(count, size);
}

__attribute__((visibility("default"))) void *realloc(void *memory, size_t size) noexcept {
    return fails(__builtin_return_address(0)) ? nullptr : REAL(realloc)(memory, size);
}

__attribute__((visibility("default"))) void free(void *memory) noexcept { REAL(free)(memory); }

}  // extern "C"

__attribute__((visibility("default"))) void *operator new(size_t size) {
    void *memory = fails(__builtin_return_address(0)) ? nullptr : REAL(malloc)(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

__attribute__((visibility("default"))) void *operator new(size_t size, const std::nothrow_t &) noexcept {
    return fails(__builtin_return_address(0)) ? nullptr : REAL(malloc)(size == 0 ? 1 : size);
}

__attribute__((visibility("default"))) void operator delete(void *memory) noexcept { REAL(free)(memory); }

__attribute__((visibility("default"))) void operator delete(void *memory, size_t) noexcept { REAL(free)(memory); }

// The forms for arrays call these by default.

namespace mom_test {

FailingAllocations::FailingAllocations(int nth, Length length) {
    plan = {nth, length == Length::kFromThenOn, false, 0};
}

FailingAllocations::~FailingAllocations() { plan.until_failure = 0; }

bool an_allocation_failed() { return plan.happened; }

SafeAllocations::SafeAllocations() { ++plan.suspended; }

SafeAllocations::~SafeAllocations() { --plan.suspended; }

}  // namespace mom_test
