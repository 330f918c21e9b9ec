#include "net/blocked_thread_table.h"

#include <atomic>
#include <memory>
#include <utility>

#include "core/process.h"

namespace {

// Enough for the senders of several network interfaces; a power of two.
constexpr std::size_t kInitialSlots = 16;

}  // namespace

BlockedThreadTable& BlockedThreadTable::Shared() {
    struct Owned {
        const ProcessId process = CurrentProcess();
        Owned* inherited = nullptr;  // still there, and nobody's
        BlockedThreadTable table;
    };
    // Begins as a constant: a child forked in the midst of anything else would wait for its end.
    static std::atomic<Owned*> shared{nullptr};
    Owned* found = shared.load();
    if (found && found->process == CurrentProcess()) return found->table;
    // In a forked child what is there is a copy, which a thread that it has not may have held
    // locked.
    auto own = std::make_unique<Owned>();
    own->inherited = found;
    if (!shared.compare_exchange_strong(found, own.get())) return found->table;
    return own.release()->table;
}

BlockedThreadTable::BlockedThreadTable() : slots_(kInitialSlots) {}

void BlockedThreadTable::Put(NPT_Thread::ThreadId thread, const NPT_BsdSocketFd* descriptor) {
    const CriticalSectionLock guard(lock_);
    std::size_t index = SlotOf(thread);
    if (!slots_[index].descriptor) {
        if ((entry_count_ + 1) * 2 >= slots_.size()) {
            Grow();
            index = SlotOf(thread);
        }
        ++entry_count_;
    }
    slots_[index] = {thread, descriptor};
}

NPT_Result BlockedThreadTable::Remove(NPT_Thread::ThreadId thread) {
    const CriticalSectionLock guard(lock_);
    const std::size_t index = SlotOf(thread);
    if (!slots_[index].descriptor) return NPT_ERROR_NOT_FOUND;
    CloseGap(index);
    --entry_count_;
    return NPT_SUCCESS;
}

std::size_t BlockedThreadTable::HomeOf(NPT_Thread::ThreadId thread) const {
    return static_cast<std::size_t>(thread) & (slots_.size() - 1);
}

std::size_t BlockedThreadTable::Next(std::size_t index) const {
    return (index + 1) & (slots_.size() - 1);
}

std::size_t BlockedThreadTable::SlotOf(NPT_Thread::ThreadId thread) const {
    std::size_t index = HomeOf(thread);
    while (slots_[index].descriptor && slots_[index].thread != thread)
        index = Next(index);
    return index;
}

void BlockedThreadTable::Grow() {
    std::vector<Slot> old_slots(slots_.size() * 2);
    std::swap(slots_, old_slots);
    for (const Slot& slot : old_slots) {
        if (slot.descriptor) slots_[SlotOf(slot.thread)] = slot;
    }
}

// Frees the slot at gap. A probe ends at a free slot, so that every entry behind the gap whose
// probe passes over it has to move up.
void BlockedThreadTable::CloseGap(std::size_t gap) {
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t index = Next(gap); slots_[index].descriptor; index = Next(index)) {
        const std::size_t probe_length = (index - HomeOf(slots_[index].thread)) & mask;
        const std::size_t distance_to_gap = (index - gap) & mask;
        if (probe_length < distance_to_gap) continue;
        slots_[gap] = slots_[index];
        gap = index;
    }
    slots_[gap] = Slot();
}

BlockedThreadEntry::BlockedThreadEntry(const NPT_BsdSocketFd& descriptor)
    : thread_(NPT_Thread::GetCurrentThreadId()) {
    BlockedThreadTable::Shared().Put(thread_, &descriptor);
}

BlockedThreadEntry::~BlockedThreadEntry() {
    BlockedThreadTable::Shared().Remove(thread_);
}
