// The part of the story in which cards come, become ready, and go.
#pragma once

#include <ox_mom.h>

#include "story.h"
#include "teller.h"

namespace demo {

// Before the library starts: asks to be told of the device and of line cards.
void register_callback(Teller &teller);

void follow_cards(Teller &teller, MomClient *client, const Stage &stage);

}  // namespace demo
