#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include "VXEvent.h"

namespace {

constexpr uint32_t kLongMs = 10000;

class WaitForMultiple : public ::testing::Test {
protected:
    void SetUp() override {
        for (int i = 0; i < 64; ++i) {
            _owned.push_back(std::make_unique<VXEvent>(nullptr, false, VXSync::eScopeUnnamed));
            _events.push_back(_owned.back().get());
        }
    }
    VXResult wait(uint32_t count, uint32_t timeoutMs, bool pump, bool all = false) {
        return VXSync::waitForMultiple(_events.data(), count, timeoutMs, all, pump, _index);
    }

    std::vector<std::unique_ptr<VXEvent>> _owned;
    std::vector<VXEvent*> _events;
    uint32_t _index = 99;
};

TEST_F(WaitForMultiple, OneOrAllSignalsWithOrWithoutPumpingAndBadListsRefused) {
    for (bool pump : {false, true}) {
        _events[2]->set();
        EXPECT_EQ(wait(3, 0, pump).code(), VXError::eNoError);
        EXPECT_EQ(_index, 2u);
        EXPECT_EQ(wait(3, 30, pump).code(), VXError::eTimeout);
        // A partial wait-all takes no signal; once the last is there no input is needed to end it.
        _events[0]->set();
        _events[1]->set();
        EXPECT_EQ(wait(3, 50, pump, true).code(), VXError::eTimeout) << pump;
        _events[2]->set();
        EXPECT_EQ(wait(3, kLongMs, pump, true).code(), VXError::eNoError) << pump;
        EXPECT_EQ(wait(3, 0, pump, true).code(), VXError::eTimeout) << "all taken";
    }
    _events[0]->set();
    EXPECT_EQ(wait(64, 0, false).code(), VXError::ePreconditionFailed);
    EXPECT_EQ(_events[0]->isSignaled().code(), VXStatus::eYes);  // no wait took the signal
    _events[1] = nullptr;
    EXPECT_EQ(wait(3, 0, false).code(), VXError::eNullPointer);
}

TEST_F(WaitForMultiple, QuitPostedWhilePumpingCancelsAndStaysQueued) {
    const DWORD waiter = GetCurrentThreadId();
    MSG msg;
    PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);  // gives the thread its queue
    std::thread poster([waiter] {
        Sleep(100);
        PostThreadMessageW(waiter, WM_QUIT, 42, 0);
    });
    const VXResult r = wait(3, kLongMs, true);
    poster.join();
    EXPECT_EQ(r.code(), VXThreadError::eCanceled);
    ASSERT_TRUE(PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE));  // for the thread's own loop
    EXPECT_EQ(msg.message, static_cast<UINT>(WM_QUIT));
    EXPECT_EQ(msg.wParam, 42u);
}

}  // namespace
