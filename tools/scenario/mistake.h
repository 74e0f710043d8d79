// What is wrong in a scenario's file.
#pragma once

#include <string>

#include "command_line/exit_status.h"

namespace scenario {

// With its place: FILE:LINE:COLUMN.
class Mistake : public command_line::Failure {
public:
    explicit Mistake(const std::string &message) : Failure(command_line::kUsage, message) {}
};

}  // namespace scenario
