#include "core/reference.h"

#include <gtest/gtest.h>

#include <thread>
#include <utility>
#include <vector>

#include "core/testing/failing_allocation.h"

namespace {

struct Base {
    explicit Base(int& deleted_count) : deleted(deleted_count) {}
    Base(const Base&) = delete;
    Base& operator=(const Base&) = delete;
    virtual ~Base() { ++deleted; }
    int& deleted;
};

struct Derived : Base {
    using Base::Base;
};

TEST(Reference, NullRefersToNothing) {
    NPT_Reference<Base> none;
    const NPT_Reference<Base> also_none(nullptr);
    const NPT_Reference<Base> copy(none);
    EXPECT_TRUE(none.IsNull());
    EXPECT_TRUE(also_none.IsNull());
    EXPECT_EQ(copy.AsPointer(), nullptr);
    EXPECT_FALSE(none);
    none.Release();
}

TEST(Reference, TheLastReleaseDeletes) {
    int deleted = 0;
    NPT_Reference<Base> first(new Base(deleted));
    {
        const NPT_Reference<Base> second(first);
        EXPECT_EQ(second.AsPointer(), first.AsPointer());
    }
    EXPECT_EQ(deleted, 0);
    first.Release();
    EXPECT_EQ(deleted, 1);
    EXPECT_TRUE(first.IsNull());
    first.Release();
    EXPECT_EQ(deleted, 1);
}

TEST(Reference, AssignmentLetsGoOfTheOldObject) {
    int deleted_old = 0;
    int deleted_new = 0;
    NPT_Reference<Base> reference(new Base(deleted_old));
    const NPT_Reference<Base> other(new Base(deleted_new));
    reference = other;
    EXPECT_EQ(deleted_old, 1);
    EXPECT_EQ(&*reference, other.AsPointer());
    const NPT_Reference<Base>& same = reference;
    reference = same;
    EXPECT_EQ(deleted_new, 0);
    EXPECT_EQ(&reference->deleted, &deleted_new);
}

TEST(Reference, MovingHandsTheCountOn) {
    int deleted = 0;
    NPT_Reference<Base> from(new Base(deleted));
    {
        const NPT_Reference<Base> to(std::move(from));
        EXPECT_FALSE(to.IsNull());
    }
    EXPECT_EQ(deleted, 1);
}

TEST(Reference, SharesOneCountWithAReferenceToTheBase) {
    int deleted = 0;
    NPT_Reference<Derived> derived(new Derived(deleted));
    NPT_Reference<Base> base(derived);
    derived.Release();
    EXPECT_EQ(deleted, 0);
    base.Release();
    EXPECT_EQ(deleted, 1);
}

TEST(Reference, CountsAcrossThreads) {
    int deleted = 0;
    NPT_Reference<Base> reference(new Base(deleted));
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([own = reference] {
            for (int round = 0; round < 2000; ++round)
                const NPT_Reference<Base> copy(own);
        });
    }
    reference.Release();
    for (std::thread& thread : threads)
        thread.join();
    threads.clear();
    EXPECT_EQ(deleted, 1);
}

// What it was to own is deleted all the same.
TEST(Reference, WithoutACounterThereIsNone) {
    int deleted = 0;
    auto* object = new Base(deleted);
    const FailingAllocation failing(1);
    EXPECT_THROW(const NPT_Reference<Base> reference(object), std::bad_alloc);
    EXPECT_EQ(deleted, 1);
}

}  // namespace
