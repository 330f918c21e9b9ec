// What a process asks of the heap and of the thread library, counted before it is done
// (LD_PRELOAD).
//
//   void bench_counts(uint64_t result[5])
//       allocations, bytes allocated, bytes in use, locks taken (mutexes, and locks of readers and
//       writers), semaphores taken or given; of the whole process since it started.
#include <dlfcn.h>
#include <malloc.h>
#include <pthread.h>
#include <semaphore.h>

#include <atomic>
#include <cerrno>
#include <cstdint>

// glibc's own, which need no look-up, so that what is allocated during one is counted as well.
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void __libc_free(void*);
}

namespace {

enum Count { kAllocations, kBytes, kInUse, kLocks, kSemaphores, kCountOfCounts };
std::atomic<std::uint64_t> counts[kCountOfCounts];

void Add(Count which, std::uint64_t amount = 1) {
    counts[which].fetch_add(amount, std::memory_order_relaxed);
}

void* Taken(void* block, std::size_t size) {
    if (block == nullptr) return block;
    Add(kAllocations);
    Add(kBytes, size);
    Add(kInUse, malloc_usable_size(block));
    return block;
}

template <typename Function>
Function Next(std::atomic<Function>& kept, const char* name) {
    Function found = kept.load(std::memory_order_relaxed);
    if (found == nullptr) {
        found = reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
        kept.store(found, std::memory_order_relaxed);
    }
    return found;
}

}  // namespace

extern "C" {

void bench_counts(std::uint64_t* result) {
    for (const std::atomic<std::uint64_t>& count : counts)
        *result++ = count.load();
}

void* malloc(std::size_t size) {
    return Taken(__libc_malloc(size), size);
}

void* calloc(std::size_t count, std::size_t size) {
    return Taken(__libc_calloc(count, size), count * size);
}

void* realloc(void* block, std::size_t size) {
    const std::size_t before = block != nullptr ? malloc_usable_size(block) : 0;
    void* const moved = __libc_realloc(block, size);
    if (moved != nullptr || size == 0) Add(kInUse, -std::uint64_t{before});
    return Taken(moved, size);
}

void* memalign(std::size_t alignment, std::size_t size) {
    return Taken(__libc_memalign(alignment, size), size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return memalign(alignment, size);
}

int posix_memalign(void** result, std::size_t alignment, std::size_t size) {
    *result = memalign(alignment, size);
    return *result != nullptr ? 0 : ENOMEM;
}

void free(void* block) {
    if (block != nullptr) Add(kInUse, -std::uint64_t{malloc_usable_size(block)});
    __libc_free(block);
}

// Each forwards to the thread library's own function of that name.
#define COUNTED(which, type, name)               \
    int name(type* subject) {                    \
        static std::atomic<int (*)(type*)> kept; \
        Add(which);                              \
        return Next(kept, #name)(subject);       \
    }

COUNTED(kLocks, pthread_mutex_t, pthread_mutex_lock)
COUNTED(kLocks, pthread_mutex_t, pthread_mutex_trylock)
COUNTED(kLocks, pthread_rwlock_t, pthread_rwlock_rdlock)
COUNTED(kLocks, pthread_rwlock_t, pthread_rwlock_wrlock)
COUNTED(kSemaphores, sem_t, sem_wait)
COUNTED(kSemaphores, sem_t, sem_trywait)
COUNTED(kSemaphores, sem_t, sem_post)
}
