#include "script.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "command_line/exit_status.h"
#include "command_line/program.h"
#include "own_words.h"

namespace console {

using namespace command_line;

namespace {

// As soon as it is there: what writes the lines may wait for what they print.
std::optional<std::string> next_line() {
    char *text = nullptr;
    size_t size = 0;
    const ssize_t length = getline(&text, &size, stdin);
    const std::unique_ptr<char, decltype(&std::free)> owner(text, std::free);
    if (length < 0 && feof(stdin) == 0) {
        throw Failure(kFailed, std::string("standard input cannot be read: ") + std::strerror(errno));
    }
    const size_t without_end = length > 0 && text[length - 1] == '\n' ? 1 : 0;
    return length < 0 ? std::nullopt : std::optional(std::string(text, static_cast<size_t>(length) - without_end));
}

int run_line(ModuleConnection &connection, const std::string &line) {
    try {
        check_line(line);
    } catch (const Failure &unfit) {
        complain(unfit.what());
        return unfit.status();
    }
    return connection.run(line, show);
}

}  // namespace

int run_script(ModuleConnection &connection) {
    int status = kDone;
    for (auto line = next_line(); line && !ends_session(*line); line = next_line()) {
        const int outcome = is_remark(*line) ? kDone : run_line(connection, *line);
        status = outcome == kDone ? status : outcome;
    }
    return status;
}

}  // namespace console
