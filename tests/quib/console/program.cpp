#include "program.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace console_test {

namespace {

std::string contents(FILE *file) {
    std::string text;
    std::rewind(file);
    char block[65536];
    for (size_t n = 0; (n = fread(block, 1, sizeof block, file)) > 0;) {
        text.append(block, n);
    }
    return text;
}

// libedit never frees the name of a function that was added to it. Its frames are seen by the slow unwinder only.
void exempt_the_editor_from_leak_checks() {
    const char *options = std::getenv("ASAN_OPTIONS");
    setenv("ASAN_OPTIONS", ((options == nullptr ? "" : options) + std::string(":fast_unwind_on_malloc=0")).c_str(), 1);
    setenv("LSAN_OPTIONS", "print_suppressions=0:suppressions=" QUIB_TESTS "/leaks_of_libedit.txt", 1);
}

void set_environment(const Environment &environment) {
    for (const char *name : {"QUIB_DIR", "QUIB_HISTORY", "XDG_RUNTIME_DIR", "XDG_STATE_HOME", "LC_ALL", "EDITRC"}) {
        unsetenv(name);
    }
    setenv("LANG", "C.UTF-8", 1);
    setenv("TERM", "xterm", 1);
    exempt_the_editor_from_leak_checks();
    for (const auto &[name, value] : environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
}

int standard_output(Stdout kind, FILE *captured) {
    switch (kind) {
        case Stdout::kFull:
            return open("/dev/full", O_WRONLY | O_CLOEXEC);
        case Stdout::kUnread: {
            int ends[2];
            const bool made = pipe2(ends, O_CLOEXEC) == 0;
            close(ends[0]);
            return made ? ends[1] : -1;
        }
        default:
            return fileno(captured);
    }
}

}  // namespace

void become_program(const Arguments &arguments, const Environment &environment) {
    constexpr unsigned kLimitSeconds = 100;
    set_environment(environment);
    std::vector<char *> argv = {const_cast<char *>("quib")};
    for (const std::string &argument : arguments) {
        argv.push_back(const_cast<char *>(argument.c_str()));
    }
    argv.push_back(nullptr);
    alarm(kLimitSeconds);
    execv(QUIB_PROGRAM, argv.data());
    _exit(99);
}

Program::Program(const Arguments &arguments, const Environment &environment, const Start &start)
    : in_(tmpfile()), out_(tmpfile()), err_(tmpfile()), pid_(-1) {
    if (!in_ || !out_ || !err_ || fwrite(start.input.data(), 1, start.input.size(), in_.get()) != start.input.size()) {
        throw std::runtime_error("no temporary files");
    }
    std::rewind(in_.get());
    pid_ = fork();
    if (pid_ == 0) {
        become(arguments, environment, start);
    }
}

Program::~Program() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

void Program::become(const Arguments &arguments, const Environment &environment, const Start &start) const {
    signal(SIGINT, start.ignores_interrupts ? SIG_IGN : SIG_DFL);
    dup2(fileno(in_.get()), STDIN_FILENO);
    dup2(fileno(err_.get()), STDERR_FILENO);
    if (start.standard_output == Stdout::kClosed) {
        close(STDOUT_FILENO);
    } else {
        dup2(standard_output(start.standard_output, out_.get()), STDOUT_FILENO);
    }
    become_program(arguments, environment);
}

Outcome Program::finish() {
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status), contents(out_.get()),
            contents(err_.get())};
}

ConsoleTest::ConsoleTest() {
    char name[] = "/tmp/quib_test.XXXXXX";
    if (mkdtemp(name) == nullptr) {
        throw std::runtime_error("no temporary directory");
    }
    root_ = name;
    for (const std::string &path : {directory(), home()}) {
        std::filesystem::create_directory(path);
    }
}

ConsoleTest::~ConsoleTest() {
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
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
