// The connection to a module: a command goes out, its answer comes in.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

#include "command_line/exit_status.h"
#include "escaping.h"
#include "frame_reader.h"
#include "served_modules.h"

namespace console {

// The events that end a wait before the module has answered.
struct Patience {
    std::chrono::milliseconds limit{0};  // without anything from the module; 0: none
    int interrupt_fd = -1;               // readable: the operator has had enough
};

// The operator did not want to wait any longer.
class Interrupted : public command_line::Failure {
public:
    Interrupted() : Failure(command_line::kInterrupted, "interrupted") {}
};

// The module has closed the connection; told when it has said why.
class Closed : public command_line::Failure {
public:
    Closed(const std::string &module, bool told)
        : Failure(command_line::kNoConnection, module + " has gone away"), told_(told) {}

    bool told() const { return told_; }

private:
    bool told_;
};

class ModuleConnection {
public:
    // Called with output and diagnostics as they come.
    using Receive = std::function<void(char kind, std::string_view bytes)>;

    // Throws a Failure when there is no connecting to it. What another user's module says is made harmless.
    ModuleConnection(const std::string &directory, const Target &target, const Patience &patience);

    // Has a command run; returns the exit status that the module gives it. Throws a Failure when the connection is of
    // no use any more.
    int run(const std::string &line, const Receive &receive);

    // Takes what has come without a command, which is only the connection's end: Closed is thrown then.
    void take_news(const Receive &receive);

    pid_t process() const { return process_behind(socket_); }
    int fd() const { return socket_.get(); }

private:
    void wait_for(short events);
    void send(std::string_view bytes);
    void read_more();
    void pass_on(const FrameReader::Piece &piece, const Receive &receive);

    std::string module_;
    bool foreign_;
    Patience patience_;
    base::Fd socket_;
    FrameReader reader_;
    Escaping output_;
    Escaping diagnostics_;
    bool told_ = false;
};

// Checks that the module will take a command's line: throws a Failure when it is too long, or not one line.
void check_line(std::string_view line);

// Writes output to standard output, and diagnostics to standard error as messages of the program.
void show(char kind, std::string_view bytes);

}  // namespace console
