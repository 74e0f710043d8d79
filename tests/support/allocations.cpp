#include "allocations.h"

#include <cerrno>
#include <cstddef>
#include <dlfcn.h>
#include <new>
#include <sys/epoll.h>

// What allocates in their place: the C library, or the sanitizer that took its place.
#ifdef TREL_CAP_TESTS_SANITIZED
#define BEHIND(function) __interceptor_##function
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*on_malloc)(const volatile void *, size_t),
                                                         void (*on_free)(const volatile void *));
#else
#define BEHIND(function) __libc_##function
#endif

namespace {

thread_local bool armed = false;
thread_local int paused = 0;
thread_local int allocated = 0;
thread_local int freed_again = 0;

thread_local int until_failure = 0;  // 0: none is to fail
thread_local bool fails_for_good = false;
thread_local bool has_failed = false;

void note_allocation() {
    if (armed && paused == 0) {
        ++allocated;
    }
}

void note_freeing(const volatile void *memory) {
    if (armed && paused == 0 && memory != nullptr) {
        ++freed_again;
    }
}

bool fails() {
    if (until_failure == 0 || paused > 0 || --until_failure > 0) {
        return false;
    }
    until_failure = fails_for_good ? 1 : 0;
    has_failed = true;
    errno = ENOMEM;
    return true;
}

// The function of that name that would be called if there were none here.
template <class Function>
Function behind(const char *name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

#ifdef TREL_CAP_TESTS_SANITIZED

// The sanitizers tell of all allocations, those of their own `new` included.
void watch_allocations() {
    static const int installed = __sanitizer_install_malloc_and_free_hooks(
        [](const volatile void *, size_t) { note_allocation(); }, note_freeing);
    static_cast<void>(installed);
}

void note_passing() {}

#else

void watch_allocations() {}

void note_passing() { note_allocation(); }

#endif

}  // namespace

extern "C" {

void *BEHIND(malloc)(size_t size) noexcept;
void *BEHIND(calloc)(size_t count, size_t size) noexcept;
void *BEHIND(realloc)(void *memory, size_t size) noexcept;
void BEHIND(free)(void *memory) noexcept;

void *malloc(size_t size) noexcept {
    note_passing();
    return fails() ? nullptr : BEHIND(malloc)(size);
}

void *calloc(size_t count, size_t size) noexcept {
    note_passing();
    return fails() ? nullptr : BEHIND(calloc)(count, size);
}

void *realloc(void *memory, size_t size) noexcept {
    note_passing();
    return fails() ? nullptr : BEHIND(realloc)(memory, size);
}

#ifndef TREL_CAP_TESTS_SANITIZED
void free(void *memory) noexcept {
    note_freeing(memory);
    BEHIND(free)(memory);
}
#endif

int epoll_ctl(int epoll, int operation, int fd, epoll_event *event) noexcept {
    static const auto system = behind<int (*)(int, int, int, epoll_event *)>("epoll_ctl");
    const int result = system(epoll, operation, fd, event);
    if (operation == EPOLL_CTL_ADD && result == 0 && fails()) {
        system(epoll, EPOLL_CTL_DEL, fd, event);
        errno = ENOMEM;
        return -1;
    }
    return result;
}

}  // extern "C"

#ifdef TREL_CAP_TESTS_SANITIZED

// Elsewhere `new` calls malloc(). The sanitizer's own goes on allocating for it, and so knows by which kind of `delete`
// the memory has to come back. The form for arrays calls this one or none of ours, as the sanitizer has it.
namespace {

void *sanitizers_new(size_t size) {
    static const auto sanitizers = behind<void *(*)(size_t)>("_Znwm");
    return sanitizers(size);
}

}  // namespace

void *operator new(size_t size) {
    if (fails()) {
        throw std::bad_alloc();
    }
    return sanitizers_new(size);
}

// Not by the one above, which would count it again.
void *operator new(size_t size, const std::nothrow_t &) noexcept { return fails() ? nullptr : sanitizers_new(size); }

#endif

namespace test_support {

AllocationCount::AllocationCount() {
    watch_allocations();
    allocated = 0;
    freed_again = 0;
    armed = true;
}

AllocationCount::~AllocationCount() { armed = false; }

int AllocationCount::count() const { return allocated; }

int AllocationCount::freed() const { return freed_again; }

FailingAllocations::FailingAllocations(int nth, Length length) {
    fails_for_good = length == Length::kFromThenOn;
    has_failed = false;
    until_failure = nth;
}

FailingAllocations::~FailingAllocations() { until_failure = 0; }

bool an_allocation_failed() { return has_failed; }

UncountedAllocations::UncountedAllocations() { ++paused; }

UncountedAllocations::~UncountedAllocations() { --paused; }

}  // namespace test_support
