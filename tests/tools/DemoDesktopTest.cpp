// The demo desktop as another process: captured through the stand-in, and each way it ends.
#include "../../tools/demo-desktop/DemoLayout.h"

#include <memory>
#include <string>

#include "StandInFixture.h"
#include "support/win32/ChildProcess.h"

namespace {

constexpr wchar_t kDemoExecutable[] = L"vistrel-demo-desktop.exe";
constexpr DWORD kReadyWaitMillis = 30000;
constexpr DWORD kExitWaitMillis = 15000;
constexpr DWORD kPollMillis = 50;
// Inside both Inbox and the secret panel, away from either centred label.
constexpr POINT kUnderSecret = {440, 460};
// Inside Calendar only.
constexpr POINT kCalendarOnly = {1400, 200};

COLORREF colorOf(const wchar_t* title) {
    for (const DemoWindow& window : kDemoWindows) {
        if (std::wstring(window.title) == title)
            return window.color;
    }
    return CLR_INVALID;
}

class DemoDesktop : public StandInTest {
protected:
    void SetUp() override {
        StandInTest::SetUp();
        const std::wstring tag = std::to_wstring(GetCurrentProcessId());
        _readyFile = ChildProcess::besideTest(L"demo-ready-" + tag + L".txt");
        _quitEventName = L"VistrelDemoQuit-" + tag;
        _quitEvent = CreateEventW(nullptr, TRUE, FALSE, _quitEventName.c_str());
        ASSERT_NE(_quitEvent, nullptr);
    }
    void TearDown() override {
        SetEvent(_quitEvent);
        if (demo)
            demo->wait(kExitWaitMillis);
        demo.reset();
        CloseHandle(_quitEvent);
        DeleteFileW(_readyFile.c_str());
        StandInTest::TearDown();
    }
    // Starts the demo and waits until it has written its ready file.
    bool startReady(unsigned timeoutSeconds) {
        DeleteFileW(_readyFile.c_str());
        ResetEvent(_quitEvent);
        demo = std::make_unique<ChildProcess>(
            kDemoExecutable, L"/readyfile \"" + _readyFile + L"\" /quitevent " + _quitEventName +
                                 L" /timeout " + std::to_wstring(timeoutSeconds));
        for (DWORD waited = 0; demo->started() && waited < kReadyWaitMillis; waited += kPollMillis) {
            if (GetFileAttributesW(_readyFile.c_str()) != INVALID_FILE_ATTRIBUTES)
                return true;
            if (demo->wait(kPollMillis) != ChildProcess::kNoExitCode)
                return false;
        }
        return false;
    }

    std::unique_ptr<ChildProcess> demo;
    HANDLE _quitEvent = nullptr;

private:
    std::wstring _readyFile;
    std::wstring _quitEventName;
};

}  // namespace

TEST_F(DemoDesktop, WindowsOfAnotherProcessAreCapturedAndTheSecretPanelCanBeLeftOut) {
    ASSERT_TRUE(startReady(60));
    HWND secret = FindWindowW(nullptr, kSecretPanelTitle);
    ASSERT_NE(secret, nullptr);
    startReader(VXRect(0, 0, 1920, 1080));

    ASSERT_EQ(reader->readScreen().code(), VXError::eNoError);
    EXPECT_EQ(rgbAt(kUnderSecret.x, kUnderSecret.y), rgb(colorOf(kSecretPanelTitle)));
    EXPECT_EQ(rgbAt(kCalendarOnly.x, kCalendarOnly.y), rgb(colorOf(L"Calendar")));

    ASSERT_EQ(reader->setExcludedWindows({secret}).code(), VXError::eNoError);
    ASSERT_EQ(reader->readScreen().code(), VXError::eNoError);
    EXPECT_EQ(rgbAt(kUnderSecret.x, kUnderSecret.y), rgb(colorOf(L"Inbox")));
}

TEST_F(DemoDesktop, QuitEventClosingAWindowAndTheTimeLimitEachEndIt) {
    ASSERT_TRUE(startReady(60));
    SetEvent(_quitEvent);
    EXPECT_EQ(demo->wait(kExitWaitMillis), 0u) << "quit event";

    ASSERT_TRUE(startReady(60));
    PostMessageW(FindWindowW(nullptr, L"Notes"), WM_CLOSE, 0, 0);
    EXPECT_EQ(demo->wait(kExitWaitMillis), 0u) << "a window closed";

    ASSERT_TRUE(startReady(1));
    EXPECT_EQ(demo->wait(kExitWaitMillis), 0u) << "time limit";
}
