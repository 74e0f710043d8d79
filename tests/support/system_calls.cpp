// Few of the system's headers are included: they declare the functions under other names, or otherwise.
#include "system_calls.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <dlfcn.h>
#include <filesystem>
#include <iterator>
#include <ostream>
#include <pthread.h>
#include <string_view>

struct sockaddr;
struct epoll_event;
struct pollfd;

namespace {

using test_support::Fault;

struct Plan {
    Fault fault{};
    int before = 0;  // calls that succeed
    int left = 0;    // calls that fail
    int made = 0;
    bool failed = false;
    bool armed = false;
    int paused = 0;
};
thread_local Plan plan;

// Whether this call is to fail.
bool fails(std::string_view call) {
    if (!plan.armed || plan.paused > 0) {
        return false;
    }
    ++plan.made;
    if (call != plan.fault.call || plan.left == 0 || plan.before-- > 0) {
        return false;
    }
    plan.before = 0;
    --plan.left;
    plan.failed = true;
    errno = plan.fault.error > 0 ? plan.fault.error : errno;
    return true;
}

// What moves bytes: fails, or is asked for less than was asked for.
bool fails(std::string_view call, size_t &size) {
    if (!fails(call)) {
        return false;
    }
    if (plan.fault.error == Fault::kHalf) {
        size = std::max<size_t>(size / 2, std::min<size_t>(size, 1));
    } else if (plan.fault.error == Fault::kOneByte) {
        size = std::min<size_t>(size, 1);
    }
    return plan.fault.error > 0;
}

// The function of that name that would be called if there were none here.
template <class Function>
Function behind(const char *name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// NOLINTBEGIN(bugprone-macro-parentheses,cert-dcl50-cpp): parameters are a list, and open() has the system's
#define CALL(name, parameters, ...)                                                                                    \
    int name parameters {                                                                                              \
        static const auto system = behind<int(*) parameters>(#name);                                                   \
        return fails(#name) ? -1 : system(__VA_ARGS__);                                                                \
    }
#define MOVING_CALL(name, parameters, size, ...)                                                                       \
    intptr_t name parameters {                                                                                         \
        static const auto system = behind<intptr_t(*) parameters>(#name);                                              \
        return fails(#name, size) ? -1 : system(__VA_ARGS__);                                                          \
    }

extern "C" {

MOVING_CALL(read, (int fd, void *to, size_t size), size, fd, to, size)
MOVING_CALL(pread64, (int fd, void *to, size_t size, int64_t from), size, fd, to, size, from)
MOVING_CALL(write, (int fd, const void *from, size_t size), size, fd, from, size)
MOVING_CALL(recv, (int fd, void *to, size_t size, int flags), size, fd, to, size, flags)
MOVING_CALL(send, (int fd, const void *from, size_t size, int flags), size, fd, from, size, flags)

CALL(socket, (int domain, int type, int protocol), domain, type, protocol)
CALL(connect, (int fd, const sockaddr *address, uint32_t size), fd, address, size)
CALL(bind, (int fd, const sockaddr *address, uint32_t size), fd, address, size)
CALL(accept4, (int fd, sockaddr *address, uint32_t *size, int flags), fd, address, size, flags)
CALL(getsockopt, (int fd, int level, int name, void *value, uint32_t *size), fd, level, name, value, size)
CALL(setsockopt, (int fd, int level, int name, const void *value, uint32_t size), fd, level, name, value, size)
CALL(epoll_create1, (int flags), flags)
CALL(epoll_wait, (int fd, epoll_event *events, int count, int limit), fd, events, count, limit)
CALL(poll, (pollfd * fds, unsigned long count, int limit), fds, count, limit)
CALL(eventfd, (unsigned first, int flags), first, flags)
CALL(timerfd_create, (int clock, int flags), clock, flags)
CALL(memfd_create, (const char *name, unsigned flags), name, flags)
CALL(ftruncate64, (int fd, int64_t size), fd, size)
CALL(dup2, (int from, int to), from, to)
CALL(dup3, (int from, int to, int flags), from, to, flags)
CALL(mkdirat, (int directory, const char *path, unsigned mode), directory, path, mode)
CALL(linkat, (int from_directory, const char *from, int to_directory, const char *to, int flags), from_directory, from,
     to_directory, to, flags)
CALL(unlinkat, (int directory, const char *path, int flags), directory, path, flags)
CALL(chmod, (const char *path, unsigned mode), path, mode)
CALL(flock, (int fd, int operation), fd, operation)

intptr_t __recv_chk(int fd, void *to, size_t size, size_t, int flags) { return recv(fd, to, size, flags); }

intptr_t getrandom(void *to, size_t size, unsigned flags) {
    static const auto system = behind<intptr_t (*)(void *, size_t, unsigned)>("getrandom");
    return fails("getrandom") ? -1 : system(to, size, flags);
}

int epoll_ctl(int epoll, int operation, int fd, epoll_event *event) {
    constexpr int kAdd = 1;  // the others take no memory
    static const auto system = behind<int (*)(int, int, int, epoll_event *)>("epoll_ctl");
    return operation == kAdd && fails("epoll_ctl") ? -1 : system(epoll, operation, fd, event);
}

void *mmap64(void *at, size_t size, int protection, int flags, int fd, int64_t from) {
    static const auto system = behind<void *(*)(void *, size_t, int, int, int, int64_t)>("mmap64");
    return fails("mmap64") ? reinterpret_cast<void *>(-1) : system(at, size, protection, flags, fd, from);
}

void *fdopendir(int fd) {
    static const auto system = behind<void *(*)(int)>("fdopendir");
    return fails("fdopendir") ? nullptr : system(fd);
}

int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*work)(void *),
                   void *argument) noexcept {
    static const auto system = behind<decltype(&pthread_create)>("pthread_create");
    return fails("pthread_create") ? EAGAIN : system(thread, attributes, work, argument);
}

// The argument is there or not; to pass it on when it is not does no harm.
int open64(const char *path, int flags, ...) {
    static const auto system = behind<int (*)(const char *, int, unsigned)>("open64");
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = va_arg(arguments, unsigned);
    va_end(arguments);
    return fails("open64") ? -1 : system(path, flags, mode);
}

int openat64(int directory, const char *path, int flags, ...) {
    static const auto system = behind<int (*)(int, const char *, int, unsigned)>("openat64");
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = va_arg(arguments, unsigned);
    va_end(arguments);
    return fails("openat64") ? -1 : system(directory, path, flags, mode);
}

// Of all that it does, making a second descriptor.
int fcntl64(int fd, int operation, ...) {
    constexpr int kDuplicate = 1030;
    static const auto system = behind<int (*)(int, int, intptr_t)>("fcntl64");
    va_list arguments;
    va_start(arguments, operation);
    const auto argument = va_arg(arguments, intptr_t);
    va_end(arguments);
    return operation == kDuplicate && fails("fcntl64") ? -1 : system(fd, operation, argument);
}

}  // extern "C"
// NOLINTEND(bugprone-macro-parentheses,cert-dcl50-cpp)

namespace test_support {

namespace {

constexpr int kOnce = 1;
constexpr int kOften = 10;  // signals and connections that are busy: no system keeps that up
constexpr int kAlways = INT_MAX;

struct Failure {
    std::vector<const char *> calls;
    int error;
    std::vector<int> times;
};

const std::vector<Failure> kFailures = {
    {{"read", "recv", "send", "write", "pread64", "connect", "epoll_wait", "poll", "accept4", "open64", "openat64",
      "ftruncate64", "dup2", "dup3", "getrandom", "flock"},
     EINTR,
     {kOnce, kOften}},
    {{"read", "recv", "send", "accept4"}, EAGAIN, {kOnce, kOften}},
    {{"connect", "pthread_create"}, EAGAIN, {kOnce, kAlways}},  // a full queue, and too many threads
    {{"recv",          "send",      "socket",   "connect", "bind",           "accept4",      "getsockopt", "setsockopt",
      "epoll_create1", "epoll_ctl", "poll",     "eventfd", "timerfd_create", "memfd_create", "openat64",   "open64",
      "mkdirat",       "linkat",    "unlinkat", "chmod",   "mmap64",         "fdopendir"},
     ENOMEM,
     {kOnce, kAlways}},
    {{"socket", "accept4", "epoll_create1", "eventfd", "timerfd_create", "memfd_create", "openat64", "open64",
      "fcntl64"},
     EMFILE,
     {kOnce, kAlways}},
    {{"epoll_ctl", "write", "bind", "linkat", "mkdirat", "openat64", "open64", "ftruncate64"},
     ENOSPC,
     {kOnce, kAlways}},
    {{"send"}, ENOBUFS, {kOnce, kAlways}},
    {{"accept4"}, ECONNABORTED, {kOnce, kOften}},
    {{"pread64", "chmod", "unlinkat"}, EIO, {kOnce, kAlways}},
    {{"flock"}, ENOLCK, {kOnce, kAlways}},
    {{"dup2", "dup3"}, EBUSY, {kOnce, kOften}},
    {{"recv", "send", "pread64", "write"}, Fault::kHalf, {kOnce, kAlways}},
    {{"recv", "send", "pread64", "write"}, Fault::kOneByte, {kOnce, kOften}},
};

std::vector<Fault> all() {
    std::vector<Fault> faults;
    for (const Failure &failure : kFailures) {
        for (const char *call : failure.calls) {
            for (const int times : failure.times) {
                faults.push_back({call, failure.error, times});
            }
        }
    }
    return faults;
}

}  // namespace

std::ostream &operator<<(std::ostream &out, const Fault &fault) {
    out << fault.call << ' ';
    if (fault.error > 0) {
        out << strerror(fault.error);
    } else {
        out << (fault.error == Fault::kHalf ? "does half" : "does one byte");
    }
    return fault.times == kAlways ? out << ", and so from then on" : out << ", " << fault.times << " times";
}

const std::vector<Fault> &every_fault() {
    static const std::vector<Fault> faults = all();
    return faults;
}

FailingSystemCall::FailingSystemCall(const Fault &fault, int nth) {
    plan = {.fault = fault, .before = nth - 1, .left = fault.times, .armed = true, .paused = plan.paused};
}

FailingSystemCall::~FailingSystemCall() { plan.armed = false; }

bool a_system_call_failed() { return plan.failed; }

int system_calls_made() { return plan.made; }

UncountedSystemCalls::UncountedSystemCalls() { ++plan.paused; }

UncountedSystemCalls::~UncountedSystemCalls() { --plan.paused; }

std::ptrdiff_t open_descriptors() {
    const UncountedSystemCalls uncounted;
    const auto all = std::filesystem::directory_iterator("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

}  // namespace test_support
