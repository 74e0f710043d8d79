// The meanings of a program's exit status. The numbers are part of the interface: they never change their meaning.
#pragma once

#include <stdexcept>
#include <string>

namespace command_line {

enum ExitStatus : int {
    kDone = 0,
    kNegative = 1,      // what was asked for is not there, not so, or has failed
    kUsage = 2,         // the command line is wrong, or a scenario that it names
    kNoConnection = 3,  // nobody answers where the store or the module should be
    kTimeOut = 4,
    kRefused = 5,
    kUnreadable = 6,  // what was read does not decode
    kFailed = 7,      // a file is missing, or cannot be read or written; anything else, such as no memory
    kInterrupted = 130,
};

// Ends the program, or a command of it: with this status, after this message on standard error, if any.
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus status, const std::string &message) : std::runtime_error(message), status_(status) {}

    ExitStatus status() const { return status_; }

private:
    ExitStatus status_;
};

}  // namespace command_line
