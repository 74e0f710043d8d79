#include "command_line/program.h"

#include <csignal>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <new>
#include <string>
#include <unistd.h>
#include <utility>

#include "command_line/exit_status.h"
#include "command_line/streams.h"
#include "command_line/text.h"

namespace command_line {

namespace {

constexpr char kNoMemory[] = "out of memory";

const char *program_name = "";
bool in_line = false;      // standard error is
bool has_run_out = false;  // of memory

// The stand-ins refuse what the streams are for, so that a write to a closed standard output still fails.
void occupy_standard_streams() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(fd, F_GETFD) < 0) {
            static_cast<void>(open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
}

extern "C" void interrupted(int) { _exit(kInterrupted); }

// In one piece: other processes may write to the same place.
void write_line(const char *before, std::string_view message) try {
    write_error(std::string(before).append(program_name).append(": ").append(printable(message)).append("\n"));
} catch (const std::bad_alloc &) {
    for (const std::string_view piece : {before, program_name, ": ", kNoMemory, "\n"}) {
        write_error(piece);
    }
}

int fail(int status, std::string_view message) {
    complain(message);
    return status;
}

[[noreturn]] void note_no_memory() {
    has_run_out = true;
    throw std::bad_alloc();
}

std::terminate_handler usual_end = nullptr;

// Libraries have functions that take memory and promise not to throw: who asks for an option's name, or lets go of a
// JSON value, is among their callers. What they throw all the same ends up here.
[[noreturn]] void end_unexpectedly() {
    try {
        if (std::current_exception() != nullptr) {
            throw;
        }
    } catch (const std::bad_alloc &) {
        _exit(fail(kFailed, kNoMemory));
    } catch (...) {
    }
    usual_end();
    std::abort();
}

}  // namespace

int run_program(const char *name, int (*body)(int argc, char **argv), int argc, char **argv) {
    program_name = name;
    std::set_new_handler(note_no_memory);
    usual_end = std::set_terminate(end_unexpectedly);
    occupy_standard_streams();
    try {
        const int status = body(argc, argv);
        close_output();
        return status;
    } catch (const Failure &failure) {
        return fail(failure.status(), failure.what());
    } catch (const std::bad_alloc &) {
        return fail(kFailed, kNoMemory);
    } catch (const std::exception &unexpected) {
        return fail(kFailed, unexpected.what());
    }
}

void complain(std::string_view message) {
    if (!message.empty()) {
        write_line(std::exchange(in_line, false) ? "\n" : "", message);
    }
}

void pass_on(std::string_view messages) {
    std::string text;
    for (const char byte : messages) {
        if (!in_line) {
            text.append(program_name).append(": ");
        }
        text += byte;
        in_line = byte != '\n';
    }
    write_error(text);
}

bool ran_out_of_memory() { return has_run_out; }

void exit_when_interrupted() {
    if (signal(SIGINT, interrupted) == SIG_IGN) {
        signal(SIGINT, SIG_IGN);
    }
}

}  // namespace command_line
