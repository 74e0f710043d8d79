// A directory that goes away with its object, and with all that is in it.
#pragma once

#include <string>

namespace demo {

class TemporaryDirectory {
public:
    // Throws std::runtime_error when none can be made.
    TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory &) = delete;
    TemporaryDirectory &operator=(const TemporaryDirectory &) = delete;
    ~TemporaryDirectory();

    const std::string &path() const { return path_; }

private:
    std::string path_;
};

}  // namespace demo
