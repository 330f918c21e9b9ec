#include "core/process.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

TEST(Process, IsTheSameOnAllItsThreads) {
    ProcessId seen = 0;
    std::thread([&seen] { seen = CurrentProcess(); }).join();
    EXPECT_EQ(seen, CurrentProcess());
    EXPECT_NE(seen, 0u);
}

}  // namespace
