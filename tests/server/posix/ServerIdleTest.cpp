// A Linux server nobody asks ends by itself after a minute and leaves no object behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "SerializeUtils.h"
#include "ServerProcess.h"
#include "VistrelExchange.h"
#include "VistrelSharedObjects.h"
#include "support/ResultText.h"
#include "support/TestParams.h"

namespace {

TEST(LinuxServerIdle, NoRequestForAMinuteEndsWithTimeoutAndExit10AndNothingLeft) {
    const auto params = testParams(VXRect(0, 0, 32, 32));
    const auto start = std::chrono::steady_clock::now();
    testsupport::ServerProcess server(testsupport::serverArgs(0, 0, 32, 32, text(params->guid), true), {},
                                      "/dev/null");
    std::shared_ptr<Vistrel::SharedObjects> observer;
    ASSERT_TRUE(testsupport::openServerObjects(*params, observer, 20000));

    const testsupport::ServerEnd end = server.waitEnd(120000);
    const auto elapsed =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
    EXPECT_TRUE(end.exited);
    EXPECT_EQ(end.code, 10);
    EXPECT_GE(elapsed.count(), 59000);
    EXPECT_LT(elapsed.count(), 90000);
    Vistrel::ResultRecord final;
    ASSERT_NE(SerializeUtils::readResult(observer->shMemResult->view, Vistrel::kResultBlockSize, final),
              nullptr);
    EXPECT_EQ(final.code, 2024);
    EXPECT_THAT(text(final.text), HasSubstr("Error returned at Vistrel::serveRequests, "));
    EXPECT_THAT(text(final.text), HasSubstr("Error returned at Vistrel::run, "));
    for (const VXString& name :
         {params->eventStartName, params->eventCompletedName, params->exclWndsName, params->captureCursorName,
          params->imageName, params->waitResultName, params->resultName})
        EXPECT_FALSE(std::filesystem::exists("/dev/shm/" + name.toUtf8())) << text(name);
}

}  // namespace
