#include "trel_cap/node_list.h"

#include <atomic>
#include <cstdlib>

#include "allocate.h"
#include "log/arguments.h"
#include "node_index.h"
#include "node_links.h"
#include "node_walk.h"

using namespace trel_cap;

static_assert(sizeof(void *) != 4 || (sizeof(CapNodeRecord) == 32 && sizeof(CapNode) == 40));
static_assert(sizeof(void *) != 8 || (sizeof(CapNodeRecord) == 32 && sizeof(CapNode) == 48));

__thread CapNodeList cap_nodes_list;

[[gnu::noinline]] CapNodeList &trel_cap::this_threads_list() { return cap_nodes_list; }

namespace {

// The one flag of the process, although each thread has a head of its own.
std::atomic<bool> list_is_initialised;

void make_empty(CapNodeList &list) { list.next = list.prev = end_of(list); }

// The entry, or the head, behind which a new entry of this number goes. `from` is not behind that place.
CapNode *place_of(CapNodeList &list, CapNode *from, int32_t node) {
    CapNode *pos = from;
    for (CapNode *next = next_of(list, pos); next != end_of(list) && next->record.node <= node; next = next->next) {
        pos = next;
    }
    return pos;
}

void insert(CapNodeList &list, CapNode *from, CapNode *added) {
    CapNode *const pos = place_of(list, from, added->record.node);
    CapNode *const following = next_of(list, pos);
    added->prev = pos;
    added->next = following;
    next_of(list, pos) = added;
    prev_of(list, following) = added;
}

// The index is of the thread's own list only, not of one that a caller has made.
void insert_into_own(CapNodeList &list, CapNode *added) {
    if (is_empty(list)) {
        clear_index();
    }
    CapNode *const below = last_below(list, added->record.node);
    insert(list, below != nullptr ? below : end_of(list), added);
    add_to_index(added);
}

void remove(CapNodeList &list, CapNode *node) {
    let_walks_pass(node);
    next_of(list, node->prev) = node->next;
    prev_of(list, node->next) = node->prev;
    remove_from_index(node);
    free(node);
}

// The first entry of a node for which the condition holds; whether the node was met with at all.
struct Found {
    CapNode *entry;
    bool is_listed;
};

template <typename Condition>
Found find_by_index(CapNodeList &list, int32_t node, Condition condition) {
    CapNode *const below = is_empty(list) ? nullptr : last_below(list, node);
    if (below == nullptr) {
        return {nullptr, false};
    }
    CapNode *const first = next_of(list, below);
    CapNode *pos = first;
    for (; pos != end_of(list) && pos->record.node == node; pos = pos->next) {
        if (condition(pos)) {
            return {pos, true};
        }
    }
    return {nullptr, pos != first};
}

template <typename Condition>
CapNode *find_by_walk(const CapNodeList &list, int32_t node, Condition condition) {
    bool is_in_order = true;
    int32_t last = INT32_MIN;
    CapNode *pos = first_of(list);
    for (; pos != end_of(list); pos = pos->next) {
        const int32_t number = pos->record.node;
        if (number < last) [[unlikely]] {
            is_in_order = false;
        }
        last = number;
        if (number == node && condition(pos)) {
            break;
        }
    }
    const bool was_found = pos != end_of(list);
    if (!was_found || !is_in_order) {
        note_order(is_in_order);
    }
    return was_found ? pos : nullptr;
}

// Only a walk can tell that there is none: the index does not know where an entry stands whose number was changed.
template <typename Condition>
CapNode *find(int32_t node, Condition condition) {
    CapNodeList &list = this_threads_list();
    const Found found = find_by_index(list, node, condition);
    return found.entry != nullptr ? found.entry : find_by_walk(list, node, condition);
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
        clear_index();
    }
    return TREL_CAP_OK;
}

CapNode *trel_cap_sw_node_init(CapNodeRecord record, CapNodeList *list) {
    if (is_null(TREL_CAP_CALLER, "list", list)) {
        return nullptr;
    }
    TREL_CAP_LOG(kNotice, "enter");
    auto *const added = allocate<CapNode>();
    if (added == nullptr) {
        TREL_CAP_LOG(kError, "new_node malloc failed");
        return nullptr;
    }
    added->record = record;
    trel_cap_sw_dump_node(record);

    if (list->next == nullptr) {
        make_empty(*list);
    }
    if (list == &this_threads_list()) {
        insert_into_own(*list, added);
    } else {
        insert(*list, end_of(*list), added);
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

void trel_cap::visit_node(int32_t node, CapNodeVisitor visitor, void *argument) {
    CapNodeList &list = this_threads_list();
    const auto visit = [=](CapNode *pos) { return visitor(pos, argument) != 0; };
    if (!find_by_index(list, node, visit).is_listed) {
        find_by_walk(list, node, visit);
    }
}
