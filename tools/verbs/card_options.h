// A card on the command line: what is known of its node, and what options say otherwise.
#pragma once

#include <optional>
#include <string>

#include "chassis/node_records.h"
#include "store/store.h"
#include "verbs/command.h"

namespace capctl {

// What the store holds of a node.
class KnownNode {
public:
    KnownNode(store::Store &store, int32_t node);
    // What it points to is this.
    KnownNode(const KnownNode &) = delete;
    KnownNode &operator=(const KnownNode &) = delete;

    const chassis::NodeRecords &records() const { return records_; }
    // Of all nodes: cards, checks and readiness.
    const store::Snapshot &snapshot() const { return snapshot_; }

private:
    store::Snapshot snapshot_;
    chassis::NodeRecords records_;
};

class CardOptions {
public:
    // The argument NODE, and the options --class, --type, --model, --slot, --dev and --subslot.
    void add_to(const Command &command);

    // Throws a usage failure when one of the options is given: what is done concerns the node, whatever is stored of
    // it.
    void refuse_all(const std::string &why) const;
    // Throws a usage failure for what is wrong with any of them, before a store is asked.
    void check() const;
    int32_t node() const;
    bool has_model() const { return !model_.empty(); }
    // What the options say, else what the records say, else what is usual of its class.
    chassis::Card card(const KnownNode &known) const;

private:
    std::optional<chassis::CardClass> card_class() const;
    void override_numbers(chassis::Card &card) const;

    Command command_;
    std::string node_;
    std::string card_class_;
    std::string type_;
    std::string model_;
    std::string slot_;
    std::string dev_;
    std::string subslot_;
};

}  // namespace capctl
