// quib as a process, and a directory of its own for each test.
#pragma once

#include <functional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "private_directory.h"
#include "program.h"

namespace console_test {

using test_support::Arguments;
using test_support::Environment;
using test_support::Execution;
using test_support::Launch;
using test_support::Outcome;
using test_support::Prints;
using test_support::Program;
using test_support::Stdout;

// quib with these variables, and no others of its own.
Launch quib(const Arguments &arguments, const Environment &environment);

// A test with a directory for modules and a home of its own.
class ConsoleTest : public testing::Test {
protected:
    ConsoleTest();

    std::string directory() const { return root_.path() + "/quib"; }
    std::string home() const { return root_.path() + "/home"; }
    std::string socket(const std::string &module) const { return directory() + "/" + module; }
    Environment environment() const { return {{"QUIB_DIR", directory()}, {"HOME", home()}}; }

    Launch launch(const Arguments &arguments) const { return quib(arguments, environment()); }
    Outcome run(const Arguments &arguments, const std::string &input = "") const;
    Outcome run_into(Stdout standard_output, const Arguments &arguments) const;

private:
    test_support::PrivateDirectory root_;
};

// Waits until something is so; a test that waits in vain fails.
void wait_until(const std::function<bool()> &so);

// NOLINTNEXTLINE(readability-identifier-naming): as matchers are called
inline auto FailsWith(int status, const std::string &message) {
    return test_support::FailsWith("quib", status, message);
}

std::string read_file(const std::string &path);

}  // namespace console_test
