// The part of the story in which the device and its cards come, become ready, and go.
#pragma once

#include <ox_mom.h>

#include "story.h"
#include "teller.h"

namespace demo {

void tell_readiness(Teller &teller, MomClient *client, const Stage &stage);

}  // namespace demo
