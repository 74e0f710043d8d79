#include "thread_logging.h"

#include "trel_cap/logging.h"

namespace trel_cap {

AppName start_thread_logging() {
    const AppName app_name = own_app_name();
    if (trel_cap_dbg_inited == 0) {
        trel_cap_zlog_init(app_name.data());
        trel_cap_dbg_inited = 1;
    }
    return app_name;
}

}  // namespace trel_cap
