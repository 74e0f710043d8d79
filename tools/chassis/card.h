// A card in the words of the chassis, and the records in which the processes around it say them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "record/record.h"

namespace chassis {

enum class CardClass { kLineCard, kFabric, kControlModule, kHps };

// lc, fab, cm, hps.
std::string_view name_of(CardClass card_class);
CardClass class_named(std::string_view name);  // throws a usage failure
std::vector<std::string> class_names();

// 1, 3 and 6 are line cards, 2 control modules, 5 fabric cards, 7 HPS cards; nothing: a type that nobody announces.
std::optional<CardClass> class_of(int32_t node_type);

// Where it is and what it is. The defaults are those of a card that a class and a node alone describe.
struct Card {
    int32_t node = 0;
    int32_t node_type = 3;
    int32_t config_dev_type = 900;  // its model
    int32_t devid = 0;
    int32_t slotid = 0;
    int32_t sslotid = 0;
    std::string name;
    bool is_online = true;
};

// A card of a class: its node type, model and slot (the node's number; of one with 32 bits the lower 31) as they are
// usual.
Card usual_card(CardClass card_class, int32_t node);

// What the process that watches the slots writes: CardInfo. Deleted, it says that the card was removed.
record::Record card_info(const Card &card);
// What the application's checking process writes: AppDfCardDenyCheckResult. Deleted, it is withdrawn.
record::Record check_result(const Card &card, bool passed);
// What the card's own software writes: CapFeReady, for a control module CapCmReady.
record::Record node_ready(const Card &card, bool ready, bool real_time);

// Readiness of the device (which is that of its line cards), or of a class: glb, cm, fab, hps.
record::Record scope_ready(std::string_view scope, bool ready);  // throws a usage failure for another scope
std::vector<std::string> scope_names();

}  // namespace chassis
