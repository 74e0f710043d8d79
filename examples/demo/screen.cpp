#include "screen.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

#include "interruption.h"

namespace demo {

namespace {

int failure = 0;  // the errno of the first

void note_failure(bool failed) {
    if (failed && failure == 0) {
        failure = errno;
    }
}

}  // namespace

void occupy_standard_streams() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(fd, F_GETFD) < 0) {
            static_cast<void>(open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
}

void print(const std::string &text) { note_failure(std::fputs(text.c_str(), stdout) < 0); }

void print(const char *format, va_list arguments) { note_failure(std::vprintf(format, arguments) < 0); }

void throw_if_unheard() {
    note_failure(std::fflush(stdout) != 0);
    if (failure == 0) {
        return;
    }
    throw_if_interrupted();
    throw std::runtime_error(std::string("standard output cannot be written: ") + std::strerror(failure));
}

}  // namespace demo
