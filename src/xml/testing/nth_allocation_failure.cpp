#include "xml/testing/nth_allocation_failure.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

// 0 when no failure is due, 1 when the very next allocation is to fail.
thread_local long allocations_until_failure = 0;

void* Allocate(std::size_t size) {
    if (allocations_until_failure > 0 && --allocations_until_failure == 0) return nullptr;
    return std::malloc(size ? size : 1);
}

}  // namespace

NthAllocationFailure::NthAllocationFailure(long nth) {
    allocations_until_failure = nth;
}

NthAllocationFailure::~NthAllocationFailure() {
    allocations_until_failure = 0;
}

bool NthAllocationFailure::HasHappened() const {
    return allocations_until_failure == 0;
}

void* operator new(std::size_t size) {
    if (void* block = Allocate(size)) return block;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size);
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
