// Shared by the threads of the process: the names of their modules, descriptor 1, and what a fork has to undo.
#pragma once

#include <mutex>
#include <pthread.h>
#include <string>
#include <vector>

namespace quib {

class Process {
public:
    // Made at the first call; never destroyed, so that a thread that ends after main() still finds it.
    static Process &get();
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

    // False when a module of this process has the name.
    bool take_name(const std::string &name);
    bool has_name(const std::string &name);
    void release_name(const std::string &name);

    void add_fd(int fd);
    // Nothing when it is not known here: this is a child, and it was the parent's.
    void close_fd(int fd);

    // Held by the thread whose command has descriptor 1. A command may run the client, and so another command.
    void lock_output() { pthread_mutex_lock(&output_); }
    void unlock_output() { pthread_mutex_unlock(&output_); }

private:
    Process();
    ~Process() = default;

    void init_output_lock();
    void become_child();

    std::mutex mutex_;
    std::vector<std::string> names_;
    std::vector<int> fds_;
    pthread_mutex_t output_;
};

}  // namespace quib
