#include "chassis.h"

#include <functional>
#include <map>
#include <sstream>

#include "capabilities.h"
#include "cards.h"

namespace demo {

std::vector<std::string> publish(MomClient *client, const std::string &step) {
    static const std::map<std::string, std::function<std::vector<std::string>(MomClient *)>> device_steps = {
        {"capabilities", publish_capabilities},
        {"lower-mtu", publish_lower_mtu},
        {"card-capability", publish_card_capability},
        {"fabric-capability", publish_fabric_capability},
        {"device-ready", publish_device_ready},
        {"fabric-ready", publish_fabric_ready},
        {"control-modules-ready", publish_control_modules_ready},
        {"hps-ready", publish_hps_ready},
    };
    static const std::map<std::string, std::function<std::string(Card &, MomClient *)>> card_steps = {
        {"install", &Card::install},
        {"remove", &Card::remove},
        {"ready", &Card::ready},
        {"pass", [](Card &card, MomClient *to) { return card.check(to, true); }},
        {"deny", [](Card &card, MomClient *to) { return card.check(to, false); }},
    };
    if (const auto found = device_steps.find(step); found != device_steps.end()) {
        return found->second(client);
    }
    std::istringstream words(step);
    std::string verb;
    int32_t slot = 0;
    words >> verb >> slot;
    if (const auto found = card_steps.find(verb);
        found != card_steps.end() && slot >= kFirstSlot && slot <= kLastSlot) {
        Card card(slot);
        return {found->second(card, client)};
    }
    return {};
}

}  // namespace demo
