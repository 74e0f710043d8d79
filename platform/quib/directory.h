// The directory in which this process's modules listen.
#pragma once

#include <string>

#include "parent_fd.h"

namespace quib {

class SocketDirectory {
public:
    // Makes the directory if it is missing, not what is above it. False, with the reason on standard error, when it
    // cannot be used, or others could put sockets there.
    bool open(const std::string &path);

    // Removes what the user's dead processes have left of a module's sockets. Processes that do so at the same time
    // take turns by a lock that is the user's alone; without it, nothing is removed. False, with the reason on standard
    // error, when it cannot be told who is dead.
    bool clear(const std::string &module) const;

    // Whether other users have their sockets there too.
    bool is_shared() const;
    int fd() const { return fd_.get(); }
    // Of a file there, in words.
    std::string path_to(const std::string &name) const { return path_ + "/" + name; }

private:
    bool clear_one(const std::string &name) const;

    std::string path_;
    ParentFd fd_;
};

}  // namespace quib
