#include "console_test.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace console_test {

Launch quib(const Arguments &arguments, const Environment &environment) {
    const char *sanitizer = std::getenv("ASAN_OPTIONS");
    Environment given = {
        {"LANG", "C.UTF-8"},
        {"TERM", "xterm"},
        // libedit never frees the name of a function that was added to it. Its frames are seen by the slow unwinder
        // only.
        {"ASAN_OPTIONS", (sanitizer == nullptr ? "" : sanitizer) + std::string(":fast_unwind_on_malloc=0")},
        {"LSAN_OPTIONS", "print_suppressions=0:suppressions=" QUIB_TESTS "/leaks_of_libedit.txt"}};
    given.insert(environment.begin(), environment.end());
    return {.program = QUIB_PROGRAM,
            .arguments = arguments,
            .unset = {"QUIB_DIR", "QUIB_HISTORY", "XDG_RUNTIME_DIR", "XDG_STATE_HOME", "LC_ALL", "EDITRC"},
            .environment = given};
}

Outcome ConsoleTest::run(const Arguments &arguments, const std::string &input) const {
    Launch started = launch(arguments);
    started.input = input;
    return Program(started).finish();
}

Outcome ConsoleTest::run_into(Stdout standard_output, const Arguments &arguments) const {
    Launch started = launch(arguments);
    started.standard_output = standard_output;
    return Program(started).finish();
}

ConsoleTest::ConsoleTest() {
    for (const std::string &path : {directory(), home()}) {
        std::filesystem::create_directory(path);
    }
}

void wait_until(const std::function<bool()> &so) {
    using namespace std::chrono_literals;
    const auto from = std::chrono::steady_clock::now();
    while (!so()) {
        if (std::chrono::steady_clock::now() - from > 60s) {
            throw std::runtime_error("waited in vain");
        }
        std::this_thread::sleep_for(1ms);
    }
}

std::ostream &operator<<(std::ostream &out, const Outcome &outcome) {
    return out << "status " << outcome.status << ", output " << testing::PrintToString(outcome.out) << ", message "
               << testing::PrintToString(outcome.err);
}

std::string read_file(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

}  // namespace console_test
