// Another program, that is: a child process with a function of the test's.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

namespace quib_test {

class OtherProgram {
public:
    // Runs in the child, which ends by _exit() when it returns. say() sends a word to the parent.
    using Say = std::function<void(const std::string &)>;
    explicit OtherProgram(const std::function<void(const Say &say)> &run);
    OtherProgram(const OtherProgram &) = delete;
    OtherProgram &operator=(const OtherProgram &) = delete;
    ~OtherProgram();

    // Waits for the next word; "" when there is none.
    std::string heard();
    void kill();
    // Waits for its end; its exit status, or -1.
    int wait();

private:
    pid_t pid_;
    int from_child_ = -1;
};

// A client with a module of that name, served until the process ends. Says "ready", or why not.
void serve_module(const std::string &module, const OtherProgram::Say &say);

}  // namespace quib_test
