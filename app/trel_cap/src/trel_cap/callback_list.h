// The registered callbacks: five lists of the process, behind one lock. Registrations are never removed.
#pragma once

#include <pthread.h>

#include "trel_cap/events.h"

namespace trel_cap {

struct CallbackLink {
    CallbackLink *next;
    CallbackLink *prev;
};

// A registration, as the list whose callbacks are called for every event has it.
struct CapCallbackReg : CallbackLink {
    char reg_name[360];
    CapEventCb callback_handle;
};

// A registration of a card class, whose callback is called for the events of its mask.
struct CapClassCallbackReg : CapCallbackReg {
    uint32_t flag;
};

static_assert(sizeof(void *) != 4 || (sizeof(CapCallbackReg) == 372 && sizeof(CapClassCallbackReg) == 376));
static_assert(sizeof(void *) != 8 || (sizeof(CapCallbackReg) == 384 && sizeof(CapClassCallbackReg) == 392));

// Circular; the last one's next, and the first one's prev, is the head.
struct CallbackList {
    CallbackLink head;
    bool has_masks;
};

extern CallbackList fe_callbacks;
extern CallbackList fab_callbacks;
extern CallbackList cm_callbacks;
extern CallbackList hps_callbacks;
extern CallbackList lc_and_hps_callbacks;

// Taken for writing to register and for reading to dispatch. Initialised statically, glibc's prefers readers, so a
// callback may dispatch again although another thread waits to register.
extern pthread_rwlock_t callback_lock;

}  // namespace trel_cap
