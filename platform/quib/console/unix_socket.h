// Sockets of modules, from the operator's side.
#ifndef QUIB_CONSOLE_UNIX_SOCKET_H
#define QUIB_CONSOLE_UNIX_SOCKET_H

#include <sys/types.h>

#include <string>
#include <utility>

namespace console {

class Descriptor {
public:
    explicit Descriptor(int fd = -1) : fd_(fd) {}
    Descriptor(Descriptor &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Descriptor();

    int get() const { return fd_; }

private:
    int fd_;
};

bool is_socket(const std::string &path);

// A non-blocking connection, or an errno: EAGAIN when as many wait already as the module lets wait.
struct Attempt {
    Descriptor socket;
    int error;
};
Attempt connect_to(const std::string &path);

// The process that listens; 0 when it cannot be seen from here.
pid_t process_behind(const Descriptor &socket);

}  // namespace console

#endif
