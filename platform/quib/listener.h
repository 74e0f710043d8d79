// The socket of a module.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <sys/types.h>

#include "directory.h"
#include "parent_fd.h"

namespace quib {

class Listener {
public:
    // Listens as the module, or as MODULE.2 and so on when others have the names before. 0, or a code of
    // quib_lib_init().
    static int32_t make(const std::string &module, std::unique_ptr<Listener> &listener);
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;
    // Removes the socket, unless this is a forked child or the name has become another's.
    ~Listener();

    int fd() const { return fd_.get(); }

private:
    Listener(SocketDirectory directory, std::string module);

    bool listen();
    bool bind(const Fd &socket);
    int32_t take_name();
    bool link_to(const std::string &name) const;
    ino_t inode_of(const std::string &name) const;
    void remove(const std::string &name) const;

    SocketDirectory directory_;
    std::string module_;
    std::string new_name_;  // until it has its own
    std::string name_;
    ParentFd fd_;
    pid_t pid_;
    ino_t inode_ = 0;  // of the socket in the directory
};

}  // namespace quib
