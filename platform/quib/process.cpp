#include "process.h"

#include <algorithm>
#include <new>
#include <unistd.h>

namespace quib {

Process &Process::get() {
    static Process &process = *new Process;
    return process;
}

Process::Process() {
    init_output_lock();
    const int failed =
        pthread_atfork([] { get().mutex_.lock(); }, [] { get().mutex_.unlock(); }, [] { get().become_child(); });
    if (failed != 0) {
        throw std::bad_alloc();
    }
}

void Process::init_output_lock() {
    pthread_mutexattr_t recursive;
    pthread_mutexattr_init(&recursive);
    pthread_mutexattr_settype(&recursive, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&output_, &recursive);
    pthread_mutexattr_destroy(&recursive);
}

void Process::become_child() {
    std::ranges::for_each(fds_, close);
    fds_.clear();
    names_.clear();
    init_output_lock();  // whoever held it is no thread of this process
    mutex_.unlock();
}

bool Process::take_name(const std::string &name) {
    const std::lock_guard lock(mutex_);
    if (std::ranges::count(names_, name) != 0) {
        return false;
    }
    names_.push_back(name);
    return true;
}

bool Process::has_name(const std::string &name) {
    const std::lock_guard lock(mutex_);
    return std::ranges::count(names_, name) != 0;
}

void Process::release_name(const std::string &name) {
    const std::lock_guard lock(mutex_);
    std::erase(names_, name);
}

void Process::add_fd(int fd) {
    const std::lock_guard lock(mutex_);
    fds_.push_back(fd);
}

void Process::close_fd(int fd) {
    const std::lock_guard lock(mutex_);  // until it is closed, so that no fork comes between
    if (std::erase(fds_, fd) != 0) {
        close(fd);
    }
}

}  // namespace quib
