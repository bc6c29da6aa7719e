// A server nobody asks ends by itself after a minute.
#include <gtest/gtest.h>

#include "E2ESupport.h"
#include "support/ResultText.h"

namespace {

TEST(ServerIdle, NoRequestForAMinuteEndsWithTimeoutAndExit10) {
    auto host = e2e::startHost(VXRect(0, 0, 32, 32), true);
    ASSERT_TRUE(host);
    const DWORD start = GetTickCount();
    Vistrel::ResultRecord final;
    EXPECT_EQ(e2e::exitOf(*host, final, 120000), 10u);
    const DWORD elapsed = GetTickCount() - start;
    EXPECT_GE(elapsed, 59000u);
    EXPECT_LT(elapsed, 90000u);
    EXPECT_EQ(final.code, 2024);
    const std::string text = final.text.toUtf8();
    EXPECT_THAT(text, HasSubstr("Error returned at Vistrel::serveRequests, "));
    EXPECT_THAT(text, HasSubstr("Error returned at Vistrel::run, "));
}

}  // namespace
