// Plays a history over a real server, with an application that reaches it through a proxy.
#pragma once

#include <string>

#include "record.h"
#include "step.h"

namespace histories {

// program: the server's. Throws std::runtime_error when something does not arrive.
Record play(const History &history, const std::string &program);

}  // namespace histories
