// Logging is initialised once per thread, by whichever call of the library comes first.
#ifndef TREL_CAP_THREAD_LOGGING_H
#define TREL_CAP_THREAD_LOGGING_H

#include "app_name.h"

namespace trel_cap {

/* Answers the name of this process's application, and initialises logging with it on the thread's first call. */
AppName start_thread_logging();

}  // namespace trel_cap

#endif
