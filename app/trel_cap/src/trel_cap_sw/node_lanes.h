// Express lanes over the calling thread's node list. Messages come for nodes in no order, and to look at a thousand
// entries for each would cost more than receiving it.
#ifndef TREL_CAP_NODE_LANES_H
#define TREL_CAP_NODE_LANES_H

#include "trel_cap/node_list.h"

namespace trel_cap {

/*
 * The lanes make the list a skip list: every fourth entry or so is on the first lane, every fourth of those on the
 * second, and so on. An entry's links on its lanes lie behind it in the same allocation, where users of CapNode do not
 * see them; its number decides how many they are.
 */
CapNode *allocate_entry(const CapNodeRecord &record);
void free_entry(CapNode *entry);

/* The last entry on any lane whose number is below `node`, or at most `node`; NULL when there is none. */
CapNode *lane_entry_below(int32_t node);
CapNode *lane_entry_up_to(int32_t node);

/* An entry comes on its lanes behind those of the same number. */
void add_to_lanes(CapNode *entry);
void remove_from_lanes(CapNode *entry);

/* Forgets all entries. */
void clear_lanes();

}  // namespace trel_cap

#endif
