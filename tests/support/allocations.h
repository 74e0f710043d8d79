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

// Has the thread's nth allocation from here on fail, alone or with all that follow: malloc and its kin, new, and what
// the system takes to watch one more descriptor. One at a time on a thread.
class FailingAllocations {
public:
    enum class Length { kOnce, kFromThenOn };

    explicit FailingAllocations(int nth = 1, Length length = Length::kFromThenOn);
    ~FailingAllocations();
    FailingAllocations(const FailingAllocations &) = delete;
    FailingAllocations &operator=(const FailingAllocations &) = delete;
};

// Whether the latest FailingAllocations on this thread lived to see its nth allocation.
bool an_allocation_failed();

// What the tests' own side allocates meanwhile does not count, and does not fail.
class UncountedAllocations {
public:
    UncountedAllocations();
    ~UncountedAllocations();
    UncountedAllocations(const UncountedAllocations &) = delete;
    UncountedAllocations &operator=(const UncountedAllocations &) = delete;
};

}  // namespace test_support
