#include "thread_state.h"

#include <cstdlib>
#include <new>
#include <pthread.h>

namespace quib {

namespace {

// No thread_local: the C library ends the process when it has no memory for one, or for the end of one.
struct Key {
    Key() : failed(pthread_key_create(&value, end) != 0 || std::atexit(end_of_caller) != 0) {}

    static void end(void *state) { delete static_cast<ThreadState *>(state); }
    static void end_of_caller();

    pthread_key_t value{};
    bool failed;
};

const Key &key() {
    static const Key only;
    return only;
}

void Key::end_of_caller() {
    ThreadState *state = ThreadState::find();
    pthread_setspecific(key().value, nullptr);
    end(state);
}

}  // namespace

ThreadState *ThreadState::find() {
    return key().failed ? nullptr : static_cast<ThreadState *>(pthread_getspecific(key().value));
}

ThreadState &ThreadState::get() {
    if (ThreadState *state = find()) {
        return *state;
    }
    auto made = std::make_unique<ThreadState>();
    if (key().failed || pthread_setspecific(key().value, made.get()) != 0) {
        throw std::bad_alloc();
    }
    return *made.release();
}

}  // namespace quib
