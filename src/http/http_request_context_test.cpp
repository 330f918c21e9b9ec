#include "http/http_request_context.h"

#include <gtest/gtest.h>

namespace {

TEST(RequestContext, KeepsBothAddresses) {
    NPT_HttpRequestContext context;
    const NPT_SocketAddress local(NPT_IpAddress(10, 0, 0, 1), 1024);
    const NPT_SocketAddress remote(NPT_IpAddress(10, 0, 0, 2), 31288);
    context.SetLocalAddress(local);
    context.SetRemoteAddress(remote);
    EXPECT_TRUE(local == context.GetLocalAddress());
    EXPECT_TRUE(remote == context.GetRemoteAddress());
}

}  // namespace
