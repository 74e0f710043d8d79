#include "program.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <ostream>
#include <stdexcept>
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

void become(const Launch &launch) {
    for (const std::string &name : launch.unset) {
        unsetenv(name.c_str());
    }
    for (const auto &[name, value] : launch.environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    const std::string name = launch.program.substr(launch.program.rfind('/') + 1);
    std::vector<char *> argv = {const_cast<char *>(name.c_str())};
    for (const std::string &argument : launch.arguments) {
        argv.push_back(const_cast<char *>(argument.c_str()));
    }
    argv.push_back(nullptr);
    alarm(kLimitSeconds);
    execv(launch.program.c_str(), argv.data());
    _exit(99);
}

std::ostream &operator<<(std::ostream &out, const Outcome &outcome) {
    return out << "status " << outcome.status << ", output " << testing::PrintToString(outcome.out) << ", message "
               << testing::PrintToString(outcome.err);
}

Program::Program(const Launch &launch) : in_(tmpfile()), out_(tmpfile()), err_(tmpfile()) {
    const std::string &input = launch.input;
    if (!in_ || !out_ || !err_ || fwrite(input.data(), 1, input.size(), in_.get()) != input.size()) {
        throw std::runtime_error("no temporary files");
    }
    std::rewind(in_.get());
    pid_ = fork();
    if (pid_ == 0) {
        redirect(launch);
        become(launch);
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

Outcome Program::finish() {
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status), contents(out_.get()),
            contents(err_.get())};
}

}  // namespace test_support
