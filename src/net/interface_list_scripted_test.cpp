#include "net/interface_list.h"

#include <gtest/gtest.h>

#include "net/testing/scripted_platform.h"

namespace {

TEST(InterfaceListScriptedTest, AFailedQueryAppendsNothing) {
    ScriptedPlatform platform;
    platform.failing_name = "Query";
    platform.failure = NPT_FAILURE;
    NPT_List<NPT_NetworkInterface*> interfaces;
    EXPECT_EQ(NPT_NetworkInterface::GetNetworkInterfaces(interfaces), NPT_FAILURE);
    EXPECT_TRUE(interfaces.IsEmpty());
}

TEST(InterfaceListScriptedTest, NoInterfaceIsNoFailure) {
    ScriptedPlatform platform;
    NPT_List<NPT_NetworkInterface*> interfaces;
    EXPECT_EQ(NPT_NetworkInterface::GetNetworkInterfaces(interfaces), NPT_SUCCESS);
    EXPECT_TRUE(interfaces.IsEmpty());
}

TEST(InterfaceListScriptedTest, WhatThePlatformListsIsAppended) {
    ScriptedPlatform platform;
    interface_platform::Entry entry;
    entry.is_up = true;
    platform.entries.Add(entry);
    NPT_NetworkInterface present("present", NPT_MacAddress(), 0);
    NPT_List<NPT_NetworkInterface*> interfaces;
    interfaces.Add(&present);
    EXPECT_EQ(NPT_NetworkInterface::GetNetworkInterfaces(interfaces), NPT_SUCCESS);
    ASSERT_EQ(interfaces.GetItemCount(), 2u);
    EXPECT_EQ(*interfaces.begin(), &present);
    EXPECT_EQ((*interfaces.GetLastItem())->GetName(), "if00");
    delete *interfaces.GetLastItem();
}

}  // namespace
