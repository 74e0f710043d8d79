#include "program.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <ostream>
#include <stdexcept>

namespace capctl_test {

namespace {

std::string contents(FILE *file) {
    std::string text;
    std::rewind(file);
    char block[4096];
    for (size_t n = 0; (n = fread(block, 1, sizeof block, file)) > 0;) {
        text.append(block, n);
    }
    return text;
}

void set_environment(const Environment &environment) {
    for (const char *name : {"OX_MOM_STORE", "OX_MOM_TIMEOUT_MS"}) {
        unsetenv(name);
    }
    for (const auto &[name, value] : environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
}

}  // namespace

Program::Program(const Arguments &arguments, const Start &start) : out_(tmpfile()), err_(tmpfile()), pid_(-1) {
    if (!out_ || !err_) {
        throw std::runtime_error("no temporary files");
    }
    pid_ = fork();
    if (pid_ == 0) {
        become(arguments, start);
    }
}

Program::~Program() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

void Program::become(const Arguments &arguments, const Start &start) const {
    constexpr unsigned kLimitSeconds = 40;
    set_environment(start.environment);
    signal(SIGINT, start.ignores_interrupts ? SIG_IGN : SIG_DFL);
    dup2(fileno(err_.get()), STDERR_FILENO);
    if (start.standard_output == Stdout::kClosed) {
        close(STDOUT_FILENO);
    } else {
        const bool full = start.standard_output == Stdout::kFull;
        dup2(full ? open("/dev/full", O_WRONLY | O_CLOEXEC) : fileno(out_.get()), STDOUT_FILENO);
    }
    std::vector<char *> argv = {const_cast<char *>("trel_capctl")};
    for (const std::string &argument : arguments) {
        argv.push_back(const_cast<char *>(argument.c_str()));
    }
    argv.push_back(nullptr);
    alarm(kLimitSeconds);
    execv(CAPCTL_PROGRAM, argv.data());
    _exit(99);
}

Outcome Program::finish() {
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status), contents(out_.get()),
            contents(err_.get())};
}

Outcome run(const Arguments &arguments, const Environment &environment) {
    Program::Start start;
    start.environment = environment;
    return Program(arguments, start).finish();
}

test_support::RedisConnection ServerTest::raw() const {
    test_support::RedisConnection connection = server_.connection();
    connection.must({"SELECT", "28"});
    return connection;
}

std::ostream &operator<<(std::ostream &out, const Outcome &outcome) {
    return out << "status " << outcome.status << ", output " << testing::PrintToString(outcome.out) << ", message "
               << testing::PrintToString(outcome.err);
}

}  // namespace capctl_test
