// A module that says what a test wants it to say.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace console_test {

// Frames.
std::string output(const std::string &text);
std::string diagnostic(const std::string &text);
std::string exit_frame(int code);

// What is done about a line: these bytes go out; then the connection may be closed.
struct Reply {
    Reply(std::string what, bool close = false) : bytes(std::move(what)), closes(close) {}
    Reply(const char *what) : Reply(std::string(what)) {}

    std::string bytes;
    bool closes;
};

using Answer = std::function<Reply(const std::string &line)>;

// Prints each line as it came: "[line]".
Reply echo(const std::string &line);

// Knows ".commands", which it answers with these, and otherwise does as told.
Answer with_commands(const std::string &commands, const Answer &answer = echo);

class FakeModule {
public:
    struct Greeting {
        std::string bytes;
        bool closes = false;
    };

    FakeModule(const std::string &path, Answer answer) : FakeModule(path, std::move(answer), {}) {}
    FakeModule(const std::string &path, Answer answer, Greeting greeting);
    ~FakeModule();
    FakeModule(const FakeModule &) = delete;
    FakeModule &operator=(const FakeModule &) = delete;

    // The lines so far, except ".commands".
    std::vector<std::string> lines();
    // Connections, now.
    size_t operators();
    // Sends these bytes to all and closes.
    void dismiss(const std::string &bytes);

private:
    void serve();
    void accept_operator();
    // False: the connection is to be closed.
    bool hear(int fd, std::string &heard);
    bool answer_line(int fd, const std::string &line);

    std::string path_;
    Answer answer_;
    Greeting greeting_;
    int listener_;
    int wake_[2];
    std::mutex mutex_;
    bool stops_ = false;
    std::vector<std::string> lines_;
    std::map<int, std::string> operators_;  // what each has said of a line
    std::thread thread_;
};

// A socket that nobody listens on any more, as a killed process leaves it.
void leave_stale_socket(const std::string &path);

}  // namespace console_test
