// What an application is told of a node when it starts and reads the store as it stands.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "chassis/classes.h"
#include "chassis/node_records.h"

namespace chassis {

// Bit n stands for event n.
inline constexpr uint32_t kAllEvents = 0x1ff;

// An event with a node, as a callback hears it.
struct Told {
    int32_t event = 0;
    List list = List::kLineCards;
    bool ready = false;
    bool in_advance = false;  // because the class is ready, though the card is not yet in real time
    std::string key;          // of the record that leads to it

    bool operator==(const Told &) const = default;
};

// In order. The store tells its records in the order of their keys; where another order would make a difference the
// records contradict each other. One who asks for no event of a node hears of none.
std::vector<Told> told_at_start(const NodeRecords &records, const std::set<CardClass> &ready_classes,
                                uint32_t asked_for = kAllEvents);

}  // namespace chassis
