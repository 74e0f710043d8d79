// Memory from the C library, so that the library needs no C++ run-time.
#pragma once

#include <cstdlib>
#include <new>
#include <type_traits>

namespace trel_cap {

// A zeroed T, or NULL. Given back with free().
template <typename T>
T *allocate() {
    static_assert(std::is_trivially_default_constructible_v<T> && std::is_trivially_destructible_v<T>);
    void *const memory = malloc(sizeof(T));
    return memory == nullptr ? nullptr : new (memory) T{};
}

}  // namespace trel_cap
