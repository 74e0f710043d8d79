#include "streams.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "exit_code.h"

namespace console {

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

bool obeyed_by_terminals(char byte) { return static_cast<unsigned char>(byte) < ' ' || byte == '\x7f'; }

}  // namespace

void write_output(std::string_view bytes) {
    if (const int error = write_all(STDOUT_FILENO, bytes); error != 0) {
        throw Failure(kFailed, std::string("standard output cannot be written: ") + std::strerror(error));
    }
}

void write_error(std::string_view bytes) { static_cast<void>(write_all(STDERR_FILENO, bytes)); }

void complain(std::string_view message) { write_error("quib: " + printable(message) + "\n"); }

std::string printable(std::string_view text) {
    std::string shown(text);
    std::replace_if(shown.begin(), shown.end(), obeyed_by_terminals, '?');
    return shown;
}

}  // namespace console
