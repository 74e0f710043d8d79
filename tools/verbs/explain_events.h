// explain --events: which record leads to which event, and to whom.
#pragma once

#include "verbs/verbs.h"

namespace capctl {

int explain_events(const Session &session);

}  // namespace capctl
