// A fault, tried on an application: what it sees, and when.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "fault.h"

namespace reliability {

struct Finding {
    int32_t read = 0;  // while the fault lasts
    int32_t write = 0;
    std::vector<std::string> lines;
    std::string told;
    milliseconds until_known{};    // since its beginning
    milliseconds until_in_step{};  // since its end
    bool is_known = true;          // as the fault's sign has it
    bool is_in_step = false;
    std::string difference;  // when it is not: both pictures
    int32_t read_afterwards = 0;
    int32_t write_afterwards = 0;
};

// program: the server's.
Finding try_out(const Fault &fault, const std::string &program);

}  // namespace reliability
