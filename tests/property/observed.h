// What can be seen of the calling thread's library, whatever the platform under it.
#pragma once

#include <array>
#include <optional>
#include <vector>

#include "history.h"
#include "outcome.h"
#include "ox_mom.h"

namespace property {

// What the thread's callbacks do, and what they have heard.
struct Callbacks {
    uint32_t clearing_events = 0;  // as in a step
    std::vector<Heard> heard;
};
Callbacks &callbacks();

// Makes the process's registrations. Throws std::runtime_error when one is refused.
void register_callbacks();
int32_t ask_for_events(const AskForEvents &action);

MomMsgCb function_of(Processor processor);
std::optional<Processor> processor_of(const void *function);

State observed_state();
std::array<bool, 4> observed_all_loaded();

// Empties the node list and forgets what was heard.
void forget_everything();

}  // namespace property
