// The request: the program's own options, and what is the module's.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace console {

struct Request {
    std::chrono::milliseconds limit;
    bool json;
    std::string module;                // empty: list them
    std::vector<std::string> command;  // empty: those of standard input
};

// Nothing when the command line asked for help or the version, which is then written. Throws a Failure when it is
// wrong.
std::optional<Request> parse_request(int argc, char **argv);

}  // namespace console
