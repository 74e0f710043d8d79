// The links of a node list. Every list is circular, and its head stands where a neighbour is missing.
#pragma once

#include "trel_cap/node_list.h"

namespace trel_cap {

// Out of line, or loops ask for the address of the thread's variable anew at every entry.
CapNodeList &this_threads_list();

// The end of the list in either direction: the head, in a node's clothes. Only ever compared, never looked into.
inline CapNode *end_of(const CapNodeList &list) {
    return reinterpret_cast<CapNode *>(const_cast<CapNodeList *>(&list));
}

// A head that is all zero is that of an empty list, too.
inline CapNode *first_of(const CapNodeList &list) { return list.next != nullptr ? list.next : end_of(list); }

inline bool is_empty(const CapNodeList &list) { return first_of(list) == end_of(list); }

// A neighbour's link, which is the head's at either end.
inline CapNode *&next_of(CapNodeList &list, CapNode *node) { return node == end_of(list) ? list.next : node->next; }

inline CapNode *&prev_of(CapNodeList &list, CapNode *node) { return node == end_of(list) ? list.prev : node->prev; }

}  // namespace trel_cap
