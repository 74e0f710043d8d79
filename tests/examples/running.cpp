#include "running.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

#include "program.h"

namespace examples_test {

namespace {

constexpr int kLineMilliseconds = 20000;

struct Pipe {
    Pipe() {
        if (pipe2(ends, O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
    }
    int ends[2];
};

}  // namespace

Running::Running(const std::string &store, const std::string &example, const std::vector<std::string> &arguments) {
    const Pipe in;
    const Pipe out;
    test_support::Launch launch{.program = std::string(EXAMPLES_DIR) + "/" + example, .arguments = arguments};
    if (store.empty()) {
        launch.unset = {"OX_MOM_STORE"};
    } else {
        launch.environment = {{"OX_MOM_STORE", store}};
    }
    const test_support::Execution execution(launch);
    const pid_t child = fork();
    if (child == 0) {
        dup2(in.ends[0], STDIN_FILENO);
        dup2(out.ends[1], STDOUT_FILENO);
        execution.begin();
    }
    pid_ = child;  // NOLINT(cppcoreguidelines-prefer-member-initializer): not before there are pipes
    close(in.ends[0]);
    close(out.ends[1]);
    in_ = in.ends[1];
    out_ = out.ends[0];
    if (pid_ < 0) {
        throw std::runtime_error("no process");
    }
}

Running::~Running() {
    end_input();
    close(out_);
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

std::string Running::line() {
    size_t end = 0;
    while ((end = unread_.find('\n')) == std::string::npos) {
        if (!read_more()) {
            return "(no more)";
        }
    }
    std::string line = unread_.substr(0, end);
    unread_.erase(0, end + 1);
    return line;
}

bool Running::read_more() {
    pollfd readable = {out_, POLLIN, 0};
    if (poll(&readable, 1, kLineMilliseconds) != 1) {
        return false;
    }
    char block[4096];
    const ssize_t length = read(out_, block, sizeof block);
    if (length <= 0) {
        return false;
    }
    unread_.append(block, static_cast<size_t>(length));
    return true;
}

void Running::type(const std::string &input) const {
    if (write(in_, input.data(), input.size()) != static_cast<ssize_t>(input.size())) {
        throw std::runtime_error("the example does not take its input");
    }
}

void Running::end_input() {
    if (in_ >= 0) {
        close(in_);
        in_ = -1;
    }
}

int Running::finish() {
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

}  // namespace examples_test
