#include "trel_cap/node_list.h"

#include <atomic>

#include "log/arguments.h"
#include "node_lanes.h"
#include "node_walk.h"

using namespace trel_cap;

static_assert(sizeof(void *) != 4 || (sizeof(CapNodeRecord) == 32 && sizeof(CapNode) == 40));
static_assert(sizeof(void *) != 8 || (sizeof(CapNodeRecord) == 32 && sizeof(CapNode) == 48));

__thread CapNodeList cap_nodes_list;

namespace {

/* The one flag of the process, although each thread has a head of its own. */
std::atomic<bool> list_is_initialised;

/* Out of line, or loops ask for the address of the thread's variable anew at every entry. */
[[gnu::noinline]] CapNodeList &this_threads_list() { return cap_nodes_list; }

/* What ends the list in either direction: the head, in a node's clothes. Only ever compared, never looked into. */
CapNode *end_of(const CapNodeList &list) { return reinterpret_cast<CapNode *>(const_cast<CapNodeList *>(&list)); }

void make_empty(CapNodeList &list) { list.next = list.prev = end_of(list); }

/* Makes an empty list of a head that is all zero. */
void link_head(CapNodeList &list) {
    if (list.next == nullptr) {
        make_empty(list);
    }
}

CapNode *first_of(const CapNodeList &list) { return list.next != nullptr ? list.next : end_of(list); }

/* A neighbour's link, which is the head's at either end. */
CapNode *&next_of(CapNodeList &list, CapNode *node) { return node == end_of(list) ? list.next : node->next; }

CapNode *&prev_of(CapNodeList &list, CapNode *node) { return node == end_of(list) ? list.prev : node->prev; }

bool is_empty(const CapNodeList &list) { return first_of(list) == end_of(list); }

/* The entry, or the head, behind which a new entry of this number goes. `from` is not behind that place. */
CapNode *place_of(CapNodeList &list, CapNode *from, int32_t node) {
    CapNode *pos = from;
    for (CapNode *next = next_of(list, pos); next != end_of(list) && next->record.node <= node; next = next->next) {
        pos = next;
    }
    return pos;
}

void insert_behind(CapNodeList &list, CapNode *pos, CapNode *added) {
    CapNode *const following = next_of(list, pos);
    added->prev = pos;
    added->next = following;
    next_of(list, pos) = added;
    prev_of(list, following) = added;
}

/* Lanes lead over the list of the thread only, not over one that a caller has made. */
void add_to_own_list(CapNode *added) {
    CapNodeList &list = this_threads_list();
    if (is_empty(list)) {
        clear_lanes();  // the head is exported: whoever emptied the list may not have gone through this file
    }
    link_head(list);
    CapNode *const from = lane_entry_up_to(added->record.node);
    insert_behind(list, place_of(list, from != nullptr ? from : end_of(list), added->record.node), added);
    add_to_lanes(added);
}

/* A walk under way. A visitor may run the client's loop, and with it delete any entry or walk again. */
struct Walk {
    CapNode *next;
    Walk *outer;
};
__thread Walk *innermost_walk;

void remove(CapNodeList &list, CapNode *node) {
    for (Walk *walk = innermost_walk; walk != nullptr; walk = walk->outer) {
        if (walk->next == node) {
            walk->next = node->next;
        }
    }
    next_of(list, node->prev) = node->next;
    prev_of(list, node->next) = node->prev;
    remove_from_lanes(node);
    free_entry(node);
}

/* The first entry of a node for which the condition holds as well. */
template <typename Condition>
CapNode *find(int32_t node, Condition condition) {
    const CapNodeList &list = this_threads_list();
    if (is_empty(list)) {
        return nullptr;
    }
    CapNode *const below = lane_entry_below(node);
    CapNode *pos = below != nullptr ? below->next : list.next;
    while (pos != end_of(list) && pos->record.node < node) {
        pos = pos->next;
    }
    for (; pos != end_of(list) && pos->record.node == node; pos = pos->next) {
        if (condition(pos)) {
            return pos;
        }
    }
    return nullptr;
}

template <typename Condition>
CapNode *search(const Caller &caller, int32_t node, Condition condition) {
    CapNode *const found = find(node, condition);
    if (found != nullptr) {
        TREL_CAP_LOG_AS(caller, kNotice, "node:0x%x, config_dev_type:%d, ready:%d\r\n", found->record.node,
                        found->record.config_dev_type, found->record.ready);
    }
    return found;
}

}  // namespace

int32_t trel_cap_sw_init() {
    if (!list_is_initialised.exchange(true, std::memory_order_relaxed)) {
        make_empty(cap_nodes_list);
    }
    return TREL_CAP_OK;
}

CapNode *trel_cap_sw_node_init(CapNodeRecord record, CapNodeList *list) {
    if (is_null(TREL_CAP_CALLER, "list", list)) {
        return nullptr;
    }
    TREL_CAP_LOG(kNotice, "enter");
    CapNode *const added = allocate_entry(record);
    if (added == nullptr) {
        TREL_CAP_LOG(kError, "new_node malloc failed");
        return nullptr;
    }
    trel_cap_sw_dump_node(record);

    if (list == &this_threads_list()) {
        add_to_own_list(added);
    } else {
        link_head(*list);
        insert_behind(*list, place_of(*list, end_of(*list), record.node), added);
    }
    TREL_CAP_LOG(kNotice, "leave");
    return added;
}

CapNode *trel_cap_sw_node_init_cur(CapNodeRecord record) {
    TREL_CAP_LOG(kDetail, "enter");
    CapNode *const added = trel_cap_sw_node_init(record, &cap_nodes_list);
    TREL_CAP_LOG(kDetail, "leave");
    return added;
}

CapNode *trel_cap_sw_node_search(int32_t node) {
    return search(TREL_CAP_CALLER, node, [](const CapNode *) { return true; });
}

CapNode *trel_cap_sw_node_and_type_search(int32_t node, int32_t config_dev_type) {
    return search(TREL_CAP_CALLER, node,
                  [=](const CapNode *pos) { return pos->record.config_dev_type == config_dev_type; });
}

int32_t trel_cap_sw_node_del(int32_t node, int32_t config_dev_type) {
    TREL_CAP_LOG(kNotice, "node:0x%x type %d", node, config_dev_type);
    if (CapNode *const found = trel_cap_sw_node_and_type_search(node, config_dev_type); found != nullptr) {
        remove(cap_nodes_list, found);
    }
    TREL_CAP_LOG(kNotice, "leave");
    return TREL_CAP_OK;
}

void trel_cap_sw_node_walk_cur(CapNodeVisitor visitor, void *argument) {
    if (visitor == nullptr) {
        return;
    }
    const CapNodeList &list = this_threads_list();
    Walk walk{nullptr, innermost_walk};
    innermost_walk = &walk;
    for (CapNode *pos = first_of(list); pos != end_of(list); pos = walk.next) {
        walk.next = pos->next;
        if (dumps_are_noticed()) [[unlikely]] {
            trel_cap_sw_dump_node(pos->record);
        }
        if (visitor(pos, argument) != 0) {
            break;
        }
    }
    innermost_walk = walk.outer;
}

extern "C" [[gnu::alias("trel_cap_sw_node_walk_cur")]] void trel_cap_own_node_walk_cur(CapNodeVisitor visitor,
                                                                                       void *argument);

void trel_cap::visit_node(int32_t node, CapNodeVisitor visitor, void *argument) {
    find(node, [=](CapNode *pos) { return visitor(pos, argument) != 0; });
}
