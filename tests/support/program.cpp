#include "program.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <ostream>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test_support {

namespace {

constexpr unsigned kLimitSeconds = 100;  // of a program's life

std::string contents(FILE *file) {
    std::string text;
    std::rewind(file);
    char block[65536];
    for (size_t n = 0; (n = fread(block, 1, sizeof block, file)) > 0;) {
        text.append(block, n);
    }
    return text;
}

// As the system takes them, with a null pointer at the end.
std::vector<char *> pointers_to(std::vector<std::string> &words) {
    std::vector<char *> pointers;
    for (std::string &word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    return pointers;
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

Execution::Execution(const Launch &launch)
    : program_(launch.program), arguments_{launch.program.substr(launch.program.rfind('/') + 1)} {
    arguments_.insert(arguments_.end(), launch.arguments.begin(), launch.arguments.end());
    for (char **inherited = environ; *inherited != nullptr; ++inherited) {
        const std::string variable = *inherited;
        const std::string name = variable.substr(0, variable.find('='));
        const bool unset = std::find(launch.unset.begin(), launch.unset.end(), name) != launch.unset.end();
        if (!unset && !launch.environment.contains(name)) {
            environment_.push_back(variable);
        }
    }
    for (const auto &[name, value] : launch.environment) {
        environment_.push_back(name + "=" + value);
    }
    argv_ = pointers_to(arguments_);
    envp_ = pointers_to(environment_);
}

void Execution::begin() const {
    alarm(kLimitSeconds);
    execve(program_.c_str(), argv_.data(), envp_.data());
    _exit(99);
}

std::ostream &operator<<(std::ostream &out, const Outcome &outcome) {
    return out << "status " << outcome.status << ", output " << testing::PrintToString(outcome.out) << ", message "
               << testing::PrintToString(outcome.err);
}

std::chrono::microseconds processor_time_of_children() {
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    return std::chrono::seconds(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           std::chrono::microseconds(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

Program::Program(const Launch &launch) : in_(tmpfile()), out_(tmpfile()), err_(tmpfile()) {
    const std::string &input = launch.input;
    if (!in_ || !out_ || !err_ || fwrite(input.data(), 1, input.size(), in_.get()) != input.size()) {
        throw std::runtime_error("no temporary files");
    }
    std::rewind(in_.get());
    const Execution execution(launch);
    pid_ = fork();
    if (pid_ == 0) {
        redirect(launch);
        execution.begin();
    }
}

Program::~Program() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

void Program::redirect(const Launch &launch) const {
    signal(SIGINT, launch.ignores_interrupts ? SIG_IGN : SIG_DFL);
    dup2(fileno(in_.get()), STDIN_FILENO);
    dup2(fileno(err_.get()), STDERR_FILENO);
    if (launch.standard_output == Stdout::kClosed) {
        close(STDOUT_FILENO);
    } else {
        dup2(standard_output(launch.standard_output, out_.get()), STDOUT_FILENO);
    }
}

std::string Program::printed() const {
    std::string text;
    char block[4096];
    // The program writes at the file's own position, which stays as it is.
    while (true) {
        const ssize_t size = pread(fileno(out_.get()), block, sizeof block, static_cast<off_t>(text.size()));
        if (size <= 0) {
            return text;
        }
        text.append(block, static_cast<size_t>(size));
    }
}

bool Program::prints(const std::string &text) const {
    constexpr int kPatience = 30000;
    constexpr useconds_t kPause = 1000;
    for (int i = 0; i < kPatience; ++i) {
        if (printed().find(text) != std::string::npos) {
            return true;
        }
        usleep(kPause);
    }
    return false;
}

Outcome Program::finish() {
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status), contents(out_.get()),
            contents(err_.get())};
}

}  // namespace test_support
