// What a step fails with.
#pragma once

#include <string>

#include "command_line/exit_status.h"

namespace store_test {

// The exit status and the message, or "none".
template <class Step>
std::string failure_of(Step step) {
    try {
        step();
    } catch (const command_line::Failure &failure) {
        return std::to_string(failure.status()) + " " + failure.what();
    }
    return "none";
}

}  // namespace store_test
