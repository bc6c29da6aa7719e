#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <string>
#include <thread>
#include <vector>

#include "VXEvent.h"

namespace {

constexpr uint32_t kLongMs = 10000;

TEST(WaitForMultiple, OneOrAllSignalsWithOrWithoutPumpingBadListsAndAQuitWhilePumping) {
    std::deque<VXEvent> owned;  // a deque never moves what it holds
    std::vector<VXEvent*> events;
    for (int i = 0; i < 64; ++i)
        events.push_back(&owned.emplace_back(nullptr, false, VXSync::eScopeUnnamed));
    uint32_t index = 99;
    const auto wait = [&](uint32_t count, uint32_t timeoutMs, bool pump, bool all = false) {
        return VXSync::waitForMultiple(events.data(), count, timeoutMs, all, pump, index);
    };
    for (bool pump : {false, true}) {
        events[2]->set();
        EXPECT_EQ(wait(3, 0, pump).code(), VXError::eNoError);
        EXPECT_EQ(index, 2u);
        EXPECT_EQ(wait(3, 30, pump).code(), VXError::eTimeout);
        // A partial wait-all takes no signal; once the last is there no input is needed to end it.
        events[0]->set();
        events[1]->set();
        EXPECT_EQ(wait(3, 50, pump, true).code(), VXError::eTimeout) << pump;
        events[2]->set();
        EXPECT_EQ(wait(3, kLongMs, pump, true).code(), VXError::eNoError) << pump;
        EXPECT_EQ(wait(3, 0, pump, true).code(), VXError::eTimeout) << "all taken";
    }

    // A quit posted while pumping cancels the wait and stays queued for the thread's own loop.
    const DWORD waiter = GetCurrentThreadId();
    MSG msg;
    PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);  // gives the thread its queue
    std::thread poster([waiter] {
        Sleep(100);
        PostThreadMessageW(waiter, WM_QUIT, 42, 0);
    });
    EXPECT_EQ(wait(3, kLongMs, true).code(), VXThreadError::eCanceled);
    poster.join();
    ASSERT_TRUE(PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE));
    EXPECT_EQ(msg.message, static_cast<UINT>(WM_QUIT));
    EXPECT_EQ(msg.wParam, 42u);

    events[0]->set();
    EXPECT_EQ(wait(64, 0, false).code(), VXError::ePreconditionFailed);
    EXPECT_EQ(events[0]->isSignaled().code(), VXStatus::eYes);  // no wait took the signal
    events[1] = nullptr;
    EXPECT_EQ(wait(3, 0, false).code(), VXError::eNullPointer);
}

// Code without unwind data that keeps something else than its return address at the top of
// its frame: sub rsp, 0x28; mov rax, marker; mov [rsp], rax; mov rax, callee; call rax;
// add rsp, 0x28; ret.
VXString gWalk;
void walkHere() {
    gWalk = VXSync::stackWalkText();
}

TEST(StackWalk, EndsAtAFrameWithoutUnwindDataInsteadOfListingWhatLiesOnItsStack) {
    constexpr uint64_t kMarker = 0x0BADC0DE5EEDF00Dull;
    uint8_t code[] = {0x48, 0x83, 0xEC, 0x28, 0x48, 0xB8, 0,    0,    0,    0,    0,   0,
                      0,    0,    0x48, 0x89, 0x04, 0x24, 0x48, 0xB8, 0,    0,    0,   0,
                      0,    0,    0,    0,    0xFF, 0xD0, 0x48, 0x83, 0xC4, 0x28, 0xC3};
    const auto callee = reinterpret_cast<uint64_t>(&walkHere);
    std::memcpy(code + 6, &kMarker, 8);
    std::memcpy(code + 20, &callee, 8);
    void* thunk = VirtualAlloc(nullptr, 4096, MEM_COMMIT | MEM_RESERVE, PAGE_EXECUTE_READWRITE);
    ASSERT_NE(thunk, nullptr);
    std::memcpy(thunk, code, sizeof(code));
    FlushInstructionCache(GetCurrentProcess(), thunk, sizeof(code));
    reinterpret_cast<void (*)()>(thunk)();
    VirtualFree(thunk, 0, MEM_RELEASE);
    const std::string walk = gWalk.toUtf8();
    EXPECT_EQ(walk.find("BADC0DE"), std::string::npos) << walk;
    EXPECT_EQ(walk.find("badc0de"), std::string::npos) << walk;
    EXPECT_EQ(std::count(walk.begin(), walk.end(), '\n'), 1)
        << "walkHere, then the thunk, then the end: " << walk;
}

}  // namespace
