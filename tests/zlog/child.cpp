#include "child.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace zlog_test {

namespace fs = std::filesystem;

namespace {

constexpr unsigned kLimitSeconds = 50;

[[noreturn]] void run(const std::function<int()> &body, int error_output) {
    alarm(kLimitSeconds);
    unsetenv("OX_ZLOG_CONF");
    const TemporaryDirectory empty;
    if (chdir(empty.file("").c_str()) != 0 || dup2(error_output, STDERR_FILENO) < 0) {
        _exit(99);
    }
    const int status = body();
    const bool left_files = !empty.names().empty();
    if (left_files) {
        std::fputs("left files in the current directory\n", stderr);
    }
    std::exit(left_files ? 98 : status);
}

}  // namespace

std::string TemporaryDirectory::write(const std::string &name, const std::string &text) const {
    std::ofstream(file(name), std::ios::binary) << text;
    return file(name);
}

std::vector<std::string> TemporaryDirectory::names() const {
    std::vector<std::string> names;
    for (const auto &entry : fs::directory_iterator(path())) {
        names.push_back(entry.path().filename().string());
    }
    return names;
}

Outcome in_child(const std::function<int()> &body) {
    FILE *captured = tmpfile();
    if (captured == nullptr) {
        throw std::runtime_error("no temporary file");
    }
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        run(body, fileno(captured));
    }
    int status = 0;
    waitpid(child, &status, 0);
    Outcome outcome;
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    std::rewind(captured);
    char block[4096];
    for (size_t n = 0; (n = fread(block, 1, sizeof block, captured)) > 0;) {
        outcome.error_output.append(block, n);
    }
    std::fclose(captured);
    return outcome;
}

std::string read_file(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

}  // namespace zlog_test
