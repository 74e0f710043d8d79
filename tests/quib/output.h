// Standard output, and commands that print on it.
#pragma once

#include "console.h"
#include "handlers.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <utility>

namespace quib_test {

// Descriptor 1 leads into a file as long as this lives.
class OutputFile {
public:
    explicit OutputFile(std::string path) : path_(std::move(path)) {
        fflush(stdout);
        saved_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
        const int file = open(path_.c_str(), O_CREAT | O_TRUNC | O_RDWR | O_CLOEXEC, 0600);
        dup2(file, STDOUT_FILENO);
        close(file);
    }
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;
    ~OutputFile() {
        fflush(stdout);
        dup2(saved_, STDOUT_FILENO);
        close(saved_);
    }

    std::string content() const {
        fflush(stdout);
        std::ifstream file(path_);
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    std::string path_;
    int saved_ = -1;
};

class OutputTest : public ConsoleTest {
protected:
    void SetUp() override {
        ConsoleTest::SetUp();
        ASSERT_EQ(register_command("hook", "void", call_hook), 0);
    }

    Answer answer_of(std::function<void()> what) const {
        hook = std::move(what);
        return ask("hook");
    }
};

}  // namespace quib_test
