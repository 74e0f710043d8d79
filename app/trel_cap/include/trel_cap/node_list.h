/*
 * node_list.h - the card nodes that the calling thread has heard of.
 *
 * Each thread has a list of its own, filled by the processors of store messages (processors.h). Nodes are added in
 * ascending order of node, compared as signed; nodes of the same number stay in the order in which they were added.
 * Nothing keeps a node from being listed twice: search before adding.
 *
 * The list owns its entries. An entry is valid until it is deleted, and its record may be written to in place. A
 * program may link entries of its own, and unlink those again; the others are unlinked by trel_cap_sw_node_del() only,
 * which gives back what trel_cap_sw_node_init() has allocated.
 *
 * Up to 64 entries the list is searched from its first entry to its last, in whatever order they stand. In a longer one
 * that is out of order, because of a `node` that was written to or of an entry that a program has linked, each entry is
 * found as well; but of several with the same number perhaps not the first, and a node may be judged by only those of
 * its entries that stand side by side, until a search that finds nothing has walked over the list and seen its order.
 */
#ifndef TREL_CAP_NODE_LIST_H
#define TREL_CAP_NODE_LIST_H

#include <stdint.h>

#include "trel_cap/export.h"

TREL_CAP_BEGIN_DECLS

/* All that is known of a node. The uint8_t are 0 or 1. */
typedef struct CapNodeRecord {
    int32_t node;            /* the node's number */
    int32_t config_dev_type; /* configured device type of the card */
    int32_t devid;           /* where the card is: the device */
    int32_t slotid;          /* the slot */
    int32_t sslotid;         /* the slot within the slot */
    uint8_t is_online;       /* as the card's record says */
    uint8_t cns;             /* the application's check has denied the card */
    uint8_t ready;           /* as the node itself has published it */
    int32_t node_type;       /* 1, 3, 6 line card; 2 control module; 5 fabric; 7 HPS */
    uint8_t real_time;       /* clear while the node is installed in advance */
    uint8_t dm_install;      /* the device manager has installed the card */
    uint8_t app_df_chk;      /* the application's check of the card has a result; `cns` says which */
} CapNodeRecord;

/* The list is circular: the last entry's next, and the first one's prev, is the head, cast to CapNode. */
typedef struct CapNode {
    struct CapNode *next; /* the entry behind, or the head */
    struct CapNode *prev; /* the entry before, or the head */
    CapNodeRecord record; /* what is known of the node */
} CapNode;

/* The head. One that is all zero, as every thread's is at first, is an empty list. */
typedef struct CapNodeList {
    CapNode *next; /* the first entry */
    CapNode *prev; /* the last entry */
} CapNodeList;

/* Called with an entry and the caller's argument. Returns 0 to go on. */
typedef int32_t (*CapNodeVisitor)(CapNode *pos, void *param);

/* The calling thread's list. */
extern __thread CapNodeList cap_nodes_list;

/*
 * Links the head of the calling thread's list, in the first call that the process makes; later calls, on whatever
 * thread, leave the head as it is. trel_cap_init() calls it. Returns 0.
 */
int32_t trel_cap_sw_init(void);

/* Adds a copy of the record to a list, and returns the new entry. NULL when list is NULL, or memory is exhausted. */
CapNode *trel_cap_sw_node_init(CapNodeRecord record, CapNodeList *list);

/* The same with the calling thread's list. */
CapNode *trel_cap_sw_node_init_cur(CapNodeRecord record);

/* The first entry of a node, or of a node and a device type; NULL when there is none. */
CapNode *trel_cap_sw_node_search(int32_t node);
CapNode *trel_cap_sw_node_and_type_search(int32_t node, int32_t config_dev_type);

/* Deletes the first entry of a node and a device type, if there is one. Returns 0. */
int32_t trel_cap_sw_node_del(int32_t node, int32_t config_dev_type);

/*
 * Calls the visitor with each entry in turn, until it returns something other than 0. It may delete the entry that it
 * is given, and, through this library, any other; an entry that it adds is visited when it comes later in the order
 * than the one that follows. It may walk again, and may leave the walk by an exception or by longjmp(). Only when more
 * than fifteen walks have been begun within one visit and not ended, and the entry that follows was deleted in that
 * visit, the walk ends with it. A NULL visitor is ignored.
 */
void trel_cap_sw_node_walk_cur(CapNodeVisitor visitor, void *argument);

/* Logs a record as one line, at level 4. */
void trel_cap_sw_dump_node(CapNodeRecord record);

/* Prints the same line on standard output, whatever the log level. Returns what printf returned. */
int32_t trel_cap_sw_dump_node_with_printf(CapNodeRecord record);

/* Prints the calling thread's list on standard output. */
void trel_cap_sw_dump_all_node(void);

TREL_CAP_END_DECLS

#endif
