// Showing the node list, in the log and on standard output.
#include <cstdio>

#include "log/log.h"
#include "node_walk.h"
#include "trel_cap/node_list.h"
#include "trel_cap/registration.h"
#include "trel_cap/status.h"

using namespace trel_cap;

namespace {

// The line that shows a record.
struct Line {
    explicit Line(const CapNodeRecord &record) {
        snprintf(text, sizeof text,
                 "node:0x%08x, config_dev_type:%d, devid %d, slotid %2d, sslotid %d,is_online %d, cns %d, ready %d, "
                 "node_type %d, real_time %d, dm_install %d app_df_chk %d\n",
                 record.node, record.config_dev_type, record.devid, record.slotid, record.sslotid, record.is_online,
                 record.cns, record.ready, record.node_type, record.real_time, record.dm_install, record.app_df_chk);
    }

    char text[320];  // every number at its longest fits
};

int32_t print_node(CapNode *pos, void * /*param*/) {
    trel_cap_sw_dump_node_with_printf(pos->record);
    return 0;
}

}  // namespace

void trel_cap_sw_dump_node(CapNodeRecord record) { TREL_CAP_LOG(kDetail, "%s", Line(record).text); }

extern "C" [[gnu::alias("trel_cap_sw_dump_node")]] void trel_cap_own_dump_node(CapNodeRecord record);

int32_t trel_cap_sw_dump_node_with_printf(CapNodeRecord record) { return printf("%s", Line(record).text); }

// To applications trel_cap_sw_dump_all_node() is void. The console calls it too, and takes what is left in the return
// register for its status; so what is defined under this name leaves one there.
extern "C" [[gnu::visibility("default")]] int32_t dump_all_with_status() __asm__("trel_cap_sw_dump_all_node");

int32_t dump_all_with_status() {
    puts("\n===================CURRENT_NODE_INFO===================");
    printf("g_trel_cap_flag is %d, node_info is valid when bit 1 is set\n", g_trel_cap_flag);
    trel_cap_sw_node_walk_cur(print_node, nullptr);
    return TREL_CAP_OK;
}
