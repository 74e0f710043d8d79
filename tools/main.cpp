// trel_capctl: reads and writes the store's records from the shell.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <exception>

#include "command_line.h"
#include "exit_code.h"
#include "text.h"
#include "verbs.h"

namespace {

// A standard stream that the caller has closed must not become the number of the connection to the store. The stand-ins
// refuse what the streams are for, so that a write to a closed standard output still fails.
void occupy_standard_streams() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(fd, F_GETFD) < 0) {
            static_cast<void>(open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
}

extern "C" void interrupted(int) { _exit(capctl::kInterrupted); }

// A shell that runs this in the background has the signal ignored.
void exit_when_interrupted() {
    if (signal(SIGINT, interrupted) == SIG_IGN) {
        signal(SIGINT, SIG_IGN);
    }
}

int run(int argc, char **argv) {
    capctl::CommandLine command_line;
    capctl::add_capability_verbs(command_line);
    capctl::add_readiness_verbs(command_line);
    return command_line.run(argc, argv);
}

int complain(int exit_code, const char *what) {
    fprintf(stderr, "trel_capctl: %s\n", capctl::printable(what).c_str());
    return exit_code;
}

}  // namespace

int main(int argc, char **argv) {
    occupy_standard_streams();
    exit_when_interrupted();
    try {
        return run(argc, argv);
    } catch (const capctl::Failure &failure) {
        return complain(failure.exit_code(), failure.what());
    } catch (const std::exception &unexpected) {
        return complain(capctl::kFailed, unexpected.what());
    }
}
