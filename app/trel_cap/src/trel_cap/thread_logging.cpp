#include "thread_logging.h"

#include <unistd.h>

#include "trel_cap/init.h"

namespace trel_cap {

void start_thread_logging(AppName &app_name) {
    trel_cap_get_app_name(getpid(), app_name.data(), app_name.size());
    if (trel_cap_dbg_inited == 0) {
        trel_cap_zlog_init(app_name.data());
        trel_cap_dbg_inited = 1;
    }
}

}  // namespace trel_cap
