#include "callback_list.h"

namespace trel_cap {

constinit CallbackList fe_callbacks{{&fe_callbacks.head, &fe_callbacks.head}, false};
constinit CallbackList fab_callbacks{{&fab_callbacks.head, &fab_callbacks.head}, true};
constinit CallbackList cm_callbacks{{&cm_callbacks.head, &cm_callbacks.head}, true};
constinit CallbackList hps_callbacks{{&hps_callbacks.head, &hps_callbacks.head}, true};
constinit CallbackList lc_and_hps_callbacks{{&lc_and_hps_callbacks.head, &lc_and_hps_callbacks.head}, true};

pthread_rwlock_t callback_lock = PTHREAD_RWLOCK_INITIALIZER;

}  // namespace trel_cap
