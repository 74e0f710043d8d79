// The capabilities of the chassis, as the other side publishes them.
#pragma once

#include <string>
#include <vector>

#include <ox_mom.h>

namespace demo {

// Each publishes what it is named after, and returns it in words. Throws std::runtime_error when the store refuses.
std::vector<std::string> publish_capabilities(MomClient *client);
std::vector<std::string> publish_lower_mtu(MomClient *client);
std::vector<std::string> publish_card_capability(MomClient *client);
std::vector<std::string> publish_fabric_capability(MomClient *client);

// The capabilities that the story asks for: of the device,
inline constexpr const char *kStackSupport = "/device/stack/support";
inline constexpr const char *kVlanMax = "/l2/vlan/max";
inline constexpr const char *kMtuLimit = "/port/mtu/limit";
inline constexpr const char *kNeverPublished = "/device/teleport/support";
inline constexpr int32_t kLowerMtu = 1500;
// of the card in the first slot, and of all fabric cards.
inline constexpr const char *kPortSpeeds = "/port/speeds";
inline constexpr const char *kPortSpeedsValue = "10G,25G,100G";
inline constexpr const char *kFabricLinks = "/fabric/links/max";
inline constexpr int32_t kFabricLinksValue = 48;

}  // namespace demo
