// Walking the node list, by all of it or less.
#pragma once

#include "log/log.h"
#include "trel_cap/node_list.h"
#include "trel_cap_sw/own_functions.h"

namespace trel_cap {

// Whether anybody could notice that an entry is not dumped, or not walked over: who reads the log, or a program that
// has a function of its own in place of the library's. Otherwise what then has no effect may be left out.
inline bool dumps_are_noticed() { return gate_is_open(kDetail) || trel_cap_sw_dump_node != trel_cap_own_dump_node; }

inline bool walks_are_noticed() {
    return dumps_are_noticed() || trel_cap_sw_node_walk_cur != trel_cap_own_node_walk_cur;
}

// Calls the visitor with the entries of one node only, until it returns something other than 0. It deletes none.
void visit_node(int32_t node, CapNodeVisitor visitor, void *argument);

// The entry is about to be deleted: walks under way that would go on with it go on with the one behind it.
void let_walks_pass(const CapNode *entry);

}  // namespace trel_cap
