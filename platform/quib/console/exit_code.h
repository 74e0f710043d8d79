// What the exit status says. The numbers are part of the interface: they never change their meaning.
#ifndef QUIB_CONSOLE_EXIT_CODE_H
#define QUIB_CONSOLE_EXIT_CODE_H

#include <stdexcept>
#include <string>

namespace console {

enum ExitCode : int {
    kDone = 0,
    kNegative = 1,  // the command's status was negative; or: no such module
    kUsage = 2,
    kNoConnection = 3,
    kTimeOut = 4,
    kRefused = 5,
    kUnreadable = 6,
    kFailed = 7,
    kInterrupted = 130,
};

// Ends a command: with this exit code, after this message on standard error, if any.
class Failure : public std::runtime_error {
public:
    Failure(ExitCode code, const std::string &message) : std::runtime_error(message), code_(code) {}

    ExitCode exit_code() const { return code_; }

private:
    ExitCode code_;
};

}  // namespace console

#endif
