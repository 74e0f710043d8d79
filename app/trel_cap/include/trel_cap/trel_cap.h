/*
 * trel_cap.h - capabilities of a modular switch and the readiness of its cards. This header includes all the others.
 *
 * Conventions that hold for every function of the library:
 *
 *  1. Threads. Each thread that uses the library has a client of its own (ox_mom.h), registers its callbacks
 *     (registration.h), calls trel_cap_init() with its client before anything else, and passes that client wherever a
 *     function takes `global`. Nearly all state is thread-local; what is process-wide says so.
 *  2. Statuses. Functions return 0 for success or a negative status (status.h). Any other number is the object-store
 *     client's own code, passed through. trel_cap_strerror() names both.
 *  3. Arguments. Pointers are tested first, in the order of the parameters: a NULL one is logged with its name, the
 *     call returns TREL_CAP_E_ARGUMENT and has no other effect.
 *  4. Capability URLs are NUL-terminated strings of at most TREL_CAP_URL_MAX bytes. They are not copied or kept.
 *  5. Memory. What a function reads it copies into the caller's variables; nothing has to be released afterwards. What
 *     a callback is given is valid until it returns.
 *  6. Logging. Messages go to the category "trel_cap" of ox_zlog.h as far as the log level lets them (logging.h).
 *  7. Booleans are int32_t when passed by value and uint8_t, always 0 or 1, when written through a pointer.
 */
#ifndef TREL_CAP_TREL_CAP_H
#define TREL_CAP_TREL_CAP_H

#include "trel_cap/capability.h"
#include "trel_cap/class_capability.h"
#include "trel_cap/diagnosis.h"
#include "trel_cap/dispatch.h"
#include "trel_cap/events.h"
#include "trel_cap/init.h"
#include "trel_cap/logging.h"
#include "trel_cap/node_capability.h"
#include "trel_cap/node_judge.h"
#include "trel_cap/node_list.h"
#include "trel_cap/preinstall.h"
#include "trel_cap/processors.h"
#include "trel_cap/readiness.h"
#include "trel_cap/records.h"
#include "trel_cap/registration.h"
#include "trel_cap/status.h"
#include "trel_cap/version.h"

#endif
