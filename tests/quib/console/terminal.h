// quib on a terminal, with someone who types and reads.
#pragma once

#include <string>

#include "../../support/terminal.h"
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

class Terminal : public test_support::Terminal {
public:
    Terminal(const Arguments &arguments, const Environment &environment)
        : test_support::Terminal(quib(arguments, environment)) {}

    void type_at_prompt(const std::string &keys) {
        expect(kPrompt);
        type(keys);
    }
};

}  // namespace console_test
