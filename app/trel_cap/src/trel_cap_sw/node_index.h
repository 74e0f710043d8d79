// Where to begin in the calling thread's node list when it is long. Messages come for nodes in no order, and to look at
// a thousand entries for each would cost more than receiving it.
#pragma once

#include "trel_cap/node_list.h"

namespace trel_cap {

// A list of so many entries is walked from its beginning: a device with more cards is rare.
inline constexpr uint32_t kWalkedEntries = 64;

// The list is the truth, the index a hint: applications may change the number of an entry in place and link entries of
// their own. The index is a sorted array of the entries that came to the list, through this library, when it was that
// long already. It is there only while the list is, so that a short one needs no memory but its entries'.
//
// The entry, or the head, behind which the list goes on with the first entry whose number is not below `node`. NULL
// when the list is short, or what the index finds does not fit it: then it has to be walked.
CapNode *last_below(CapNodeList &list, int32_t node);

// An entry has come to the list, or goes.
void add_to_index(CapNode *entry);
void remove_from_index(const CapNode *entry);

// The list is empty, and whoever has emptied it need not have gone through this library.
void clear_index();

// A walk has found the list in order, or not. Out of order it is walked until a walk finds it in order again.
void note_order(bool is_in_order);

}  // namespace trel_cap
