// quib on a terminal, with someone who types and reads.
#pragma once

#include <sys/types.h>

#include <string>

#include "console_test.h"

namespace console_test {

// Keys.
inline constexpr char kTab[] = "\t";
inline constexpr char kReturn[] = "\r";
inline constexpr char kUp[] = "\033[A";
inline constexpr char kDown[] = "\033[B";
inline constexpr char kLeft[] = "\033[D";
inline constexpr char kControlC[] = "\003";
inline constexpr char kControlD[] = "\004";
inline constexpr char kControlR[] = "\022";
inline constexpr char kControlU[] = "\025";
inline constexpr char kControlZ[] = "\032";

// What quib shows when it waits for a line to "demo". Keys that come before are echoed by the terminal, which may also
// edit and cut them.
inline constexpr char kPrompt[] = "demo> ";

class Terminal {
public:
    Terminal(const Arguments &arguments, const Environment &environment);
    ~Terminal();
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    void type(const std::string &keys);
    void type_at_prompt(const std::string &keys) {
        expect(kPrompt);
        type(keys);
    }

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

}  // namespace console_test
