// Somebody's application against a scenario, over a server of its own.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "scenario/scenario.h"
#include "trial/verdict.h"

namespace trial {

struct ProgramOptions {
    std::vector<std::string> words;  // the program and its arguments
    double speed = 1;
    std::string started;                      // in a line of its output when it is up; empty: it is up after `settling`
    std::chrono::milliseconds settling{500};  // how long a program takes that does not say when it is up
    std::chrono::milliseconds patience{10000};  // for what it is to print, and for its beginning and end
};

// Plays what was before, starts the program with $OX_MOM_STORE, plays the steps, waits for what it is to print, and
// ends it: by the end of its input, else with SIGTERM. Judges its output and how it ended.
Verdict try_program(const scenario::Scenario &scenario, const ProgramOptions &options);

}  // namespace trial
