#include "core/testing/failing_allocation.h"

#include <cstddef>
#include <new>

namespace {

thread_local int failing_depth = 0;

}  // namespace

FailingAllocation::FailingAllocation() {
    ++failing_depth;
}

FailingAllocation::~FailingAllocation() {
    --failing_depth;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    if (failing_depth) return nullptr;
    try {
        return ::operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    if (failing_depth) return nullptr;
    try {
        return ::operator new[](size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
