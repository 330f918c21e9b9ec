#include "net/blocked_thread_table.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include "core/testing/failing_allocation.h"
#include "net/bsd_socket_fd.h"

namespace {

using ThreadId = NPT_Thread::ThreadId;

// Descriptors to tell apart; the table only keeps their addresses.
const NPT_BsdSocketFd& Descriptor(std::size_t number) {
    static const std::vector<std::unique_ptr<NPT_BsdSocketFd>> descriptors = [] {
        std::vector<std::unique_ptr<NPT_BsdSocketFd>> made;
        for (int count = 0; count < 8; ++count)
            made.push_back(std::make_unique<NPT_BsdSocketFd>(socket_platform::kInvalidHandle, 0));
        return made;
    }();
    return *descriptors[number % descriptors.size()];
}

TEST(BlockedThreadTableTest, HoldsWhatWasPut) {
    BlockedThreadTable table;
    table.Put(7, &Descriptor(1));
    EXPECT_EQ(table.Remove(8), NPT_ERROR_NOT_FOUND);
    EXPECT_EQ(table.Remove(7), NPT_SUCCESS);
}

TEST(BlockedThreadTableTest, ASecondPutReplacesTheFirst) {
    BlockedThreadTable table;
    table.Put(7, &Descriptor(1));
    table.Put(7, &Descriptor(2));
    EXPECT_EQ(table.Remove(7), NPT_SUCCESS);
    EXPECT_EQ(table.Remove(7), NPT_ERROR_NOT_FOUND);
}

TEST(BlockedThreadTableTest, RemovingWhatIsNotThereIsNotFound) {
    BlockedThreadTable table;
    EXPECT_EQ(table.Remove(7), NPT_ERROR_NOT_FOUND);
    table.Put(7, &Descriptor(1));
    EXPECT_EQ(table.Remove(7 + 16), NPT_ERROR_NOT_FOUND);
    EXPECT_EQ(table.Remove(7), NPT_SUCCESS);
    EXPECT_EQ(table.Remove(7), NPT_ERROR_NOT_FOUND);
}

TEST(BlockedThreadTableTest, GrowthKeepsEveryEntryReachable) {
    BlockedThreadTable table;
    for (ThreadId thread = 0; thread < 5000; ++thread)
        table.Put(thread * 4, &Descriptor(thread));
    for (ThreadId thread = 0; thread < 5000; ++thread)
        ASSERT_EQ(table.Remove(thread * 4), NPT_SUCCESS) << thread;
}

// Identities that meet at the last slots, so that their probes pass over the table's end.
TEST(BlockedThreadTableTest, RemovalKeepsCollidingEntriesReachable) {
    const std::vector<ThreadId> threads = {14, 30, 46, 15, 31, 0};
    for (const ThreadId removed : threads) {
        SCOPED_TRACE(removed);
        BlockedThreadTable table;
        for (std::size_t index = 0; index < threads.size(); ++index)
            table.Put(threads[index], &Descriptor(index));
        EXPECT_EQ(table.Remove(removed), NPT_SUCCESS);
        for (std::size_t index = 0; index < threads.size(); ++index)
            EXPECT_EQ(table.Remove(threads[index]),
                      threads[index] == removed ? NPT_ERROR_NOT_FOUND : NPT_SUCCESS);
    }
}

TEST(BlockedThreadTableTest, AgreesWithASetOverRandomOperations) {
    std::mt19937 random(20240501);
    BlockedThreadTable table;
    std::set<ThreadId> expected;
    for (int step = 0; step < 20000; ++step) {
        const ThreadId thread = random() % 40 * 16 + random() % 3;
        if (random() % 2 == 0) {
            table.Put(thread, &Descriptor(random()));
            expected.insert(thread);
        } else {
            const bool present = expected.erase(thread) == 1;
            ASSERT_EQ(table.Remove(thread), present ? NPT_SUCCESS : NPT_ERROR_NOT_FOUND);
        }
    }
    for (const ThreadId thread : expected)
        EXPECT_EQ(table.Remove(thread), NPT_SUCCESS);
}

TEST(BlockedThreadTableTest, WithoutALockThereIsNone) {
    const FailingAllocation failing(1);
    EXPECT_THROW(BlockedThreadTable table, std::bad_alloc);
}

TEST(BlockedThreadTableTest, ThreadsComeAndGoAtTheSameTime) {
    std::vector<std::thread> threads;
    for (std::size_t number = 0; number < 8; ++number) {
        threads.emplace_back([number] {
            const ThreadId self = NPT_Thread::GetCurrentThreadId();
            for (int round = 0; round < 500; ++round) {
                {
                    const BlockedThreadEntry entry(Descriptor(number));
                    ASSERT_EQ(BlockedThreadTable::Shared().Remove(self), NPT_SUCCESS);
                }
                { const BlockedThreadEntry entry(Descriptor(number)); }
                ASSERT_EQ(BlockedThreadTable::Shared().Remove(self), NPT_ERROR_NOT_FOUND);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

}  // namespace
