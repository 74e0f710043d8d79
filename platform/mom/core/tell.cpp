#include "core/tell.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/undisturbed.h"
#include "ox_zlog.h"

// The program decides whether it logs. References that may stay empty make this library need no logging layer; and one
// that the program links, or has written itself, is called as everybody else calls it. The loader looks them up along
// with all others, so that nothing is searched for at run time, and what the program defines is exported to us by the
// linker, which dlsym() could not ask for.
#pragma weak ox_zlog_init
#pragma weak oxdf_zlog

namespace mom {

namespace {

constexpr std::string_view kPlace = "platform/mom";

// A host that closed its standard error may have something else under that number by now: a file of its own, or a
// connection. Standard error is inherited, so it is never closed on exec; and it is no socket of a network.
bool standard_error_is_open() {
    const int flags = fcntl(STDERR_FILENO, F_GETFD);
    struct stat status {};
    if (flags < 0 || (flags & FD_CLOEXEC) != 0 || fstat(STDERR_FILENO, &status) != 0) {
        return false;
    }
    if (S_ISSOCK(status.st_mode)) {
        int domain = 0;
        socklen_t size = sizeof domain;
        return getsockopt(STDERR_FILENO, SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0 && domain == AF_UNIX;
    }
    return S_ISREG(status.st_mode) || S_ISCHR(status.st_mode) || S_ISFIFO(status.st_mode);
}

void write_line(const Words &words) {
    char line[sizeof(Words) + 16];
    const int length = snprintf(line, sizeof line, "ox_mom: %s\n", words.c_str());
    // In one piece, so that lines of several threads stay lines. What is not taken is lost: nobody is left to tell.
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line, static_cast<size_t>(length));
}

}  // namespace

Words::Words(const char *format, ...) {
    va_list args;
    va_start(args, format);
    vsnprintf(text_, sizeof text_, format, args);
    va_end(args);
    const auto is_control = [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; };
    std::replace_if(text_, text_ + strlen(text_), is_control, '?');
}

void tell(Level level, const Words &words, const char *function, long line) noexcept {
    const base::Undisturbed undisturbed;
    void *category = ox_zlog_init != nullptr && oxdf_zlog != nullptr ? ox_zlog_init("ox_mom") : nullptr;
    if (category != nullptr) {
        oxdf_zlog(category, kPlace.data(), kPlace.size(), function, strlen(function), line, static_cast<int>(level),
                  "%s", words.c_str());
    } else if (standard_error_is_open()) {
        write_line(words);
    }
}

}  // namespace mom
