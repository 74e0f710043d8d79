// The chassis of the demo: the records that the other side publishes, by the step of the story that they belong to.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <ox_mom.h>

namespace demo {

// Publishes a step, such as "capabilities" or "install 2" (the card in slot 2). Returns what it has published, in
// words; nothing when there is no such step.
std::vector<std::string> publish(MomClient *client, const std::string &step);

// The line cards' nodes, by slot.
inline constexpr int32_t kFirstSlot = 1;
inline constexpr int32_t kLastSlot = 3;
constexpr int32_t node_of(int32_t slot) { return 0x10 + slot; }

// The capabilities that the story asks for.
inline constexpr const char *kStackSupport = "/device/stack/support";
inline constexpr const char *kVlanMax = "/l2/vlan/max";
inline constexpr const char *kMtuLimit = "/port/mtu/limit";
inline constexpr const char *kNeverPublished = "/device/teleport/support";

}  // namespace demo
