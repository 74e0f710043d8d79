// The chassis of the demo: the records that the other side publishes, by the step of the story that they belong to.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <ox_mom.h>

namespace demo {

// What a step has published, in words; empty when there is no such step.
std::vector<std::string> publish(MomClient *client, std::string_view step);

// The capabilities that the story asks for.
inline constexpr const char *kStackSupport = "/device/stack/support";
inline constexpr const char *kVlanMax = "/l2/vlan/max";
inline constexpr const char *kMtuLimit = "/port/mtu/limit";
inline constexpr const char *kNeverPublished = "/device/teleport/support";

}  // namespace demo
