#include "node_lanes.h"

#include <algorithm>
#include <array>
#include <bit>
#include <new>

namespace trel_cap {

namespace {

constexpr int kLanes = 7;

__thread CapNode *lane_heads[kLanes];

/* How many lanes an entry is on. The number is scrambled first: numbers of cards follow patterns of their own. */
int lane_count(int32_t node) {
    auto bits = static_cast<uint32_t>(node);
    bits = (bits ^ (bits >> 16)) * 0x85ebca6bU;
    bits = (bits ^ (bits >> 13)) * 0xc2b2ae35U;
    bits ^= bits >> 16;
    return std::min(std::countr_zero(bits) / 2, kLanes);
}

/* The links of an entry on its lanes. */
CapNode **links_of(CapNode *entry) { return reinterpret_cast<CapNode **>(entry + 1); }

/* For each lane, the link behind which an entry belongs; and the last entry that was passed on the way, or NULL. */
struct Path {
    std::array<CapNode **, kLanes> links;
    CapNode *last;
};

template <typename IsPassed>
Path descend(IsPassed is_passed) {
    Path path{};
    CapNode **links = lane_heads;
    for (int lane = kLanes - 1; lane >= 0; lane--) {
        while (links[lane] != nullptr && is_passed(links[lane]->record.node)) {
            path.last = links[lane];
            links = links_of(path.last);
        }
        path.links[static_cast<size_t>(lane)] = &links[lane];
    }
    return path;
}

Path path_below(int32_t node) {
    return descend([=](int32_t passed) { return passed < node; });
}

Path path_up_to(int32_t node) {
    return descend([=](int32_t passed) { return passed <= node; });
}

}  // namespace

CapNode *allocate_entry(const CapNodeRecord &record) {
    const auto lanes = static_cast<size_t>(lane_count(record.node));
    void *const memory = ::operator new(sizeof(CapNode) + lanes * sizeof(CapNode *), std::nothrow);
    return memory != nullptr ? new (memory) CapNode{nullptr, nullptr, record} : nullptr;
}

void free_entry(CapNode *entry) { ::operator delete(entry); }

CapNode *lane_entry_below(int32_t node) { return path_below(node).last; }

CapNode *lane_entry_up_to(int32_t node) { return path_up_to(node).last; }

void add_to_lanes(CapNode *entry) {
    const Path path = path_up_to(entry->record.node);
    for (int lane = 0; lane < lane_count(entry->record.node); lane++) {
        CapNode *&link = *path.links[static_cast<size_t>(lane)];
        links_of(entry)[lane] = link;
        link = entry;
    }
}

void remove_from_lanes(CapNode *entry) {
    const int lanes = lane_count(entry->record.node);
    const Path path = path_below(entry->record.node);
    for (int lane = 0; lane < lanes; lane++) {
        // Entries of the same number are on the same lanes.
        CapNode **link = path.links[static_cast<size_t>(lane)];
        while (*link != entry && *link != nullptr) {
            link = &links_of(*link)[lane];
        }
        if (*link == entry) {
            *link = links_of(entry)[lane];
        }
    }
}

void clear_lanes() { std::fill_n(lane_heads, kLanes, nullptr); }

}  // namespace trel_cap
