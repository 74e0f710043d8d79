// A directory that a test has to itself.
#pragma once

#include <string>

namespace test_support {

// Directories that an earlier test left behind when it died are removed when the next one is made.
class PrivateDirectory {
public:
    PrivateDirectory();
    ~PrivateDirectory();
    PrivateDirectory(const PrivateDirectory &) = delete;
    PrivateDirectory &operator=(const PrivateDirectory &) = delete;

    const std::string &path() const { return path_; }
    std::string file(const std::string &name) const { return path_ + "/" + name; }

private:
    std::string path_;
    int lock_;  // held as long as the owner lives, so that nobody else takes the directory for abandoned
};

}  // namespace test_support
