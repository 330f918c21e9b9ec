#include "core/testing/failing_allocation.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

thread_local bool fails_without_exception = false;
// 0 when no failure is due, 1 when the very next allocation is to fail.
thread_local long allocations_until_failure = 0;
thread_local bool has_happened = false;

void* Refuse() {
    has_happened = true;
    return nullptr;
}

void* Allocate(std::size_t size) {
    if (allocations_until_failure > 0 && --allocations_until_failure == 0) return Refuse();
    return std::malloc(size ? size : 1);
}

}  // namespace

FailingAllocation::FailingAllocation() {
    has_happened = false;
    fails_without_exception = true;
}

FailingAllocation::FailingAllocation(long nth) {
    has_happened = false;
    allocations_until_failure = nth;
}

FailingAllocation::~FailingAllocation() {
    fails_without_exception = false;
    allocations_until_failure = 0;
}

bool FailingAllocation::HasHappened() const {
    return has_happened;
}

void* operator new(std::size_t size) {
    if (void* block = Allocate(size)) return block;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return fails_without_exception ? Refuse() : Allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return operator new(size, std::nothrow);
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete[](void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    std::free(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
    std::free(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
    std::free(block);
}
