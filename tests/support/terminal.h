// A program of the project on a terminal, with someone who types and reads.
#pragma once

#include <string>
#include <sys/types.h>

#include "program.h"

namespace test_support {

class Terminal {
public:
    explicit Terminal(const Launch &launch);
    ~Terminal();
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    void type(const std::string &keys);

    // Reads on until the text has been shown, and forgets it and all before it, which is returned. Throws when it is
    // not shown in time.
    std::string expect(const std::string &text);

    // Reads all that is shown until the program ends; returns its exit status as Outcome has it.
    int finish();

    // What finish() has read.
    const std::string &rest() const { return shown_; }

    pid_t pid() const { return pid_; }
    // Whether keys are echoed by the terminal itself, as they are when no line is edited.
    bool echoes() const;

private:
    bool read_more(int timeout_ms);

    pid_t pid_;
    int fd_ = -1;
    std::string shown_;
};

}  // namespace test_support
