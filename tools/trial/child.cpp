#include "trial/child.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "command_line/exit_status.h"
#include "command_line/text.h"

namespace trial {

using namespace command_line;

namespace {

[[noreturn]] void fail(const std::string &what, int error) {
    throw Failure(kFailed, what + ": " + std::strerror(error));
}

struct Pipe {
    base::Fd read_end;
    base::Fd write_end;
};

Pipe make_pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        fail("no pipe", errno);
    }
    return {base::Fd(ends[0]), base::Fd(ends[1])};
}

// In the child, which has no threads to be afraid of: this program has none.
[[noreturn]] void become(std::vector<char *> words, const Environment &environment, int input, int output, int told) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    for (const auto &[name, value] : environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    signal(SIGINT, SIG_DFL);
    words.push_back(nullptr);
    execvp(words.front(), words.data());
    const int error = errno;
    static_cast<void>(!write(told, &error, sizeof error));
    _exit(kFailed);
}

}  // namespace

Child::Child(const std::vector<std::string> &words, const Environment &environment, Streams streams) {
    Pipe in = make_pipe();
    Pipe out = make_pipe();
    Pipe failure = make_pipe();
    if (streams == Streams::kSilent) {
        out.write_end = base::Fd(open("/dev/null", O_WRONLY | O_CLOEXEC));
    }
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string &word : words) {
        arguments.push_back(const_cast<char *>(word.c_str()));
    }
    pid_ = fork();
    if (pid_ == 0) {
        become(std::move(arguments), environment, in.read_end.get(), out.write_end.get(), failure.write_end.get());
    }
    if (pid_ < 0) {
        fail("no process", errno);
    }
    failure.write_end = base::Fd();
    int error = 0;
    if (read(failure.read_end.get(), &error, sizeof error) > 0) {
        waitpid(pid_, nullptr, 0);
        throw Failure(error == ENOENT ? kUsage : kFailed,
                      quote(words.front()) + " cannot be run: " + std::strerror(error));
    }
    input_ = std::move(in.write_end);
    output_ = std::move(out.read_end);
    fcntl(output_.get(), F_SETFL, O_NONBLOCK);
}

Child::~Child() {
    send(SIGKILL);
    waitpid(pid_, nullptr, 0);
}

void Child::send(int signal) const { kill(-pid_, signal); }

bool Child::has_ended() {
    siginfo_t end = {};
    if (!has_ended_ && waitid(P_PID, static_cast<id_t>(pid_), &end, WEXITED | WNOHANG | WNOWAIT) == 0 &&
        end.si_pid == pid_) {
        has_ended_ = true;
        status_ = end.si_code == CLD_EXITED ? W_EXITCODE(end.si_status, 0) : W_EXITCODE(0, end.si_status);
    }
    return has_ended_;
}

}  // namespace trial
