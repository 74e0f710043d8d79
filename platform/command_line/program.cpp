#include "command_line/program.h"

#include <csignal>
#include <exception>
#include <fcntl.h>
#include <string>
#include <unistd.h>

#include "command_line/exit_status.h"
#include "command_line/streams.h"
#include "command_line/text.h"

namespace command_line {

namespace {

const char *program_name = "";
bool in_line = false;  // standard error is

// The stand-ins refuse what the streams are for, so that a write to a closed standard output still fails.
void occupy_standard_streams() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(fd, F_GETFD) < 0) {
            static_cast<void>(open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
}

extern "C" void interrupted(int) { _exit(kInterrupted); }

int fail(int status, const char *message) {
    complain(message);
    return status;
}

}  // namespace

int run_program(const char *name, int (*body)(int argc, char **argv), int argc, char **argv) {
    program_name = name;
    occupy_standard_streams();
    try {
        const int status = body(argc, argv);
        close_output();
        return status;
    } catch (const Failure &failure) {
        return fail(failure.status(), failure.what());
    } catch (const std::exception &unexpected) {
        return fail(kFailed, unexpected.what());
    }
}

void complain(std::string_view message) {
    if (!message.empty()) {
        std::string line = in_line ? "\n" : "";
        line.append(program_name).append(": ").append(printable(message)).append("\n");
        write_error(line);
        in_line = false;
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

void exit_when_interrupted() {
    if (signal(SIGINT, interrupted) == SIG_IGN) {
        signal(SIGINT, SIG_IGN);
    }
}

}  // namespace command_line
