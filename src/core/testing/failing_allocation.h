#ifndef VIREON_CORE_TESTING_FAILING_ALLOCATION_H
#define VIREON_CORE_TESTING_FAILING_ALLOCATION_H

// While one lives, allocations of its thread by operator new fail. A test program that uses it also
// builds failing_allocation.cpp, which replaces the operators. One at a time per thread.
class FailingAllocation {
  public:
    // Every allocation by new (std::nothrow) fails, no other one.
    FailingAllocation();
    // The nth allocation of either kind fails, counted from 1; all others succeed.
    explicit FailingAllocation(long nth);
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
    ~FailingAllocation();

    // Whether an allocation was refused.
    bool HasHappened() const;
};

#endif
