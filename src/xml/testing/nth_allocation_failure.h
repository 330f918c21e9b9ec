#ifndef VIREON_XML_TESTING_NTH_ALLOCATION_FAILURE_H
#define VIREON_XML_TESTING_NTH_ALLOCATION_FAILURE_H

// While one lives, the nth allocation of its thread by operator new, counted from 1, fails; all
// others succeed. A test program that uses it also builds nth_allocation_failure.cpp, which
// replaces the operators. One at a time per thread.
class NthAllocationFailure {
  public:
    explicit NthAllocationFailure(long nth);
    NthAllocationFailure(const NthAllocationFailure&) = delete;
    NthAllocationFailure& operator=(const NthAllocationFailure&) = delete;
    ~NthAllocationFailure();

    // Whether so many allocations were made.
    bool HasHappened() const;
};

#endif
