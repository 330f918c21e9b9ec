#include "engine/com_apartment.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

// Nothing of COM can be seen on every platform; that a thread survives it, with and without the
// library and once inside the other, can.
TEST(ComApartmentTest, MayBeEnteredOnAnyThreadAndTwice) {
    bool was_inside = false;
    std::thread([&was_inside] {
        const ComApartment apartment;
        const ComApartment again;
        was_inside = true;
    }).join();
    EXPECT_TRUE(was_inside);
}

}  // namespace
