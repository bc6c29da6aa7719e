// Requests answered by the real server: the records it writes and what the captures show.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "E2ESupport.h"
#include "SerializeUtils.h"
#include "VistrelExchange.h"

namespace {

constexpr uint32_t kAnswerTimeoutMs = 30000;
// Coloured windows well inside the capture rectangle, the second over part of the first.
constexpr RECT kBottomRect = {200, 150, 500, 350};
constexpr RECT kTopRect = {350, 250, 600, 450};
constexpr COLORREF kBottomColor = RGB(0x20, 0xC0, 0x40);
constexpr COLORREF kTopColor = RGB(0xD0, 0x30, 0x90);
const VXRect kCaptureRect(100, 100, 700, 500);

class ServerExchange : public ::testing::Test {
protected:
    std::unique_ptr<Vistrel::Host> startServer(bool unitTestMode) {
        Vistrel::HostOptions options;
        options.captureRect = kCaptureRect;
        options.serverPath = e2e::stageServer(u"e2e-with-magnifier", true);
        options.unitTestMode = unitTestMode;
        std::unique_ptr<Vistrel::Host> host;
        const VXResult r = Vistrel::Host::start(options, host);
        EXPECT_TRUE(r.isSuccess()) << r.message().toUtf8();
        return host;
    }
};

TEST_F(ServerExchange, UnitTestModeAnswersWithAnImageRecordOfTheFullRectangle) {
    auto host = startServer(true);
    ASSERT_TRUE(host);
    const auto& objects = host->sharedObjects();
    const uint32_t recordSize = 13 + 600 * 400 * 4;
    std::memset(objects->shMemImage->view, 0x5A, Vistrel::imageBlockSize(kCaptureRect));
    std::memset(objects->shMemWaitResult->view, 0x5A, Vistrel::kWaitResultBlockSize);
    Vistrel::Capture capture;
    const VXResult r = host->capture({}, true, capture, kAnswerTimeoutMs);
    ASSERT_TRUE(r.isSuccess()) << r.message().toUtf8();
    EXPECT_EQ(capture.result.code, 2000);
    ASSERT_TRUE(capture.image);
    const uint8_t* record = host->sharedObjects()->shMemImage->view;
    uint32_t width = 0, height = 0, bits = 0;
    EXPECT_EQ(record[0], 1);
    std::memcpy(&width, record + 1, 4);
    std::memcpy(&height, record + 5, 4);
    std::memcpy(&bits, record + 9, 4);
    EXPECT_EQ(width, 600u);
    EXPECT_EQ(height, 400u);
    EXPECT_EQ(bits, 32u);
    EXPECT_EQ(record[recordSize], 0x5A);  // nothing past the record
    // No capture in this mode: the wait record is written, all zero, and nothing after it.
    const uint8_t* wait = objects->shMemWaitResult->view;
    EXPECT_EQ(std::vector<uint8_t>(wait, wait + 9), std::vector<uint8_t>(9, 0));
    EXPECT_EQ(wait[9], 0x5A);
    // A second request on the same server is answered too.
    ASSERT_TRUE(host->capture({}, false, capture, kAnswerTimeoutMs).isSuccess());
    EXPECT_EQ(capture.result.code, 2000);
}

TEST_F(ServerExchange, ExcludedWindowIsAbsentAndWhatLiesBeneathShows) {
    e2e::WindowThread windows(
        {{kBottomRect, kBottomColor, L"E2E bottom"}, {kTopRect, kTopColor, L"E2E top"}});
    auto host = startServer(false);
    ASSERT_TRUE(host);
    // Inside the overlap, in image coordinates.
    const int32_t x = 420 - kCaptureRect.getLeft();
    const int32_t y = 300 - kCaptureRect.getTop();
    const int32_t topOnlyX = 550 - kCaptureRect.getLeft();
    const int32_t topOnlyY = 420 - kCaptureRect.getTop();

    Vistrel::Capture capture;
    VXResult r = host->capture({}, false, capture, kAnswerTimeoutMs);
    ASSERT_TRUE(r.isSuccess()) << r.message().toUtf8();
    ASSERT_EQ(capture.result.code, 2000) << capture.result.text.toUtf8();
    EXPECT_EQ(e2e::pixelAt(*capture.image, x, y), e2e::rgb(kTopColor));
    EXPECT_EQ(e2e::pixelAt(*capture.image, topOnlyX, topOnlyY), e2e::rgb(kTopColor));
    const uint32_t background = e2e::pixelAt(*capture.image, 5, 5);

    const uint64_t top = reinterpret_cast<uintptr_t>(windows.window(1));
    r = host->capture({top}, false, capture, kAnswerTimeoutMs);
    ASSERT_TRUE(r.isSuccess()) << r.message().toUtf8();
    ASSERT_EQ(capture.result.code, 2000) << capture.result.text.toUtf8();
    EXPECT_EQ(e2e::pixelAt(*capture.image, x, y), e2e::rgb(kBottomColor));
    EXPECT_EQ(e2e::pixelAt(*capture.image, topOnlyX, topOnlyY), background);
    EXPECT_LT(capture.wait.milliseconds, 500u);
    EXPECT_FALSE(capture.wait.timedOut);

    // An empty list afterwards brings the window back.
    ASSERT_TRUE(host->capture({}, false, capture, kAnswerTimeoutMs).isSuccess());
    EXPECT_EQ(e2e::pixelAt(*capture.image, x, y), e2e::rgb(kTopColor));
}

// A failure the capture engine reports, driven by a stand-in switch: the request is answered
// with it, the image and wait blocks keep what they held, and the server goes on serving (or,
// for MagInitialize, ends at start-up with exit 10 and the failure in the result block). The
// FALSE-with-last-error-0 cases must never read as success.
struct EngineFailure {
    const wchar_t* variable;
    const wchar_t* value;
    int32_t code;
    const char* text;
    bool atStartUp;
};

class ServerEngineFailure : public ServerExchange, public ::testing::WithParamInterface<EngineFailure> {};

TEST_P(ServerEngineFailure, IsReportedWithoutTouchingTheImageOrWaitBlocks) {
    const EngineFailure& failure = GetParam();
    e2e::WindowThread windows({{kBottomRect, kBottomColor, L"E2E bottom"}});
    std::unique_ptr<Vistrel::Host> host;
    {
        // Read by the stand-in inside the server.
        e2e::ScopedEnvironment variable(failure.variable, failure.value);
        host = startServer(false);
    }
    ASSERT_TRUE(host);
    if (failure.atStartUp) {
        uint32_t exitCode = 0;
        Vistrel::ResultRecord final;
        ASSERT_TRUE(host->waitForExit(30000, exitCode, final).isSuccess());
        EXPECT_EQ(exitCode, 10u);
        EXPECT_EQ(final.code, failure.code);
        EXPECT_EQ(final.text.toUtf8().rfind(failure.text, 0), 0u) << final.text.toUtf8();
        return;
    }
    const auto& objects = host->sharedObjects();
    const uint32_t imageBytes = Vistrel::imageBlockSize(kCaptureRect);
    // Earlier contents the failed request must not touch.
    std::memset(objects->shMemImage->view, 0x5A, imageBytes);
    std::memset(objects->shMemWaitResult->view, 0x6B, Vistrel::kWaitResultBlockSize);

    // A window in the list, so that the filter list is applied.
    const std::vector<uint64_t> excluded = {reinterpret_cast<uintptr_t>(windows.window(0))};
    Vistrel::Capture capture;
    for (int request = 0; request < 2; ++request) {
        const VXResult r = host->capture(excluded, false, capture, kAnswerTimeoutMs);
        ASSERT_TRUE(r.isSuccess()) << r.message().toUtf8();  // the completion event came
        EXPECT_EQ(capture.result.code, failure.code) << capture.result.text.toUtf8();
        EXPECT_NE(capture.result.text.toUtf8().find(failure.text), std::string::npos)
            << capture.result.text.toUtf8();
    }
    const std::vector<uint8_t> image(objects->shMemImage->view, objects->shMemImage->view + imageBytes);
    EXPECT_EQ(std::vector<uint8_t>(imageBytes, 0x5A), image);
    const std::vector<uint8_t> wait(objects->shMemWaitResult->view,
                                    objects->shMemWaitResult->view + Vistrel::kWaitResultBlockSize);
    EXPECT_EQ(std::vector<uint8_t>(Vistrel::kWaitResultBlockSize, 0x6B), wait);
    EXPECT_TRUE(host->isRunning());
}

INSTANTIATE_TEST_SUITE_P(
    StandInSwitches, ServerEngineFailure,
    ::testing::Values(EngineFailure{L"VXMAG_RENDER", L"black", 2022, "All captured pixels are black", false},
                      EngineFailure{L"VXMAG_FAIL", L"MagSetWindowFilterList", 2020,
                                    "Method \"MagSetWindowFilterList\" returned Win32 error [0]. ", false},
                      EngineFailure{L"VXMAG_FAIL", L"MagSetWindowSource", 2020,
                                    "Method \"MagSetWindowSource\" returned Win32 error [0]. ", false},
                      EngineFailure{L"VXMAG_FAIL", L"MagInitialize", 2020,
                                    "Method \"MagInitialize\" returned Win32 error [0]. ", true}));

}  // namespace
