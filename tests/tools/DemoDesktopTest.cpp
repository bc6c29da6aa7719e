// The demo desktop as another process, captured through the stand-in.
#include "../../tools/demo-desktop/DemoLayout.h"
#include "MagnifierFixture.h"

#include <memory>
#include <string>

#include "support/win32/ChildProcess.h"

namespace {

constexpr wchar_t kDemoExecutable[] = L"vistrel-demo-desktop.exe";
constexpr DWORD kReadyWaitMillis = 30000;
constexpr DWORD kExitWaitMillis = 15000;
constexpr DWORD kPollMillis = 50;
constexpr RECT kScreen = {0, 0, 1920, 1080};
// Inside both Inbox and the secret panel, away from either centred label.
constexpr POINT kUnderSecret = {440, 460};
// Inside Calendar only.
constexpr POINT kCalendarOnly = {1400, 200};

const DemoWindow& demoWindow(const wchar_t* title) {
    for (const DemoWindow& window : kDemoWindows) {
        if (std::wstring(window.title) == title) {
            return window;
        }
    }
    return kDemoWindows[0];
}

class DemoDesktop : public MagnifierTest {
protected:
    void SetUp() override {
        MagnifierTest::SetUp();
        const std::wstring tag = std::to_wstring(GetCurrentProcessId());
        readyFile_ = ChildProcess::besideTest(L"demo-ready-" + tag + L".txt");
        quitEventName_ = L"VistrelDemoQuit-" + tag;
        DeleteFileW(readyFile_.c_str());
        quitEvent_ = CreateEventW(nullptr, TRUE, FALSE, quitEventName_.c_str());
        ASSERT_NE(quitEvent_, nullptr);
    }
    void TearDown() override {
        SetEvent(quitEvent_);
        if (demo_)
            demo_->wait(kExitWaitMillis);
        demo_.reset();
        CloseHandle(quitEvent_);
        DeleteFileW(readyFile_.c_str());
        MagnifierTest::TearDown();
    }
    // Starts the demo and waits until it has written its ready file.
    bool startReady(const std::wstring& extra) {
        demo_ = std::make_unique<ChildProcess>(
            kDemoExecutable, L"/readyfile \"" + readyFile_ + L"\" /quitevent " + quitEventName_ + extra);
        for (DWORD waited = 0; demo_->started() && waited < kReadyWaitMillis; waited += kPollMillis) {
            if (GetFileAttributesW(readyFile_.c_str()) != INVALID_FILE_ATTRIBUTES)
                return true;
            if (demo_->wait(kPollMillis) != ChildProcess::kNoExitCode)
                return false;
            pumpMessages();
        }
        return false;
    }

    std::wstring readyFile_;
    std::wstring quitEventName_;
    HANDLE quitEvent_ = nullptr;
    std::unique_ptr<ChildProcess> demo_;
};

TEST_F(DemoDesktop, WindowsOfAnotherProcessAreCapturedAndTheSecretPanelCanBeLeftOut) {
    ASSERT_TRUE(startReady(L" /timeout 60"));
    HWND secret = FindWindowW(nullptr, kSecretPanelTitle);
    ASSERT_NE(secret, nullptr);
    ASSERT_NE(createControl(kScreen), nullptr);

    ASSERT_TRUE(render(kScreen));
    EXPECT_EQ(image().rgbAt(kUnderSecret.x, kUnderSecret.y), rgb(demoWindow(kSecretPanelTitle).color));
    EXPECT_EQ(image().rgbAt(kCalendarOnly.x, kCalendarOnly.y), rgb(demoWindow(L"Calendar").color));

    HWND list[] = {secret};
    ASSERT_TRUE(mag.setWindowFilterList(control_, 0, 1, list));
    ASSERT_TRUE(render(kScreen));
    EXPECT_EQ(image().rgbAt(kUnderSecret.x, kUnderSecret.y), rgb(demoWindow(L"Inbox").color));
    SetEvent(quitEvent_);
    EXPECT_EQ(demo_->wait(kExitWaitMillis), 0u) << "the quit event ends the demo";
}

TEST_F(DemoDesktop, TimeoutEndsTheDemo) {
    ASSERT_TRUE(startReady(L" /timeout 1"));
    EXPECT_EQ(demo_->wait(kExitWaitMillis), 0u);
}

}  // namespace
