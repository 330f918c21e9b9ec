#include "engine/vireon_link.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "core/testing/becomes_true.h"
#include "engine/vireon.h"

namespace {

TEST(VireonLinkTest, IsStoppedWithoutAnEngine) {
    const VireonLink link;
    EXPECT_TRUE(link.IsStopped());
    EXPECT_EQ(link.load(), nullptr);
    EXPECT_FALSE(link.Use([](Vireon&) { FAIL(); }));
}

TEST(VireonLinkTest, IsStoppedWhileItsEngineIsClosed) {
    Vireon vireon;
    const VireonLink link(&vireon);
    EXPECT_FALSE(link.IsStopped());
    vireon.isClosed = true;
    EXPECT_TRUE(link.IsStopped());
    vireon.isClosed = false;
    EXPECT_FALSE(link.IsStopped());
}

TEST(VireonLinkTest, TellsWhetherItIsStoppedWhileItsEngineIsUsed) {
    Vireon vireon;
    const VireonLink link(&vireon);
    std::atomic<bool> is_told{false};
    std::thread asker;
    link.Use([&](Vireon&) {
        asker = std::thread([&] {
            EXPECT_FALSE(link.IsStopped());
            is_told = true;
        });
        EXPECT_TRUE(BecomesTrue([&] { return is_told.load(); }));
    });
    asker.join();
}

// What the checkers of memory and of data races look at.
TEST(VireonLinkTest, IsReadWhileItChangesAndItsEnginesGo) {
    VireonLink link;
    std::atomic<bool> is_done{false};
    std::thread reader([&] {
        while (!is_done) {
            link.IsStopped();
            link.Use([](Vireon& vireon) { vireon.SetInterVal(1); });
        }
    });
    for (int round = 0; round < 1000; ++round) {
        auto vireon = std::make_unique<Vireon>();
        link.store(vireon.get());
        vireon->isClosed = round % 2 == 0;
        if (round % 3 == 0) link.store(nullptr);
    }
    is_done = true;
    reader.join();
    EXPECT_TRUE(link.IsStopped());
}

TEST(VireonLinkTest, UsesItsEngine) {
    Vireon vireon;
    const VireonLink link(&vireon);
    Vireon* used = nullptr;
    EXPECT_TRUE(link.Use([&used](Vireon& found) { used = &found; }));
    EXPECT_EQ(used, &vireon);
    EXPECT_EQ(link.load(), &vireon);
}

TEST(VireonLinkTest, MayBeClearedAndSetAnew) {
    Vireon first;
    Vireon second;
    VireonLink link(&first);
    link.store(nullptr);
    EXPECT_TRUE(link.IsStopped());
    link.store(&second);
    EXPECT_EQ(link.load(), &second);
}

TEST(VireonLinkTest, ReadsAsNullOnceTheEngineIsDestroyed) {
    auto vireon = std::make_unique<Vireon>();
    const VireonLink link(vireon.get());
    vireon.reset();
    EXPECT_EQ(link.load(), nullptr);
    EXPECT_TRUE(link.IsStopped());
}

TEST(VireonLinkTest, IsNotFooledByANewEngineInTheSamePlace) {
    alignas(Vireon) unsigned char place[sizeof(Vireon)];
    auto* vireon = new (place) Vireon;
    const VireonLink link(vireon);
    vireon->~Vireon();
    vireon = new (place) Vireon;
    EXPECT_EQ(link.load(), nullptr);
    vireon->~Vireon();
}

TEST(VireonLinkTest, KeepsTheEngineFromGoingWhileItIsUsed) {
    auto vireon = std::make_unique<Vireon>();
    const VireonLink link(vireon.get());
    std::atomic<bool> is_destroyed{false};
    std::thread destroyer;
    link.Use([&](Vireon&) {
        destroyer = std::thread([&] {
            vireon.reset();
            is_destroyed = true;
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_FALSE(is_destroyed);
    });
    destroyer.join();
    EXPECT_TRUE(link.IsStopped());
}

}  // namespace
