// A program of the project as a process, and what it prints.
#pragma once

#include <chrono>
#include <cstdio>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

#include <gmock/gmock.h>

namespace test_support {

using Arguments = std::vector<std::string>;
using Environment = std::map<std::string, std::string>;

// What the process gets in place of a captured standard output.
enum class Stdout { kCaptured, kClosed, kFull, kUnread };

// How a process begins. The rest of its environment is the test's.
struct Launch {
    std::string program;  // its file, by whose name it is called
    Arguments arguments = {};
    std::vector<std::string> unset = {};  // variables that it does not get
    Environment environment = {};         // that it gets
    std::string input = {};
    Stdout standard_output = Stdout::kCaptured;
    bool ignores_interrupts = false;
};

// All that it takes to become a program, put together before the fork: the child of a process with threads may find the
// heap locked for ever by one that is not there any more.
class Execution {
public:
    explicit Execution(const Launch &launch);
    Execution(const Execution &) = delete;
    Execution &operator=(const Execution &) = delete;

    // Becomes the program, in the child, with the descriptors that it has.
    [[noreturn]] void begin() const;

private:
    std::string program_;
    std::vector<std::string> arguments_;
    std::vector<std::string> environment_;
    std::vector<char *> argv_;
    std::vector<char *> envp_;
};

struct Outcome {
    int status = -1;  // the exit status; 1000 and the signal when one ended the process
    std::string out;
    std::string err;
};

std::ostream &operator<<(std::ostream &out, const Outcome &outcome);

// A started program.
class Program {
public:
    explicit Program(const Launch &launch);
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;
    ~Program();

    pid_t pid() const { return pid_; }

    // Of its standard output, so far.
    std::string printed() const;
    // Waits until that has the text in it, or half a minute.
    bool prints(const std::string &text) const;

    // Waits for its end; to be called once.
    Outcome finish();

private:
    struct FileCloser {
        void operator()(FILE *file) const { std::fclose(file); }
    };
    using File = std::unique_ptr<FILE, FileCloser>;

    void redirect(const Launch &launch) const;

    File in_;
    File out_;
    File err_;
    pid_t pid_ = -1;
};

// Of all children that have ended and were waited for.
std::chrono::microseconds processor_time_of_children();

// What a process that has done what it was asked has printed, and one that has not.
MATCHER_P(Prints, text, "ends with 0 and prints " + testing::PrintToString(text)) {
    return arg.status == 0 && arg.out == text && arg.err.empty();
}

MATCHER_P3(FailsWith, program, status, message,
           "ends with " + testing::PrintToString(status) + ", and no output but a message") {
    return arg.status == status && arg.out.empty() && arg.err.starts_with(std::string(program) + ": ") &&
           arg.err.find(message) != std::string::npos && arg.err.ends_with("\n");
}

}  // namespace test_support
