// Counts the heap allocations of one thread between two points, or has them fail.
#pragma once

namespace test_support {

// Counts what the thread allocates and frees from here on. One at a time on a thread.
class AllocationCount {
public:
    AllocationCount();
    ~AllocationCount();
    AllocationCount(const AllocationCount &) = delete;
    AllocationCount &operator=(const AllocationCount &) = delete;

    int count() const;
    int freed() const;
};

// Has what the thread allocates from here on fail: malloc and its kin, and new (std::nothrow). Under a sanitizer, which
// keeps malloc to itself, new (std::nothrow) alone.
class FailingAllocations {
public:
    FailingAllocations();
    ~FailingAllocations();
    FailingAllocations(const FailingAllocations &) = delete;
    FailingAllocations &operator=(const FailingAllocations &) = delete;
};

// What the tests' own side allocates meanwhile does not count, and does not fail.
class UncountedAllocations {
public:
    UncountedAllocations();
    ~UncountedAllocations();
    UncountedAllocations(const UncountedAllocations &) = delete;
    UncountedAllocations &operator=(const UncountedAllocations &) = delete;
};

}  // namespace test_support
