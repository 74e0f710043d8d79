#include "capture.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>
#include <utility>

#include "base/undisturbed.h"
#include "process.h"

namespace quib {

namespace {

// The file has its full size from the beginning and cannot grow: writing past it fails instead of eating memory. What
// is beyond the limit shows that something was cut; it leaves room for kernels that refuse a write as a whole.
constexpr size_t kBeyond = size_t{4} << 20U;
constexpr size_t kFileSize = kOutputLimit + kBeyond;

// Asking for more than the process's limit on files is answered with a signal that ends it.
bool may_be_made() {
    rlimit limit{};
    return getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur >= kFileSize;
}

Fd make_file() {
    Fd file(may_be_made() ? memfd_create("quib", MFD_CLOEXEC | MFD_ALLOW_SEALING) : -1);
    const bool sized = file && ftruncate(file.get(), static_cast<off_t>(kFileSize)) == 0 &&
                       fcntl(file.get(), F_ADD_SEALS, F_SEAL_GROW) == 0;
    return sized ? std::move(file) : Fd();
}

// The first use of a stream settles how it is buffered, by what it leads to then. That must not be the file.
void settle_buffering() {
    if (__fbufsize(stdout) == 0) {
        setvbuf(stdout, nullptr, isatty(STDOUT_FILENO) != 0 ? _IOLBF : _IOFBF, BUFSIZ);
    }
}

// Output that cannot be written is dropped, and not written later to wherever descriptor 1 leads then.
void flush_or_drop() {
    if (fflush(stdout) != 0) {
        __fpurge(stdout);
    }
}

// The program's own output, before the command. When nobody reads that any more, the program is told of it
// by its own next writing, not by an operator's command.
void flush_programs_own() {
    const base::Undisturbed undisturbed;
    if (fflush(stdout) != 0 && errno == EPIPE) {
        __fpurge(stdout);
    }
}

// Not kept from it by a signal, or by a thread that is about to open a file: where output leads would stay as it is.
bool lead_output_to(const Fd &file, int flags) {
    int result = -1;
    do {
        result = dup3(file.get(), STDOUT_FILENO, flags);
    } while (result < 0 && (errno == EINTR || errno == EBUSY));
    return result >= 0;
}

}  // namespace

Capture::Capture() {
    Process::get().lock_output();
    saved_flags_ = fcntl(STDOUT_FILENO, F_GETFD);
    had_error_ = ferror(stdout) != 0;
    if (saved_flags_ >= 0) {
        settle_buffering();
        flush_programs_own();
        saved_ = Fd(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
        if (!saved_) {
            return;
        }
    } else {
        flush_or_drop();
    }
    Fd file = make_file();
    if (file && lead_output_to(file, 0)) {
        file_ = std::move(file);
    }
}

Capture::~Capture() {
    if (file_) {
        end();
    }
    Process::get().unlock_output();
}

Captured Capture::end() {
    flush_or_drop();
    if (!had_error_) {
        clearerr(stdout);
    }
    restore();
    const off_t written = lseek(file_.get(), 0, SEEK_CUR);
    const size_t size = written > 0 ? static_cast<size_t>(written) : 0;
    return {.file = std::move(file_), .size = std::min(size, kOutputLimit), .cut = size > kOutputLimit};
}

void Capture::restore() {
    if (saved_flags_ < 0) {
        close(STDOUT_FILENO);
    } else {
        lead_output_to(saved_, (saved_flags_ & FD_CLOEXEC) != 0 ? O_CLOEXEC : 0);
    }
}

}  // namespace quib
