// The node list, told a second time.
#pragma once

#include <algorithm>
#include <list>
#include <vector>

#include "outcome.h"

namespace property {

// In ascending order of node; those of the same node in the order of their arrival. Entries stay where they are.
class NodeModel {
public:
    Node *find(int32_t node) {
        return first([=](const Node &entry) { return entry.node == node; });
    }
    Node *find(int32_t node, int32_t config_dev_type) {
        return first([=](const Node &entry) { return entry.node == node && entry.config_dev_type == config_dev_type; });
    }

    Node *add(const Node &node) {
        const auto next =
            std::find_if(entries_.begin(), entries_.end(), [&](const Node &entry) { return entry.node > node.node; });
        return &*entries_.insert(next, node);
    }

    // One entry, or none.
    void remove(int32_t node, int32_t config_dev_type) {
        const Node *found = find(node, config_dev_type);
        entries_.remove_if([=](const Node &entry) { return &entry == found; });
    }

    // Whether any entry of the node counts as ready.
    bool is_fully_ready(int32_t node) const {
        return any(node, [](const Node &entry) {
            return entry.ready && entry.real_time && entry.dm_install && entry.app_df_chk && !entry.cns;
        });
    }

    bool is_preinstalled(int32_t node) const {
        return any(node, [](const Node &entry) { return !entry.real_time; });
    }

    const std::list<Node> &entries() const { return entries_; }

private:
    template <class Test>
    Node *first(Test test) {
        const auto found = std::find_if(entries_.begin(), entries_.end(), test);
        return found == entries_.end() ? nullptr : &*found;
    }

    template <class Test>
    bool any(int32_t node, Test test) const {
        return std::any_of(entries_.begin(), entries_.end(),
                           [&](const Node &entry) { return entry.node == node && test(entry); });
    }

    std::list<Node> entries_;
};

}  // namespace property
