// An example as a process, with pipes to its input and from its output. Its standard error is the test's.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace examples_test {

class Running {
public:
    // With OX_MOM_STORE set to store; empty: without it. Throws std::runtime_error when there is no process to be had.
    Running(const std::string &store, const std::string &example, const std::vector<std::string> &arguments = {});
    // Kills it when it has not ended.
    ~Running();
    Running(const Running &) = delete;
    Running &operator=(const Running &) = delete;

    // The next line of its output, which it waits for; "(no more)" when the output has ended or takes too long.
    std::string line();
    void type(const std::string &input) const;
    void end_input();
    // Waits for its end; the exit status, or 1000 and the signal when one ended it. To be called once.
    int finish();

private:
    // More of the output; false when there is none.
    bool read_more();

    int in_ = -1;
    int out_ = -1;
    pid_t pid_ = -1;
    std::string unread_;
};

}  // namespace examples_test
