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
    bool stays = false;   // goes on after the story, for operators
    std::string console;  // how they call it
};

// Throws std::runtime_error when something that the story is about does not happen, Interrupted when the user has had
// enough of it.
void tell_story(const Stage &stage);

}  // namespace demo
