// quib as a process, and a directory of its own for each test.
#ifndef TESTS_QUIB_CONSOLE_PROGRAM_H
#define TESTS_QUIB_CONSOLE_PROGRAM_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/types.h>

#include <cstdio>
#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace console_test {

using Arguments = std::vector<std::string>;
using Environment = std::map<std::string, std::string>;

// Becomes quib in a child process, with these variables and no others of its own.
[[noreturn]] void become_program(const Arguments &arguments, const Environment &environment);

struct Outcome {
    int status = -1;  // the exit status; 1000 and the signal when one ended the process
    std::string out;
    std::string err;
};

std::ostream &operator<<(std::ostream &out, const Outcome &outcome);

// What the process gets in place of a captured standard output.
enum class Stdout { kCaptured, kClosed, kFull, kUnread };

struct Start {
    std::string input = {};
    Stdout standard_output = Stdout::kCaptured;
    bool ignores_interrupts = false;
};

// A started quib.
class Program {
public:
    Program(const Arguments &arguments, const Environment &environment, const Start &start = {});
    ~Program();
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    pid_t pid() const { return pid_; }
    // Waits for its end; to be called once.
    Outcome finish();

private:
    struct FileCloser {
        void operator()(FILE *file) const { std::fclose(file); }
    };
    using File = std::unique_ptr<FILE, FileCloser>;

    [[noreturn]] void become(const Arguments &arguments, const Environment &environment, const Start &start) const;

    File in_;
    File out_;
    File err_;
    pid_t pid_;
};

// A test with a directory for modules and a home of its own.
class ConsoleTest : public testing::Test {
protected:
    ConsoleTest();
    ~ConsoleTest() override;

    std::string directory() const { return root_ + "/quib"; }
    std::string home() const { return root_ + "/home"; }
    std::string socket(const std::string &module) const { return directory() + "/" + module; }
    Environment environment() const { return {{"QUIB_DIR", directory()}, {"HOME", home()}}; }
    Outcome run(const Arguments &arguments, const Start &start = {}) const {
        return Program(arguments, environment(), start).finish();
    }

private:
    std::string root_;
};

// Waits until something is so; a test that waits in vain fails.
void wait_until(const std::function<bool()> &so);

MATCHER_P(Prints, text, "ends with 0 and prints " + testing::PrintToString(text)) {
    return arg.status == 0 && arg.out == text && arg.err.empty();
}

MATCHER_P2(FailsWith, status, message,
           "ends with " + testing::PrintToString(status) + ", and no output but a message") {
    return arg.status == status && arg.out.empty() && arg.err.starts_with("quib: ") &&
           arg.err.find(message) != std::string::npos && arg.err.ends_with("\n");
}

std::string read_file(const std::string &path);

}  // namespace console_test

#endif
