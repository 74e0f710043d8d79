// The socket of a module.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <sys/types.h>

#include "fd.h"

namespace quib {

class Listener {
public:
    // Listens as the module, or as MODULE.2 and so on when other modules of this process have the names before. 0, or a
    // code of quib_lib_init().
    static int32_t make(const std::string &module, std::unique_ptr<Listener> &listener);
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;
    // Removes the socket, unless this is a forked child or the path has become another's.
    ~Listener();

    int fd() const { return fd_.get(); }

private:
    explicit Listener(std::string name);

    int32_t listen(const std::string &directory);
    bool bind_to(const Fd &socket);

    std::string name_;
    std::string path_;
    ParentFd fd_;
    pid_t pid_;
    ino_t inode_ = 0;  // of the socket in the directory
};

}  // namespace quib
