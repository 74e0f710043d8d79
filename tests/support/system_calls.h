// Has a system call of one thread fail, as the system makes it fail: a signal comes, nothing is there yet, descriptors,
// memory or the disk have run out, less is moved than was asked for.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <vector>

namespace test_support {

struct Fault {
    static constexpr int kHalf = 0;  // moves half of what it is asked to
    static constexpr int kOneByte = -1;

    const char *call;
    int error;  // an errno, or one of these
    int times;  // in a row
};
std::ostream &operator<<(std::ostream &out, const Fault &fault);

// All that the platform's libraries may meet with. What cannot fail so is not in it: closing, setting a timer, reading
// and writing an eventfd, and of epoll_ctl() all but adding a descriptor.
const std::vector<Fault> &every_fault();

// From the thread's nth call of that name on. One at a time on a thread.
class FailingSystemCall {
public:
    FailingSystemCall(const Fault &fault, int nth);
    ~FailingSystemCall();
    FailingSystemCall(const FailingSystemCall &) = delete;
    FailingSystemCall &operator=(const FailingSystemCall &) = delete;
};

// Of the latest FailingSystemCall on this thread: whether it came to that, and how many calls were made, of any name.
bool a_system_call_failed();
int system_calls_made();

// The tests' own calls meanwhile neither count nor fail.
class UncountedSystemCalls {
public:
    UncountedSystemCalls();
    ~UncountedSystemCalls();
    UncountedSystemCalls(const UncountedSystemCalls &) = delete;
    UncountedSystemCalls &operator=(const UncountedSystemCalls &) = delete;
};

// How many the process has.
std::ptrdiff_t open_descriptors();

}  // namespace test_support
