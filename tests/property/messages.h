// Reports as the messages that the processors take.
#pragma once

#include "history.h"
#include "scripted_platform.h"

namespace property {

test_support::Message message_of(Processor processor, const Report &report);

// What is read of a state.
test_support::ObjectAnswer state_of(Processor processor, const StateAnswer &answer);

}  // namespace property
