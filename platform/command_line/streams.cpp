#include "command_line/streams.h"

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <string>
#include <unistd.h>

#include "command_line/exit_status.h"

namespace command_line {

namespace {

// 0 or an errno. A stream that someone has made non-blocking is waited for.
int write_all(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(fd, bytes.data(), bytes.size());
        if (written >= 0) {
            bytes.remove_prefix(static_cast<size_t>(written));
        } else if (errno == EAGAIN) {
            pollfd stream{.fd = fd, .events = POLLOUT, .revents = 0};
            poll(&stream, 1, -1);
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

[[noreturn]] void fail_for(int error) {
    throw Failure(kFailed, std::string("standard output cannot be written: ") + std::strerror(error));
}

}  // namespace

void write_output(std::string_view bytes) {
    if (const int error = write_all(STDOUT_FILENO, bytes); error != 0) {
        fail_for(error);
    }
}

void close_output() {
    if (close(STDOUT_FILENO) != 0) {
        fail_for(errno);
    }
}

void write_error(std::string_view bytes) { static_cast<void>(write_all(STDERR_FILENO, bytes)); }

}  // namespace command_line
