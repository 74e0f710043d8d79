// Runs code in a child process and tells what came of it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "private_directory.h"

namespace zlog_test {

class TemporaryDirectory : public test_support::PrivateDirectory {
public:
    // Writes a file; returns its path.
    std::string write(const std::string &name, const std::string &text) const;
    std::vector<std::string> names() const;
};

struct Outcome {
    int status = -1;  // the exit status; 1000 and the signal when one ended the child
    std::string error_output;
};

// The child: without OX_ZLOG_CONF, in an empty current directory, ended by SIGALRM when it takes too long. It exits
// with what the body returns.
Outcome in_child(const std::function<int()> &body);

std::string read_file(const std::string &path);
std::vector<std::string> lines_of(const std::string &text);

}  // namespace zlog_test
