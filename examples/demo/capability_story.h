// The part of the story in which capabilities are read, written and followed.
#pragma once

#include <ox_mom.h>

#include "publisher.h"
#include "teller.h"

namespace demo {

void tell_capabilities(Teller &teller, MomClient *client, Publisher &publisher);

}  // namespace demo
