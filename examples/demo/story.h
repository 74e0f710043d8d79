// The application's side of the demo, told as it happens.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "publisher.h"

namespace demo {

// Where the story plays.
struct Stage {
    std::string store;
    Publisher &publisher;
    std::function<void()> restart_server;  // none: there is no server to restart
    int32_t log_level = 0;
};

// Throws std::runtime_error when something that the story is about does not happen.
void tell_story(const Stage &stage);

}  // namespace demo
