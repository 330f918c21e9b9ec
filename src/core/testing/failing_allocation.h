#ifndef VIREON_CORE_TESTING_FAILING_ALLOCATION_H
#define VIREON_CORE_TESTING_FAILING_ALLOCATION_H

#include <new>

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

// Walks through an operation with its first allocation refused, then with its second, and so on
// until it makes no further one. Each time make() gives a fresh subject, operation(subject) works
// on it, and check(subject, refused) judges what is left: refused is whether an allocation was. A
// std::bad_alloc of the operation is an answer like any other. What leaks, the sanitized build
// reports. Gives the number of allocations that were refused.
template <typename Make, typename Operation, typename Check>
long RefuseEachAllocation(Make make, Operation operation, Check check) {
    for (long nth = 1;; ++nth) {
        auto subject = make();
        bool refused = false;
        {
            const FailingAllocation failing(nth);
            try {
                operation(subject);
            } catch (const std::bad_alloc&) {
            }
            refused = failing.HasHappened();
        }
        check(subject, refused);
        if (!refused) return nth - 1;
    }
}

#endif
