// The request loop as the host sees it: a refused request leaves the blocks alone, an answer
// that comes after the host gave up is not taken for the next one, and the wait record of a
// capture that never settles.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "E2ESupport.h"
#include "VistrelExchange.h"
#include "support/ResultText.h"

namespace {

constexpr uint32_t kAnswerTimeoutMs = 30000;

std::vector<uint8_t> bytes(const uint8_t* view, size_t size) {
    return std::vector<uint8_t>(view, view + size);
}

TEST(ServerLoop, ARefusedListLeavesTheBlocksAndItsLateAnswerIsNotTakenForTheNext) {
    const VXRect rect(0, 0, 48, 32);
    e2e::ScopedEnvironment limit(L"VXMAG_FILTER_LIMIT", L"1");  // read by the stand-in in the server
    auto host = e2e::startHost(rect, false);
    ASSERT_TRUE(host);
    Vistrel::Capture capture;
    ASSERT_TRUE(host->capture({}, false, capture, kAnswerTimeoutMs).isSuccess());
    ASSERT_EQ(capture.result.code, 2000);

    // Two windows where the stand-in takes one, to a server that answers only after the host
    // gave up; the refusal must leave the image and wait blocks as they were.
    const auto& objects = host->sharedObjects();
    const size_t imageBytes = Vistrel::imageBlockSize(rect);
    const DWORD server = e2e::childServer();
    ASSERT_NE(server, 0u);
    e2e::setThreadsSuspended(server, true);
    std::memset(objects->shMemImage->view, 0x5A, imageBytes);
    std::memset(objects->shMemWaitResult->view, 0x6B, Vistrel::kWaitResultBlockSize);
    EXPECT_EQ(host->capture({0x1234, 0x5678}, false, capture, 300).code(), VXError::eTimeout);
    e2e::setThreadsSuspended(server, false);
    Sleep(1000);
    EXPECT_EQ(bytes(objects->shMemImage->view, imageBytes), std::vector<uint8_t>(imageBytes, 0x5A));
    EXPECT_EQ(bytes(objects->shMemWaitResult->view, Vistrel::kWaitResultBlockSize),
              std::vector<uint8_t>(Vistrel::kWaitResultBlockSize, 0x6B));

    // The loop goes on, and each answer is its own request's, not the late refusal.
    for (int request = 0; request < 2; ++request) {
        ASSERT_TRUE(host->capture({}, false, capture, kAnswerTimeoutMs).isSuccess());
        EXPECT_EQ(capture.result.code, 2000) << text(capture.result.text);
        EXPECT_EQ(objects->shMemImage->view[0], 1) << "the image record is written again";
    }
}

TEST(ServerLoop, TheWaitRecordOfContentThatNeverSettlesHoldsRoundsThenMilliseconds) {
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

}  // namespace
