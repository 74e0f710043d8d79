#include "terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace test_support {

namespace {

constexpr int kPatienceMs = 60000;

// What a process that shows nothing is doing: in the kernel, and with its terminal.
std::string condition_of(pid_t pid, int master) {
    std::string call;
    std::getline(std::ifstream("/proc/" + std::to_string(pid) + "/syscall"), call);
    int unread = -1;
    termios settings{};
    if (const int terminal = open(ptsname(master), O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC); terminal >= 0) {
        ioctl(terminal, FIONREAD, &unread);
        tcgetattr(terminal, &settings);
        close(terminal);
    }
    return "in system call " + call + ", keys unread " + std::to_string(unread) + ", local modes " +
           std::to_string(settings.c_lflag);
}

}  // namespace

Terminal::Terminal(const Launch &launch) : pid_(-1) {
    const winsize size{.ws_row = 24, .ws_col = 80, .ws_xpixel = 0, .ws_ypixel = 0};
    const Execution execution(launch);
    pid_ = forkpty(&fd_, nullptr, nullptr, &size);
    if (pid_ == 0) {
        execution.begin();
    }
    if (pid_ < 0) {
        throw std::runtime_error("no terminal");
    }
}

Terminal::~Terminal() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    close(fd_);
}

void Terminal::type(const std::string &keys) {
    if (write(fd_, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size())) {
        throw std::runtime_error("the terminal takes no keys");
    }
}

bool Terminal::read_more(int timeout_ms) {
    pollfd terminal{.fd = fd_, .events = POLLIN, .revents = 0};
    char block[4096];
    if (poll(&terminal, 1, timeout_ms) <= 0) {
        throw std::runtime_error("nothing more is shown after: " + shown_ + "\n" + condition_of(pid_, fd_));
    }
    const ssize_t length = read(fd_, block, sizeof block);
    if (length > 0) {
        shown_.append(block, static_cast<size_t>(length));
    }
    return length > 0;
}

std::string Terminal::expect(const std::string &text) {
    size_t at = 0;
    while ((at = shown_.find(text)) == std::string::npos) {
        if (!read_more(kPatienceMs)) {
            throw std::runtime_error("ended without showing \"" + text + "\" after: " + shown_);
        }
    }
    std::string seen = shown_.substr(0, at + text.size());
    shown_.erase(0, seen.size());
    return seen;
}

int Terminal::finish() {
    while (read_more(kPatienceMs)) {
    }
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

bool Terminal::echoes() const {
    termios settings{};
    return tcgetattr(fd_, &settings) == 0 && (settings.c_lflag & static_cast<tcflag_t>(ECHO)) != 0;
}

}  // namespace test_support
