#include "core/fork.h"

#include <pthread.h>

namespace mom {

constinit std::atomic<uint32_t> forks{0};

void count_forks() {
    [[maybe_unused]] static const int once = pthread_atfork(nullptr, nullptr, [] { ++forks; });
}

}  // namespace mom
