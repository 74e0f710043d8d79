// What the application is told of the device and its cards, and the records that cause it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <ox_mom.h>

#include "publisher.h"
#include "teller.h"

namespace demo {

// Before the library starts: asks to be told of the device and of all classes of cards.
void register_callbacks(Teller &teller);

// An event in words: of the device or of a whole class, which is ready; and of one card's node.
std::string told(int32_t event);
std::string told(int32_t event, uint32_t node, bool ready);

// Has a step published, and tells the events that it causes. They must be the expected ones.
void cause(Teller &teller, MomClient *client, Publisher &publisher, const std::string &step,
           const std::vector<std::string> &expected);

// Tells what has happened without a step, which is expected, in whatever order.
void hear_in_any_order(Teller &teller, std::vector<std::string> expected, const char *what);

}  // namespace demo
