// The library against a scenario: in a process of its own, on an embedded store, without waiting.
#pragma once

#include "scenario/scenario.h"
#include "trial/verdict.h"

namespace trial {

// Whether it tells the events that the scenario expects. The library keeps state of the process, and could end it: so
// the process is forked, which takes a caller without threads and clients.
Verdict try_library(const scenario::Scenario &scenario);

}  // namespace trial
