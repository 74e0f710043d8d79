#include "script.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <string>

#include "command_line/exit_status.h"
#include "command_line/program.h"
#include "own_words.h"

namespace console {

using namespace command_line;

namespace {

// Line by line, each as soon as it is there: what writes them may wait for what they print.
class Lines {
public:
    std::optional<std::string> next() {
        for (;;) {
            if (const size_t end = text_.find('\n', searched_); end != std::string::npos) {
                return take(end, end + 1);
            }
            searched_ = text_.size();
            if (!read_more()) {
                return text_.empty() ? std::nullopt : std::optional(take(text_.size(), text_.size()));
            }
        }
    }

private:
    std::string take(size_t end, size_t next) {
        std::string line = text_.substr(0, end);
        text_.erase(0, next);
        searched_ = 0;
        return line;
    }

    bool read_more() {
        char block[4096];
        ssize_t length = 0;
        do {
            length = read(STDIN_FILENO, block, sizeof block);
        } while (length < 0 && errno == EINTR);
        if (length < 0) {
            throw Failure(kFailed, std::string("standard input cannot be read: ") + std::strerror(errno));
        }
        text_.append(block, static_cast<size_t>(length));
        return length > 0;
    }

    std::string text_;
    size_t searched_ = 0;
};

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
    Lines lines;
    for (auto line = lines.next(); line && !ends_session(*line); line = lines.next()) {
        const int outcome = is_remark(*line) ? kDone : run_line(connection, *line);
        status = outcome == kDone ? status : outcome;
    }
    return status;
}

}  // namespace console
