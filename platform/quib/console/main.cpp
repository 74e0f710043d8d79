// quib: the operator's side of the console.
#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <exception>

#include <protocol.h>

#include "command_line.h"
#include "connection.h"
#include "exit_code.h"
#include "list.h"
#include "prompt.h"
#include "script.h"
#include "served_modules.h"
#include "streams.h"
#include "words.h"

namespace {

using console::Failure;

// A standard stream that the caller has closed must not become the number of the connection. The stand-ins refuse what
// the streams are for, so that a write to a closed standard output still fails.
void occupy_standard_streams() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(fd, F_GETFD) < 0) {
            static_cast<void>(open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
}

extern "C" void interrupted(int) { _exit(console::kInterrupted); }

// A shell that runs this in the background has the signal ignored.
void exit_when_interrupted() {
    if (signal(SIGINT, interrupted) == SIG_IGN) {
        signal(SIGINT, SIG_IGN);
    }
}

int list(const std::string &directory, bool json) {
    const std::vector<console::Module> modules = console::served_modules(directory);
    if (modules.empty()) {
        throw Failure(console::kNegative, "no module in " + directory);
    }
    console::write_output(json ? console::as_json(modules) : console::as_table(modules));
    return console::kDone;
}

int run(const console::Request &request) {
    const std::string directory = quib::socket_directory();
    if (request.module.empty()) {
        return list(directory, request.json);
    }
    const console::Target target = console::find_module(directory, request.module);
    if (request.command.empty() && isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1) {
        return console::run_prompt(directory, target, request.limit);
    }
    exit_when_interrupted();
    const std::string line = console::line_of(request.command);
    console::check_line(line);
    console::Connection connection(directory, target, {.limit = request.limit, .interrupt_fd = -1});
    return request.command.empty() ? console::run_script(connection) : connection.run(line, console::show);
}

int fail(int exit_code, const char *what) {
    if (*what != '\0') {
        console::complain(what);
    }
    return exit_code;
}

}  // namespace

int main(int argc, char **argv) {
    occupy_standard_streams();
    try {
        const auto request = console::parse_command_line(argc, argv);
        return request ? run(*request) : console::kDone;
    } catch (const Failure &failure) {
        return fail(failure.exit_code(), failure.what());
    } catch (const std::exception &unexpected) {
        return fail(console::kFailed, unexpected.what());
    }
}
