// After the story: the application goes on, so that an operator can look into it.
#pragma once

#include <ox_mom.h>

#include "story.h"
#include "teller.h"

namespace demo {

// Until the user interrupts it. Throws std::runtime_error when no operator can attach.
void stay(Teller &teller, MomClient *client, const Stage &stage);

}  // namespace demo
