// What the exit status says. The numbers are part of the interface: they never change their meaning.
#ifndef TREL_CAPCTL_EXIT_CODE_H
#define TREL_CAPCTL_EXIT_CODE_H

#include <cstdint>
#include <stdexcept>
#include <string>

namespace capctl {

enum ExitCode : int {
    kDone = 0,
    kNotFound = 1,  // or: the answer is "off"
    kUsage = 2,
    kNoConnection = 3,
    kTimeOut = 4,
    kRefused = 5,
    kUnreadable = 6,
    kFailed = 7,
    kInterrupted = 130,
};

// The exit code of a store's failure code.
ExitCode exit_code_of(int32_t store_code);

// Ends the program: with this exit code, after this message on standard error.
class Failure : public std::runtime_error {
public:
    Failure(ExitCode code, const std::string &message) : std::runtime_error(message), code_(code) {}

    ExitCode exit_code() const { return code_; }

private:
    ExitCode code_;
};

}  // namespace capctl

#endif
