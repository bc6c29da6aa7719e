// A server nobody asks ends by itself after a minute.
#include <gtest/gtest.h>

#include "E2ESupport.h"
#include "support/ResultText.h"
#include "vistrel_host.h"

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

// Runs beside the test above, on a host of its own: the restart after the idle end.
TEST(ServerIdle, WithAutomaticRestartTheCaptureAfterTheIdleEndStartsANewServer) {
    const VXString server = e2e::stageServer();
    VistrelStartOptions options = e2e::cStartOptions(server, 32, 32, true);
    options.autoRestart = 1;
    options.maxCrashRestartsPerMinute = 0;  // the idle end is no crash: it is not counted against this
    VistrelHost* host = nullptr;
    ASSERT_EQ(vistrel_host_start(&options, &host), VISTREL_OK) << text(vistrel_host_last_error(host));
    uint32_t exitCode = 0;
    int32_t finalCode = 0;
    ASSERT_EQ(vistrel_host_wait_exit(host, 120000, &exitCode, &finalCode), VISTREL_OK);
    EXPECT_EQ(exitCode, 10u);
    EXPECT_EQ(finalCode, 2024);
    VistrelFrame frame{};
    frame.size = sizeof(frame);
    ASSERT_EQ(vistrel_host_capture(host, nullptr, 0, 0, 30000, &frame), VISTREL_OK)
        << text(vistrel_host_last_error(host));
    EXPECT_EQ(frame.code, 2000);
    EXPECT_EQ(frame.width, 32);
    uint32_t restarts = 0;
    ASSERT_EQ(vistrel_host_restart_count(host, &restarts), VISTREL_OK);
    EXPECT_EQ(restarts, 1u);
    EXPECT_EQ(vistrel_host_close(host), VISTREL_OK);
}

}  // namespace
