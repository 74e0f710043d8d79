// Logging is initialised once per thread, by whichever call of the library comes first.
#ifndef TREL_CAP_THREAD_LOGGING_H
#define TREL_CAP_THREAD_LOGGING_H

#include <array>

namespace trel_cap {

using AppName = std::array<char, 128>;

/* Fills in the name of this process's application, and initialises logging with it on the thread's first call. */
void start_thread_logging(AppName &app_name);

}  // namespace trel_cap

#endif
