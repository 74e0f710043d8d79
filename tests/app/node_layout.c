/*
 * The layout of the node list, which those who map it in memory count on: two words of links, then the record, each
 * field at the next place that suits its size; and of what comes with the event of a node. Compiled for this machine's
 * word and, where the compiler can, for 32 bits.
 */

#include <stddef.h>

#include "trel_cap/events.h"
#include "trel_cap/node_list.h"

#define RECORD_HAS(field, place) _Static_assert(offsetof(CapNodeRecord, field) == (place), #field)

RECORD_HAS(node, 0);
RECORD_HAS(config_dev_type, 4);
RECORD_HAS(devid, 8);
RECORD_HAS(slotid, 12);
RECORD_HAS(sslotid, 16);
RECORD_HAS(is_online, 20);
RECORD_HAS(cns, 21);
RECORD_HAS(ready, 22);
RECORD_HAS(node_type, 24);
RECORD_HAS(real_time, 28);
RECORD_HAS(dm_install, 29);
RECORD_HAS(app_df_chk, 30);
_Static_assert(sizeof(CapNodeRecord) == 32, "record");

_Static_assert(offsetof(CapNode, next) == 0, "next");
_Static_assert(offsetof(CapNode, prev) == sizeof(void *), "prev");
_Static_assert(offsetof(CapNode, record) == 2 * sizeof(void *), "record of an entry");
_Static_assert(sizeof(CapNode) == 2 * sizeof(void *) + 32, "entry");
_Static_assert(sizeof(CapNodeList) == 2 * sizeof(void *), "head");

_Static_assert(offsetof(CapNodeReady, node) == 0 && offsetof(CapNodeReady, ready) == 4, "argument of a node event");
_Static_assert(sizeof(CapNodeReady) == 8, "argument of a node event");
_Static_assert(_Generic(((CapNodeReady *)0)->node, uint32_t : 1, default : 0), "node of a node event");
_Static_assert(_Generic(((CapNodeReady *)0)->ready, uint8_t : 1, default : 0), "ready of a node event");

#ifdef EXPECTED_POINTER_SIZE
_Static_assert(sizeof(void *) == EXPECTED_POINTER_SIZE, "word");
#endif
