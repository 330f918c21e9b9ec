#ifndef VIREON_NET_BLOCKED_THREAD_TABLE_H
#define VIREON_NET_BLOCKED_THREAD_TABLE_H

#include <vector>

#include "core/critical_section.h"
#include "core/result.h"
#include "core/system_thread.h"
#include "core/thread_annotations.h"
#include "core/types.h"

class NPT_BsdSocketFd;

// Which thread waits on which descriptor: an open-addressed hash table with a power-of-two number
// of slots, probed one by one from the thread identity masked to its size. It doubles before it is
// half full. Descriptors are not owned; an entry lives as long as its thread's wait.
// Any thread may call any operation.
class BlockedThreadTable {
  public:
    // The table of this process; a forked child has one of its own. Never destroyed, since threads
    // may outlive the static objects.
    static BlockedThreadTable& Shared();

    // Throws std::bad_alloc, when the lock cannot be made too.
    BlockedThreadTable();
    BlockedThreadTable(const BlockedThreadTable&) = delete;
    BlockedThreadTable& operator=(const BlockedThreadTable&) = delete;

    // Replaces the thread's entry if there is one. descriptor is not null. Throws std::bad_alloc,
    // with nothing changed.
    void Put(NPT_Thread::ThreadId thread, const NPT_BsdSocketFd* descriptor);
    // NPT_ERROR_NOT_FOUND when the thread has no entry.
    NPT_Result Remove(NPT_Thread::ThreadId thread);

  private:
    struct Slot {
        NPT_Thread::ThreadId thread = 0;
        const NPT_BsdSocketFd* descriptor = nullptr;  // null: the slot is free
    };

    std::size_t HomeOf(NPT_Thread::ThreadId thread) const REQUIRES(lock_);
    std::size_t Next(std::size_t index) const REQUIRES(lock_);
    // The thread's slot, or the free one where it belongs.
    std::size_t SlotOf(NPT_Thread::ThreadId thread) const REQUIRES(lock_);
    void Grow() REQUIRES(lock_);
    void CloseGap(std::size_t gap) REQUIRES(lock_);

    CriticalSection lock_;
    std::vector<Slot> slots_ GUARDED_BY(lock_);
    std::size_t entry_count_ GUARDED_BY(lock_) = 0;
};

// The calling thread's entry in the shared table for a scope.
class BlockedThreadEntry {
  public:
    explicit BlockedThreadEntry(const NPT_BsdSocketFd& descriptor);
    BlockedThreadEntry(const BlockedThreadEntry&) = delete;
    BlockedThreadEntry& operator=(const BlockedThreadEntry&) = delete;
    ~BlockedThreadEntry();

  private:
    NPT_Thread::ThreadId thread_;
};

#endif
