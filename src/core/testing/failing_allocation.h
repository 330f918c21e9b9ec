#ifndef VIREON_CORE_TESTING_FAILING_ALLOCATION_H
#define VIREON_CORE_TESTING_FAILING_ALLOCATION_H

// While one lives, every allocation of its thread by new (std::nothrow) fails. A test program that
// uses it also builds failing_allocation.cpp, which replaces those operators.
class FailingAllocation {
  public:
    FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
    ~FailingAllocation();
};

#endif
