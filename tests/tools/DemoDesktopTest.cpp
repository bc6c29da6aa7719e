// The demo desktop as another process, captured through the stand-in: its windows show at
// their places, the secret panel can be left out, and the demo ends when told to.
#include "../../tools/demo-desktop/DemoLayout.h"
#include "MagnifierFixture.h"

#include <chrono>
#include <cstdio>
#include <string>

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

std::wstring testFolder() {
    wchar_t path[MAX_PATH];
    std::wstring folder(path, GetModuleFileNameW(nullptr, path, MAX_PATH));
    return folder.substr(0, folder.find_last_of(L"\\/") + 1);
}

bool fileExists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

class DemoDesktop : public MagnifierTest {
protected:
    void SetUp() override {
        MagnifierTest::SetUp();
        const std::wstring tag = std::to_wstring(GetCurrentProcessId());
        readyFile_ = testFolder() + L"demo-ready-" + tag + L".txt";
        quitEventName_ = L"VistrelDemoQuit-" + tag;
        DeleteFileW(readyFile_.c_str());
        quitEvent_ = CreateEventW(nullptr, TRUE, FALSE, quitEventName_.c_str());
        ASSERT_NE(quitEvent_, nullptr);
    }

    void TearDown() override {
        if (process_.hProcess != nullptr) {
            SetEvent(quitEvent_);
            if (WaitForSingleObject(process_.hProcess, kExitWaitMillis) != WAIT_OBJECT_0) {
                TerminateProcess(process_.hProcess, 1);
            }
            CloseHandle(process_.hProcess);
            CloseHandle(process_.hThread);
        }
        CloseHandle(quitEvent_);
        DeleteFileW(readyFile_.c_str());
        MagnifierTest::TearDown();
    }

    bool start(const std::wstring& extra) {
        std::wstring command = L"\"" + testFolder() + kDemoExecutable + L"\" /readyfile \"" + readyFile_ +
                               L"\" /quitevent " + quitEventName_ + extra;
        STARTUPINFOW startup = {};
        startup.cb = sizeof(startup);
        return CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                              &process_) != FALSE;
    }

    bool waitReady() {
        for (DWORD waited = 0; waited < kReadyWaitMillis; waited += kPollMillis) {
            if (fileExists(readyFile_)) {
                return true;
            }
            if (WaitForSingleObject(process_.hProcess, kPollMillis) == WAIT_OBJECT_0) {
                return false;
            }
            pumpMessages();
        }
        return false;
    }

    DWORD waitExit() {
        DWORD code = STILL_ACTIVE;
        if (WaitForSingleObject(process_.hProcess, kExitWaitMillis) == WAIT_OBJECT_0) {
            GetExitCodeProcess(process_.hProcess, &code);
        }
        return code;
    }

    std::wstring readyFile_;
    std::wstring quitEventName_;
    HANDLE quitEvent_ = nullptr;
    PROCESS_INFORMATION process_ = {};
};

TEST_F(DemoDesktop, WindowsOfAnotherProcessAreCapturedAndTheSecretPanelCanBeLeftOut) {
    ASSERT_TRUE(start(L" /timeout 60"));
    ASSERT_TRUE(waitReady());
    HWND secret = FindWindowW(nullptr, kSecretPanelTitle);
    ASSERT_NE(secret, nullptr);
    ASSERT_NE(createControl(kScreen), nullptr);

    ASSERT_TRUE(render(kScreen));
    EXPECT_EQ(image().rgbAt(kUnderSecret.x, kUnderSecret.y), rgb(demoWindow(kSecretPanelTitle).color));
    EXPECT_EQ(image().rgbAt(kCalendarOnly.x, kCalendarOnly.y), rgb(demoWindow(L"Calendar").color));

    HWND list[] = {secret};
    ASSERT_TRUE(mag.setWindowFilterList(control_, 0, 1, list));
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(render(kScreen));
    std::printf("MagSetWindowSource 1920x1080, demo desktop windows of another process: %.1f ms\n",
                std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    EXPECT_EQ(image().rgbAt(kUnderSecret.x, kUnderSecret.y), rgb(demoWindow(L"Inbox").color));
}

TEST_F(DemoDesktop, QuitEventEndsTheDemo) {
    ASSERT_TRUE(start(L""));
    ASSERT_TRUE(waitReady());
    SetEvent(quitEvent_);
    EXPECT_EQ(waitExit(), 0u);
}

TEST_F(DemoDesktop, TimeoutEndsTheDemo) {
    ASSERT_TRUE(start(L" /timeout 1"));
    ASSERT_TRUE(waitReady());
    EXPECT_EQ(waitExit(), 0u);
}

TEST_F(DemoDesktop, ClosingAWindowEndsTheDemo) {
    ASSERT_TRUE(start(L""));
    ASSERT_TRUE(waitReady());
    HWND notes = FindWindowW(nullptr, L"Notes");
    ASSERT_NE(notes, nullptr);
    PostMessageW(notes, WM_CLOSE, 0, 0);
    EXPECT_EQ(waitExit(), 0u);
}

TEST_F(DemoDesktop, UnknownSwitchIsRefused) {
    ASSERT_TRUE(start(L" /bogus 1"));
    EXPECT_EQ(waitExit(), 2u);
}

}  // namespace
