#include "prompt.h"

#include <clocale>
#include <csignal>
#include <optional>

#include <protocol.h>

#include "command_line/exit_status.h"
#include "command_line/program.h"
#include "command_line/streams.h"
#include "command_line/text.h"
#include "command_line/words.h"
#include "history.h"
#include "line_editor.h"
#include "list.h"
#include "module_connection.h"
#include "own_words.h"
#include "served_modules.h"

namespace console {

using namespace command_line;

namespace {

class Prompt {
public:
    Prompt(std::string directory, Target target, std::chrono::milliseconds limit)
        : directory_(std::move(directory)),
          target_(std::move(target)),
          patience_{.limit = limit, .interrupt_fd = signals_.fd()},
          history_(history_path()),
          editor_(
              masked(target_.name) + "> ", [this](std::string_view line) { return complete(commands_, line); },
              signals_) {
        editor_.set_history(history_.lines());
    }

    // Until the operator leaves; returns 0, or the signal that is to end the program.
    int run();

private:
    void greet();
    void read_news();
    void handle_line();
    void run_command(const std::string &line);
    void list() const;
    void recover(const Failure &failure);
    void remember(const std::string &line);
    // Has the command run on a connection, a new one if need be.
    int run_connected(const std::string &line, const ModuleConnection::Receive &receive);

    const std::string directory_;
    const Target target_;
    Signals signals_;
    const Patience patience_;
    History history_;
    std::vector<Command> commands_;
    LineEditor editor_;
    std::optional<ModuleConnection> connection_;
    bool ended_ = false;
};

void Prompt::greet() {
    std::string answer;
    const int status = run_connected(std::string(quib::kForCompletion), [&answer](char kind, std::string_view bytes) {
        if (kind == quib::kFrameOutput) {
            answer += bytes;
        } else {
            show(kind, bytes);
        }
    });
    if (status == kRefused) {
        throw Failure(kRefused, "");
    }
    commands_ = parse_commands(answer);
    write_output("Attached to " + masked(target_.name) + ", process " + std::to_string(connection_->process()) +
                 ". \"help\" lists its commands, \"list\" all modules; Tab completes, \"quit\" leaves.\n");
}

int Prompt::run_connected(const std::string &line, const ModuleConnection::Receive &receive) {
    if (!connection_) {
        connection_.emplace(directory_, target_, patience_);
    }
    return connection_->run(line, receive);
}

void Prompt::remember(const std::string &line) {
    if (const std::string trouble = history_.add(line); !trouble.empty()) {
        complain("the history is not kept: " + trouble);
    }
    editor_.set_history(history_.lines());
}

void Prompt::run_command(const std::string &line) {
    std::string_view missing;  // the end of a line: the editor counts on one of its own
    constexpr char kOutput = quib::kFrameOutput;
    char shown_last = kOutput;
    try {
        check_line(line);
        run_connected(line, [&](char kind, std::string_view bytes) {
            shown_last = kind;
            missing = bytes.back() == '\n' ? "" : "\n";
            show(kind, bytes);
        });
        show(shown_last, missing);
    } catch (const Failure &failure) {
        shown_last = missing.empty() ? kOutput : shown_last;
        show(shown_last, failure.status() == kInterrupted ? "\n" : missing);
        recover(failure);
    }
}

// One that is still busy with the last command, or has closed the connection for a reason, such as the time that the
// operator has been away, is connected to again with the next command. Throws again what the prompt cannot go on after.
void Prompt::recover(const Failure &failure) {
    const auto *closed = dynamic_cast<const Closed *>(&failure);
    switch (failure.status()) {
        case kInterrupted:
            signals_.take();
            break;
        case kTimeOut:
            complain(failure.what());
            break;
        case kUsage:
            complain(failure.what());
            return;
        default:
            if (closed == nullptr || !closed->told()) {
                throw;
            }
    }
    connection_.reset();
}

void Prompt::handle_line() {
    const std::string line(trimmed(editor_.line()));
    if (line.empty()) {
        return;
    }
    remember(line);
    if (ends_session(line)) {
        ended_ = true;
    } else if (line == kList && !has_command(commands_, kList)) {
        list();
    } else if (!is_remark(line)) {
        run_command(line);
    }
}

// A directory that can be looked at no more is no reason to leave.
void Prompt::list() const {
    std::string table;
    try {
        table = as_table(served_modules(directory_));
    } catch (const Failure &failure) {
        complain(failure.what());
    }
    write_output(table);
}

void Prompt::read_news() {
    try {
        connection_->take_news(show);
    } catch (const Failure &failure) {
        recover(failure);
    }
}

int Prompt::run() {
    greet();
    while (!ended_) {
        switch (editor_.read(connection_ ? connection_->fd() : -1)) {
            case LineEditor::Event::kLine:
                handle_line();
                break;
            case LineEditor::Event::kEnd:
                write_output("\n");
                ended_ = true;
                break;
            case LineEditor::Event::kInterrupted:
                write_output("^C\n");
                break;
            case LineEditor::Event::kNews:
                write_output("\n");
                read_news();
                break;
            case LineEditor::Event::kSignal:
                return editor_.signal();
        }
    }
    return 0;
}

}  // namespace

int run_prompt(const std::string &directory, const Target &target, std::chrono::milliseconds limit) {
    setlocale(LC_CTYPE, "");
    if (const int signal = Prompt(directory, target, limit).run(); signal != 0) {
        raise(signal);  // now that the terminal is as it was
    }
    return kDone;
}

}  // namespace console
