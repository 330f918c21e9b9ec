#include "http/http_message.h"

#include <gtest/gtest.h>

#include "http/http_response.h"
#include "http/testing/message_streams.h"

namespace {

class CountedEntity : public NPT_HttpEntity {
  public:
    explicit CountedEntity(int& alive) : alive_(alive) { ++alive_; }
    ~CountedEntity() override { --alive_; }

  private:
    int& alive_;
};

TEST(MessageEntity, BelongsToTheMessage) {
    int alive = 0;
    {
        NPT_HttpResponse response(200, "OK", "HTTP/1.1");
        EXPECT_EQ(NPT_SUCCESS, response.SetEntity(new CountedEntity(alive)));
        auto* second = new CountedEntity(alive);
        EXPECT_EQ(NPT_SUCCESS, response.SetEntity(second));
        EXPECT_EQ(1, alive);
        EXPECT_EQ(NPT_SUCCESS, response.SetEntity(second));
        EXPECT_EQ(1, alive);
        EXPECT_EQ(second, response.GetEntity());
        EXPECT_EQ(NPT_SUCCESS, response.SetEntity(nullptr));
        EXPECT_EQ(0, alive);
        response.SetEntity(new CountedEntity(alive));
    }
    EXPECT_EQ(0, alive);
}

}  // namespace
