// Threads that are cancelled. A call that is cut at whatever system call comes first would leave half of its work, and
// destructors close descriptors, where nothing may be thrown.
#pragma once

#include <pthread.h>

namespace mom {

// The calling thread's state of cancellation, as long as this lives.
class CancelState {
public:
    explicit CancelState(int state) { pthread_setcancelstate(state, &before_); }
    CancelState(const CancelState &) = delete;
    CancelState &operator=(const CancelState &) = delete;
    ~CancelState() {
        int ours = 0;
        pthread_setcancelstate(before_, &ours);
    }

    int before() const { return before_; }

private:
    int before_ = PTHREAD_CANCEL_ENABLE;
};

}  // namespace mom
