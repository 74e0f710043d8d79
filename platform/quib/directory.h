// The directory in which modules listen.
#pragma once

#include <string>

#include "fd.h"

namespace quib {

// Nobody else of the user's processes makes or removes a socket there as long as this lives.
class LockedDirectory {
public:
    // Makes the directory if it is missing, not what is above it. False, with the reason on standard error, when it
    // cannot be used, or others could put sockets there.
    bool open(const std::string &path);

    const std::string &path() const { return path_; }

private:
    bool lock() const;

    std::string path_;
    Fd fd_;
};

}  // namespace quib
