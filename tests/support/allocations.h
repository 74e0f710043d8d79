// Counts the heap allocations of one thread between two points.
#ifndef TREL_CAP_TESTS_ALLOCATIONS_H
#define TREL_CAP_TESTS_ALLOCATIONS_H

namespace test_support {

// Counts what the thread allocates from here on. One at a time on a thread.
class AllocationCount {
public:
    AllocationCount();
    ~AllocationCount();
    AllocationCount(const AllocationCount &) = delete;
    AllocationCount &operator=(const AllocationCount &) = delete;

    int count() const;
};

// What the tests' own side allocates meanwhile does not count.
class UncountedAllocations {
public:
    UncountedAllocations();
    ~UncountedAllocations();
    UncountedAllocations(const UncountedAllocations &) = delete;
    UncountedAllocations &operator=(const UncountedAllocations &) = delete;
};

}  // namespace test_support

#endif
