#include "core/critical_section.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

TEST(CriticalSection, KeepsThreadsApart) {
    CriticalSection section;
    int count = 0;
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&] {
            for (int round = 0; round < 5000; ++round) {
                const CriticalSectionLock lock(section);
                ++count;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(count, 20000);
}

TEST(CriticalSection, IsFreeForOthersAfterNestedUse) {
    CriticalSection section;
    {
        const CriticalSectionLock outer(section);
        [&section] { const CriticalSectionLock inner(section); }();
    }
    bool has_locked = false;
    std::thread([&] {
        const CriticalSectionLock lock(section);
        has_locked = true;
    }).join();
    EXPECT_TRUE(has_locked);
}

}  // namespace
