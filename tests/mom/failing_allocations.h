// Has an allocation of the calling thread fail: each of them in turn is how running out of memory is tested.
#pragma once

namespace mom_test {

// As long as it lives, the thread's nth allocation fails, alone or with all that follow.
class FailingAllocations {
public:
    enum class Length { kOnce, kFromThenOn };

    FailingAllocations(int nth, Length length);
    ~FailingAllocations();
    FailingAllocations(const FailingAllocations &) = delete;
    FailingAllocations &operator=(const FailingAllocations &) = delete;
};

// Whether the latest FailingAllocations on this thread lived to see its nth allocation.
bool an_allocation_failed();

// As long as it lives, allocations neither count nor fail: for what a callback of a test does.
class SafeAllocations {
public:
    SafeAllocations();
    ~SafeAllocations();
    SafeAllocations(const SafeAllocations &) = delete;
    SafeAllocations &operator=(const SafeAllocations &) = delete;
};

}  // namespace mom_test
