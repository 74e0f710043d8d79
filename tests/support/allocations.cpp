#include "allocations.h"

#include <cstddef>

namespace {

thread_local bool armed = false;
thread_local int paused = 0;
thread_local int allocated = 0;

void note_allocation() {
    if (armed && paused == 0) {
        ++allocated;
    }
}

}  // namespace

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)

// The sanitizers own malloc and offer a hook instead.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*on_malloc)(const volatile void *, size_t),
                                                         void (*on_free)(const volatile void *));

namespace {

void watch_allocations() {
    static const int installed = __sanitizer_install_malloc_and_free_hooks(
        [](const volatile void *, size_t) { note_allocation(); }, [](const volatile void *) {});
    static_cast<void>(installed);
}

}  // namespace

#else

extern "C" {

void *__libc_malloc(size_t size) noexcept;
void *__libc_calloc(size_t count, size_t size) noexcept;
void *__libc_realloc(void *memory, size_t size) noexcept;

void *malloc(size_t size) noexcept {
    note_allocation();
    return __libc_malloc(size);
}

void *calloc(size_t count, size_t size) noexcept {
    note_allocation();
    return __libc_calloc(count, size);
}

void *realloc(void *memory, size_t size) noexcept {
    note_allocation();
    return __libc_realloc(memory, size);
}
}

namespace {

void watch_allocations() {}

}  // namespace

#endif

namespace test_support {

AllocationCount::AllocationCount() {
    watch_allocations();
    allocated = 0;
    armed = true;
}

AllocationCount::~AllocationCount() { armed = false; }

int AllocationCount::count() const { return allocated; }

UncountedAllocations::UncountedAllocations() { ++paused; }

UncountedAllocations::~UncountedAllocations() { --paused; }

}  // namespace test_support
