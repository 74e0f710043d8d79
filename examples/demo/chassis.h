// The chassis of the demo: what the other side publishes, by the step of the story that it belongs to.
#pragma once

#include <string>
#include <vector>

#include <ox_mom.h>

namespace demo {

// Publishes a step, such as "capabilities" or "install 2" (the card in slot 2). Returns what it has published, in
// words; nothing when there is no such step.
std::vector<std::string> publish(MomClient *client, const std::string &step);

}  // namespace demo
