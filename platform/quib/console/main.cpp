// quib: the operator's side of the console.
#include <unistd.h>

#include <protocol.h>

#include "command_line/exit_status.h"
#include "command_line/program.h"
#include "command_line/streams.h"
#include "command_line/words.h"
#include "list.h"
#include "module_connection.h"
#include "program_arguments.h"
#include "prompt.h"
#include "script.h"
#include "served_modules.h"

namespace console {

using namespace command_line;

namespace {

int list(const std::string &directory, bool json) {
    const std::vector<Module> modules = served_modules(directory);
    if (modules.empty()) {
        throw Failure(kNegative, "no module in " + directory);
    }
    write_output(json ? as_json(modules) : as_table(modules));
    return kDone;
}

int run(int argc, char **argv) {
    const auto request = parse_request(argc, argv);
    if (!request) {
        return kDone;
    }
    const std::string directory = quib::socket_directory();
    if (request->module.empty()) {
        return list(directory, request->json);
    }
    const Target target = find_module(directory, request->module);
    if (request->command.empty() && isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1) {
        return run_prompt(directory, target, request->limit);
    }
    exit_when_interrupted();
    const std::string line = join(request->command);
    check_line(line);
    ModuleConnection connection(directory, target, {.limit = request->limit, .interrupt_fd = -1});
    return request->command.empty() ? run_script(connection) : connection.run(line, show);
}

}  // namespace

}  // namespace console

int main(int argc, char **argv) { return command_line::run_program("quib", console::run, argc, argv); }
