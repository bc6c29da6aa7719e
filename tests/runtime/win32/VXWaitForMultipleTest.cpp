#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "TestNames.h"
#include "VXEvent.h"

namespace {

constexpr uint32_t kLongMs = 10000;
constexpr UINT kTestMessage = WM_APP + 7;

std::atomic<int> gDispatched{0};

LRESULT CALLBACK countingProc(HWND hwnd, UINT msg, WPARAM wParam, LPARAM lParam) {
    if (msg == kTestMessage) {
        ++gDispatched;
        return 0;
    }
    return DefWindowProcW(hwnd, msg, wParam, lParam);
}

void drainMessages() {
    MSG msg;
    while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
    }
}

ULONGLONG elapsedSince(ULONGLONG start) {
    return GetTickCount64() - start;
}

class WaitForMultiple : public ::testing::Test {
protected:
    void SetUp() override {
        for (int i = 0; i < 3; ++i)
            _events.push_back(std::make_unique<VXEvent>(nullptr, false, VXSync::eScopeUnnamed));
        for (auto& e : _events)
            _list.push_back(e.get());
        gDispatched = 0;
    }
    void TearDown() override {
        if (_window != nullptr)
            DestroyWindow(_window);
        drainMessages();
    }
    HWND window() {
        WNDCLASSW wc{};
        wc.lpfnWndProc = countingProc;
        wc.hInstance = GetModuleHandleW(nullptr);
        wc.lpszClassName = L"VXWaitForMultipleTest";
        RegisterClassW(&wc);
        _window = CreateWindowExW(0, wc.lpszClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                  wc.hInstance, nullptr);
        return _window;
    }

    std::vector<std::unique_ptr<VXEvent>> _events;
    std::vector<VXEvent*> _list;
    HWND _window = nullptr;
};

TEST_F(WaitForMultiple, ReportsTheIndexOfTheSignalledEvent) {
    uint32_t index = 99;
    _events[2]->set();
    EXPECT_EQ(VXSync::waitForMultiple(_list.data(), 3, 0, false, false, index).code(), VXError::eNoError);
    EXPECT_EQ(index, 2u);
    _events[1]->set();
    EXPECT_EQ(VXSync::waitForMultiple(_list.data(), 3, 0, false, true, index).code(), VXError::eNoError);
    EXPECT_EQ(index, 1u);
    // Nothing left: both forms time out.
    EXPECT_EQ(VXSync::waitForMultiple(_list.data(), 3, 30, false, false, index).code(), VXError::eTimeout);
    EXPECT_EQ(VXSync::waitForMultiple(_list.data(), 3, 30, false, true, index).code(), VXError::eTimeout);
}

TEST_F(WaitForMultiple, WaitAllNeedsEveryEvent) {
    uint32_t index = 99;
    _events[0]->set();
    _events[1]->set();
    EXPECT_EQ(VXSync::waitForMultiple(_list.data(), 3, 30, true, false, index).code(), VXError::eTimeout);
    _events[2]->set();
    EXPECT_EQ(VXSync::waitForMultiple(_list.data(), 3, 0, true, false, index).code(), VXError::eNoError);
    EXPECT_EQ(_events[0]->isSignaled().code(), VXStatus::eNo);  // all three taken
}

TEST_F(WaitForMultiple, BadListsAreRefusedBeforeAnyWait) {
    std::vector<std::unique_ptr<VXEvent>> many;
    std::vector<VXEvent*> list;
    for (int i = 0; i < 64; ++i) {
        many.push_back(std::make_unique<VXEvent>(nullptr, false, VXSync::eScopeUnnamed));
        list.push_back(many.back().get());
    }
    many[0]->set();
    uint32_t index = 99;
    EXPECT_EQ(VXSync::waitForMultiple(list.data(), 64, 0, false, false, index).code(),
              VXError::ePreconditionFailed);
    EXPECT_EQ(VXSync::waitForMultiple(list.data(), 64, 0, false, true, index).code(),
              VXError::ePreconditionFailed);
    // No wait ran: the auto-reset event is still signalled.
    EXPECT_EQ(many[0]->isSignaled().code(), VXStatus::eYes);
    many[0]->set();
    EXPECT_EQ(VXSync::waitForMultiple(list.data(), 63, 0, false, false, index).code(), VXError::eNoError);
    EXPECT_EQ(index, 0u);

    EXPECT_EQ(VXSync::waitForMultiple(nullptr, 1, 0, false, false, index).code(),
              VXError::ePreconditionFailed);
    EXPECT_EQ(VXSync::waitForMultiple(_list.data(), 0, 0, false, false, index).code(),
              VXError::ePreconditionFailed);
    _list[1] = nullptr;
    EXPECT_EQ(VXSync::waitForMultiple(_list.data(), 3, 0, false, false, index).code(), VXError::eNullPointer);
    // An event whose creation failed has no handle to wait on.
    const VXString name = uniqueName(u"taken");
    HANDLE mutex = CreateMutexW(nullptr, FALSE, name.wstr());
    VXEvent failed(name.c_str(), false);
    CloseHandle(mutex);
    ASSERT_EQ(failed.handle(), nullptr);
    VXEvent* withFailed[] = {_events[0].get(), &failed};
    EXPECT_EQ(VXSync::waitForMultiple(withFailed, 2, 0, false, false, index).code(), VXError::eNullPointer);
}

TEST_F(WaitForMultiple, QuitMessagePostedWhilePumpingCancelsTheWait) {
    const DWORD waiter = GetCurrentThreadId();
    MSG msg;
    PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);  // the thread needs a queue before others post to it
    std::thread poster([waiter] {
        Sleep(100);
        PostThreadMessageW(waiter, WM_QUIT, 42, 0);
    });
    uint32_t index = 99;
    const ULONGLONG start = GetTickCount64();
    const VXResult r = VXSync::waitForMultiple(_list.data(), 3, kLongMs, false, true, index);
    poster.join();
    EXPECT_EQ(r.code(), VXThreadError::eCanceled);
    EXPECT_LT(elapsedSince(start), kLongMs / 2);
    // The quit stays for the thread's own message loop.
    ASSERT_TRUE(PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE));
    EXPECT_EQ(msg.message, static_cast<UINT>(WM_QUIT));
    EXPECT_EQ(msg.wParam, static_cast<WPARAM>(42));
}

TEST_F(WaitForMultiple, WithoutPumpingAPendingQuitIsIgnored) {
    PostQuitMessage(0);
    uint32_t index = 99;
    EXPECT_EQ(VXSync::waitForMultiple(_list.data(), 3, 50, false, false, index).code(), VXError::eTimeout);
}

TEST_F(WaitForMultiple, PumpingDispatchesWindowMessagesUntilAnEventIsSet) {
    HWND target = window();
    ASSERT_NE(target, nullptr);
    VXEvent* done = _events[1].get();
    std::thread poster([target, done] {
        for (int i = 0; i < 5; ++i) {
            PostMessageW(target, kTestMessage, 0, 0);
            Sleep(20);
        }
        Sleep(50);
        done->set();
    });
    uint32_t index = 99;
    const VXResult r = VXSync::waitForMultiple(_list.data(), 3, kLongMs, false, true, index);
    poster.join();
    EXPECT_EQ(r.code(), VXError::eNoError);
    EXPECT_EQ(index, 1u);
    EXPECT_EQ(gDispatched.load(), 5);
}

TEST_F(WaitForMultiple, PlainWaitLeavesMessagesAlone) {
    HWND target = window();
    PostMessageW(target, kTestMessage, 0, 0);
    _events[0]->set();
    uint32_t index = 99;
    EXPECT_EQ(VXSync::waitForMultiple(_list.data(), 3, kLongMs, false, false, index).code(),
              VXError::eNoError);
    EXPECT_EQ(gDispatched.load(), 0);
}

TEST_F(WaitForMultiple, SteadyMessageStreamDoesNotStretchTheTimeout) {
    HWND target = window();
    std::atomic<bool> stop{false};
    std::thread poster([target, &stop] {
        while (!stop) {
            PostMessageW(target, kTestMessage, 0, 0);
            Sleep(1);
        }
    });
    uint32_t index = 99;
    const ULONGLONG start = GetTickCount64();
    const VXResult r = VXSync::waitForMultiple(_list.data(), 3, 300, false, true, index);
    const ULONGLONG elapsed = elapsedSince(start);
    stop = true;
    poster.join();
    EXPECT_EQ(r.code(), VXError::eTimeout);
    EXPECT_GE(elapsed, 250u);
    EXPECT_LT(elapsed, 3000u);
    EXPECT_GT(gDispatched.load(), 0);
}

}  // namespace
