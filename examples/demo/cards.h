// The cards of the chassis, and what the processes around them publish of them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <ox_mom.h>
#include <trel_cap/records.h>

namespace demo {

// What is in which slot: line cards in three, and one card of each other class.
inline constexpr int32_t kFirstSlot = 1;
inline constexpr int32_t kRemovedSlot = 2;  // in the course of the story
inline constexpr int32_t kLastLineCardSlot = 3;
inline constexpr int32_t kFabricSlot = 4;
inline constexpr int32_t kControlModuleSlot = 5;
inline constexpr int32_t kHpsSlot = 6;
inline constexpr int32_t kLastSlot = 6;

// A slot's card has one node.
constexpr int32_t node_of(int32_t slot) { return 0x10 + slot; }

class Card {
public:
    explicit Card(int32_t slot);

    // Each publishes what has happened to the card, and returns it in words.
    std::string install(MomClient *client);
    std::string remove(MomClient *client);
    std::string check(MomClient *client, bool passed);
    std::string ready(MomClient *client);

private:
    CardInfo info();
    std::string in_slot(const char *what) const;

    int32_t slot_;
    CardInfoIndex place_ = CARD_INFO_INDEX__INIT;
};

// Publish that the device is ready, or a class of cards.
std::vector<std::string> publish_device_ready(MomClient *client);
std::vector<std::string> publish_fabric_ready(MomClient *client);
std::vector<std::string> publish_control_modules_ready(MomClient *client);
std::vector<std::string> publish_hps_ready(MomClient *client);

}  // namespace demo
