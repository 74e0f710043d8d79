#include "other_program.h"

#include "console.h"
#include "handlers.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <utility>

namespace quib_test {

OtherProgram::OtherProgram(const std::function<void(const Say &say)> &run) {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    from_child_ = ends[0];
    pid_ = fork();
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        close(ends[0]);
        run([to_parent = ends[1]](const std::string &word) {
            const std::string line = word + "\n";
            static_cast<void>(write(to_parent, line.data(), line.size()));
        });
        _exit(0);
    }
    close(ends[1]);
}

OtherProgram::~OtherProgram() {
    kill();
    close(from_child_);
}

std::string OtherProgram::heard() {
    std::string word;
    for (char c = '\0'; readable(from_child_, kLongEnough) && read(from_child_, &c, 1) == 1 && c != '\n';) {
        word += c;
    }
    return word;
}

void OtherProgram::kill() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        wait();
    }
}

int OtherProgram::wait() {
    int status = -1;
    waitpid(std::exchange(pid_, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void serve_module(const std::string &module, const OtherProgram::Say &say) {
    const ClientPtr client = make_client();
    const int32_t code = quib_lib_init(client.get(), module.c_str());
    register_command("nothing", "void", nothing, module.c_str());
    register_command("hook", "void", call_hook, module.c_str());
    say(code == 0 ? "ready" : std::to_string(code));
    while (ox_mom_client_process(client.get(), -1) >= 0) {
    }
}

}  // namespace quib_test
