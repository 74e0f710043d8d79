// Whether something lies on the stack of the calling thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <pthread.h>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/asan_interface.h>
#endif

namespace test_support {

inline bool is_on_this_stack(const void *object) {
#ifdef __SANITIZE_ADDRESS__
    // Where a use after return is looked for, locals live in frames of the sanitizer's own.
    if (__asan_addr_is_in_fake_stack(__asan_get_current_fake_stack(), const_cast<void *>(object), nullptr, nullptr)) {
        return true;
    }
#endif
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0) {
        return false;
    }
    void *lowest = nullptr;
    size_t size = 0;
    pthread_attr_getstack(&attributes, &lowest, &size);
    pthread_attr_destroy(&attributes);
    const auto address = reinterpret_cast<uintptr_t>(object);
    const auto bottom = reinterpret_cast<uintptr_t>(lowest);
    return address >= bottom && address < bottom + size;
}

}  // namespace test_support
