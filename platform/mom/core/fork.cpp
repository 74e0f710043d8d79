#include "core/fork.h"

#include <pthread.h>

namespace mom {

constinit std::atomic<uint32_t> forks{0};

// pthread_once() and not a static variable: a child that was forked while another thread was at it would wait for that
// thread for ever.
void count_forks() {
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once(&once, [] { pthread_atfork(nullptr, nullptr, [] { ++forks; }); });
}

}  // namespace mom
