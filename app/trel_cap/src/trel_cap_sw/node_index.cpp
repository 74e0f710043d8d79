#include "node_index.h"

#include <algorithm>
#include <cstdlib>

#include "node_links.h"

namespace trel_cap {

namespace {

// An entry, with the number that it had when it came.
struct Item {
    int32_t node;
    CapNode *entry;
};

struct Index {
    Item *items;
    uint32_t count;
    uint32_t capacity;
    uint32_t others;  // entries that are not among the items; those that applications link are not counted
    bool is_out_of_order;

    bool is_used() const { return count + others > kWalkedEntries; }
};
__thread Index index_of_thread;

// The first item whose number is not below, or is above.
Item *first_not_below(const Index &index, int32_t node) {
    return std::partition_point(index.items, index.items + index.count,
                                [=](const Item &item) { return item.node < node; });
}

Item *first_above(const Index &index, int32_t node) {
    return std::partition_point(index.items, index.items + index.count,
                                [=](const Item &item) { return item.node <= node; });
}

void forget(Index &index) {
    free(index.items);
    index = {};
}

bool make_room(Index &index) {
    if (index.count < index.capacity) {
        return true;
    }
    const uint32_t capacity = index.capacity != 0 ? 2 * index.capacity : kWalkedEntries;
    auto *const items = static_cast<Item *>(realloc(index.items, capacity * sizeof(Item)));
    if (items == nullptr) {
        return false;
    }
    index.items = items;
    index.capacity = capacity;
    return true;
}

void erase(Index &index, Item *item) {
    std::copy(item + 1, index.items + index.count, item);
    index.count--;
}

// By its number, or else, when that was changed in place, among all.
Item *item_of(const Index &index, const CapNode *entry) {
    Item *const end = index.items + index.count;
    const auto is_wanted = [=](const Item &item) { return item.entry == entry; };
    Item *const first = first_not_below(index, entry->record.node);
    Item *const last = first_above(index, entry->record.node);
    if (Item *const found = std::find_if(first, last, is_wanted); found != last) {
        return found;
    }
    Item *const found = std::find_if(index.items, end, is_wanted);
    return found != end ? found : nullptr;
}

}  // namespace

CapNode *last_below(CapNodeList &list, int32_t node) {
    Index &index = index_of_thread;
    if (!index.is_used() || index.is_out_of_order) {
        return nullptr;
    }
    CapNode *pos = end_of(list);
    int32_t number = INT32_MIN;
    if (Item *const behind = first_not_below(index, node); behind != index.items) {
        Item *const item = behind - 1;
        pos = item->entry;
        number = item->node;
        if (pos->record.node != number) {
            erase(index, item);
            index.others++;
            return nullptr;
        }
    }
    for (CapNode *next = next_of(list, pos); next != end_of(list) && next->record.node < node; next = next->next) {
        if (next->record.node < number) {
            index.is_out_of_order = true;
            return nullptr;
        }
        number = next->record.node;
        pos = next;
    }
    return pos;
}

void add_to_index(CapNode *entry) {
    Index &index = index_of_thread;
    if (index.count + index.others < kWalkedEntries || !make_room(index)) {
        index.others++;
        return;
    }
    Item *const place = first_above(index, entry->record.node);
    std::copy_backward(place, index.items + index.count, index.items + index.count + 1);
    *place = {entry->record.node, entry};
    index.count++;
}

void remove_from_index(const CapNode *entry) {
    Index &index = index_of_thread;
    if (Item *const item = item_of(index, entry); item != nullptr) {
        erase(index, item);
    } else if (index.others != 0) {
        index.others--;
    }
    if (!index.is_used()) {
        const uint32_t left = index.count + index.others;
        forget(index);
        index.others = left;
    }
}

void clear_index() { forget(index_of_thread); }

void note_order(bool is_in_order) { index_of_thread.is_out_of_order = !is_in_order; }

}  // namespace trel_cap
