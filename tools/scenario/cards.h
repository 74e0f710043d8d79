// The cards of a scenario, by the names that it gives them.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "chassis/card.h"
#include "scenario/yaml.h"

namespace scenario {

struct NamedCard {
    std::string name;
    chassis::CardClass card_class;
    chassis::Card card;
};

class Cards {
public:
    Cards() = default;
    explicit Cards(const Value &map);

    // Those that a value names: a card, a class for all of it, "all", or a list of such.
    std::vector<const NamedCard *> named(const Value &value) const;
    std::vector<const NamedCard *> all() const;
    // A card's node, or one by its number.
    int32_t node(const Value &value) const;
    // A node that several cards have, as one after the other, has none.
    std::map<int32_t, std::string> node_names() const;

private:
    std::vector<std::string> words() const;
    void add_named(const Value &value, std::vector<const NamedCard *> &found) const;

    std::vector<NamedCard> cards_;
};

}  // namespace scenario
