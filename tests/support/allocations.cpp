#include "allocations.h"

#include <cerrno>
#include <cstddef>
#include <new>

#if defined(__SANITIZE_ADDRESS__) || defined(TREL_CAP_TESTS_THREAD_SANITIZED)
#define TREL_CAP_TESTS_SANITIZED
#define BEHIND(function) __interceptor_##function
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*on_malloc)(const volatile void *, size_t),
                                                         void (*on_free)(const volatile void *));
#else
#define BEHIND(function) __libc_##function
#endif

namespace {

thread_local bool armed = false;
thread_local bool failing = false;
thread_local int paused = 0;
thread_local int allocated = 0;
thread_local int freed_again = 0;

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
    if (failing && paused == 0) {
        errno = ENOMEM;
        return true;
    }
    return false;
}

#ifdef TREL_CAP_TESTS_SANITIZED

// The sanitizers tell of all allocations, those of `new` included, which do not come by below.
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
}

#ifdef TREL_CAP_TESTS_SANITIZED

// The plain one of the sanitizer, so that it knows by which kind of `delete` the memory has to come back.
void *operator new(size_t size, const std::nothrow_t &) noexcept { return fails() ? nullptr : ::operator new(size); }

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

FailingAllocations::FailingAllocations() { failing = true; }

FailingAllocations::~FailingAllocations() { failing = false; }

UncountedAllocations::UncountedAllocations() { ++paused; }

UncountedAllocations::~UncountedAllocations() { --paused; }

}  // namespace test_support
