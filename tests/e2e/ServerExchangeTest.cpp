// Requests answered by the real server: the records it writes, what the captures show, and the
// loop going on after a refusal or an answer that came after the host gave up.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "E2ESupport.h"
#include "VistrelExchange.h"
#include "support/ResultText.h"

namespace {

constexpr uint32_t kAnswerTimeoutMs = 30000;
// Coloured windows well inside the capture rectangle, the second over part of the first.
constexpr RECT kBottomRect = {200, 150, 500, 350};
constexpr RECT kTopRect = {350, 250, 600, 450};
constexpr COLORREF kBottomColor = RGB(0x20, 0xC0, 0x40);
constexpr COLORREF kTopColor = RGB(0xD0, 0x30, 0x90);
const VXRect kCaptureRect(100, 100, 700, 500);

TEST(ServerExchange, UnitTestModeAnswersWithAnImageRecordOfTheFullRectangle) {
    auto host = e2e::startHost(kCaptureRect, true);
    ASSERT_TRUE(host);
    e2e::markBlocks(*host);
    Vistrel::Capture capture;
    const VXResult r = host->capture({}, true, capture, kAnswerTimeoutMs);
    ASSERT_TRUE(r.isSuccess()) << text(r);
    EXPECT_EQ(capture.result.code, 2000);
    ASSERT_TRUE(capture.image);
    // 600 x 400 at 32 bits, and nothing past the record.
    const uint8_t* record = host->sharedObjects()->shMemImage->view;
    EXPECT_EQ(std::vector<uint8_t>(record, record + 13),
              (std::vector<uint8_t>{1, 0x58, 0x02, 0, 0, 0x90, 0x01, 0, 0, 32, 0, 0, 0}));
    EXPECT_EQ(record[13 + 600 * 400 * 4], e2e::kImageMark);
    // No capture in this mode: the wait record is written, all zero, and nothing after it.
    const uint8_t* wait = host->sharedObjects()->shMemWaitResult->view;
    EXPECT_EQ(std::vector<uint8_t>(wait, wait + 10),
              (std::vector<uint8_t>{0, 0, 0, 0, 0, 0, 0, 0, 0, e2e::kWaitMark}));
}

TEST(ServerExchange, ExcludedWindowIsAbsentAndWhatLiesBeneathShows) {
    e2e::WindowThread windows(
        {{kBottomRect, kBottomColor, L"E2E bottom"}, {kTopRect, kTopColor, L"E2E top"}});
    auto host = e2e::startHost(kCaptureRect, false);
    ASSERT_TRUE(host);
    // Inside the overlap, and inside the top window only, in image coordinates.
    const int32_t x = 420 - kCaptureRect.getLeft();
    const int32_t y = 300 - kCaptureRect.getTop();
    const int32_t topOnlyX = 550 - kCaptureRect.getLeft();
    const int32_t topOnlyY = 420 - kCaptureRect.getTop();
    Vistrel::Capture capture;
    VXResult r = host->capture({}, false, capture, kAnswerTimeoutMs);
    ASSERT_TRUE(r.isSuccess()) << text(r);
    ASSERT_EQ(capture.result.code, 2000) << text(capture.result.text);
    EXPECT_EQ(e2e::pixelAt(*capture.image, x, y), e2e::rgb(kTopColor));
    EXPECT_EQ(e2e::pixelAt(*capture.image, topOnlyX, topOnlyY), e2e::rgb(kTopColor));
    const uint32_t background = e2e::pixelAt(*capture.image, 5, 5);

    r = host->capture({reinterpret_cast<uintptr_t>(windows.window(1))}, false, capture, kAnswerTimeoutMs);
    ASSERT_TRUE(r.isSuccess()) << text(r);
    ASSERT_EQ(capture.result.code, 2000) << text(capture.result.text);
    EXPECT_EQ(e2e::pixelAt(*capture.image, x, y), e2e::rgb(kBottomColor));
    EXPECT_EQ(e2e::pixelAt(*capture.image, topOnlyX, topOnlyY), background);
    EXPECT_LT(capture.wait.milliseconds, 500u);
    EXPECT_FALSE(capture.wait.timedOut);

    // An empty list afterwards brings the window back.
    ASSERT_TRUE(host->capture({}, false, capture, kAnswerTimeoutMs).isSuccess());
    EXPECT_EQ(e2e::pixelAt(*capture.image, x, y), e2e::rgb(kTopColor));
}

TEST(ServerExchange, ALateRefusalLeavesTheBlocksAndIsNotTakenForTheNextAnswer) {
    e2e::ScopedEnvironment limit(L"VXMAG_FILTER_LIMIT", L"1");  // read by the stand-in in the server
    auto host = e2e::startHost(VXRect(0, 0, 48, 32), false);
    ASSERT_TRUE(host);
    Vistrel::Capture capture;
    ASSERT_TRUE(host->capture({}, false, capture, kAnswerTimeoutMs).isSuccess());
    ASSERT_EQ(capture.result.code, 2000);

    // Two windows where the stand-in takes one, to a server that answers only after the host
    // gave up.
    const DWORD server = e2e::childServer();
    ASSERT_NE(server, 0u);
    e2e::setThreadsSuspended(server, true);
    e2e::markBlocks(*host);
    EXPECT_EQ(host->capture({0x1234, 0x5678}, false, capture, 300).code(), VXError::eTimeout);
    e2e::setThreadsSuspended(server, false);
    Sleep(1000);
    e2e::expectBlocksMarked(*host);

    for (int request = 0; request < 2; ++request) {
        ASSERT_TRUE(host->capture({}, false, capture, kAnswerTimeoutMs).isSuccess());
        EXPECT_EQ(capture.result.code, 2000) << text(capture.result.text);
        EXPECT_EQ(host->sharedObjects()->shMemImage->view[0], 1) << "the image record is written again";
    }
}

TEST(ServerExchange, TheWaitRecordOfContentThatNeverSettlesHoldsRoundsThenMilliseconds) {
    e2e::ScopedEnvironment changing(L"VXMAG_RENDER", L"changing");
    auto host = e2e::startHost(VXRect(0, 0, 200, 100), false);
    ASSERT_TRUE(host);
    Vistrel::Capture capture;
    ASSERT_TRUE(host->capture({}, false, capture, kAnswerTimeoutMs).isSuccess());
    ASSERT_EQ(capture.result.code, 2000) << text(capture.result.text);
    EXPECT_TRUE(capture.wait.timedOut);
    EXPECT_GE(capture.wait.milliseconds, 500u);
    EXPECT_LT(capture.wait.milliseconds, kAnswerTimeoutMs);
    // The stand-in draws its render counter into row 0, lowest bit first: setup renders once,
    // the capture once, each readback once more, and a round is one readback after the first.
    uint32_t counter = 0;
    for (int bit = 0; bit < 32; ++bit)
        counter |= (e2e::pixelAt(*capture.image, bit, 0) == 0xFFFFFFu ? 1u : 0u) << bit;
    EXPECT_EQ(capture.wait.iterations + 2, counter);
}

// A failure the capture engine reports, driven by a stand-in switch: the request is answered
// with it, the blocks keep what they held and the server goes on (or, for MagInitialize, ends
// at start-up with exit 10). FALSE with last error 0 must never read as success.
struct EngineFailure {
    const wchar_t* variable;
    const wchar_t* value;
    int32_t code;
    const char* text;
    bool atStartUp;
};

class ServerEngineFailure : public ::testing::TestWithParam<EngineFailure> {};

TEST_P(ServerEngineFailure, IsReportedWithoutTouchingTheImageOrWaitBlocks) {
    const EngineFailure& failure = GetParam();
    e2e::WindowThread windows({{kBottomRect, kBottomColor, L"E2E bottom"}});
    std::unique_ptr<Vistrel::Host> host;
    {
        e2e::ScopedEnvironment variable(failure.variable, failure.value);  // read by the stand-in
        host = e2e::startHost(kCaptureRect, false);
    }
    ASSERT_TRUE(host);
    if (failure.atStartUp) {
        Vistrel::ResultRecord final;
        EXPECT_EQ(e2e::exitOf(*host, final), 10u);
        EXPECT_EQ(final.code, failure.code);
        EXPECT_THAT(text(final.text), ::testing::StartsWith(failure.text));
        return;
    }
    e2e::markBlocks(*host);
    // A window in the list, so that the filter list is applied.
    const std::vector<uint64_t> excluded = {reinterpret_cast<uintptr_t>(windows.window(0))};
    Vistrel::Capture capture;
    for (int request = 0; request < 2; ++request) {
        const VXResult r = host->capture(excluded, false, capture, kAnswerTimeoutMs);
        ASSERT_TRUE(r.isSuccess()) << text(r);  // the completion event came
        EXPECT_EQ(capture.result.code, failure.code) << text(capture.result.text);
        EXPECT_THAT(text(capture.result.text), ::testing::HasSubstr(failure.text));
    }
    e2e::expectBlocksMarked(*host);
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
