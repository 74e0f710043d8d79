// Logging is initialised once per thread, by whichever call of the library comes first.
#pragma once

#include "app_name.h"

namespace trel_cap {

// Answers the name of this process's application, and initialises logging with it on the thread's first call.
AppName start_thread_logging();

}  // namespace trel_cap
