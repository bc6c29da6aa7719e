#include <gtest/gtest.h>

#include <windows.h>

#include <string>
#include <vector>

#include "LogText.h"
#include "VXCrashDebug.h"
#include "VXCrashHandler.h"

namespace {

constexpr uint32_t kCppException = 0xE06D7363;

EXCEPTION_RECORD record(uint32_t code, const void* address, std::vector<ULONG_PTR> information = {}) {
    EXCEPTION_RECORD r{};
    r.ExceptionCode = code;
    r.ExceptionAddress = const_cast<void*>(address);
    r.NumberParameters = static_cast<DWORD>(information.size());
    for (size_t i = 0; i < information.size(); ++i)
        r.ExceptionInformation[i] = information[i];
    return r;
}

TEST(VXDebugException, UnknownCodeAndAddressAreNamedAsSuch) {
    LogCapture log;
    VXDebug::logException(record(0x12345678, reinterpret_cast<const void*>(0x10)));
    EXPECT_EQ(messages(log),
              (std::vector<std::string>{"Exception: 12345678 at 0000000000000010 in (unknown module)",
                                        "Unknown exception"}));
}

TEST(VXDebugException, AccessViolationAndInPageTellTheAccessAndTheAddress) {
    const std::pair<ULONG_PTR, const char*> kinds[] = {
        {0, "reading"}, {1, "writing"}, {8, "executing"}, {3, "accessing"}};
    for (const auto& [kind, text] : kinds) {
        LogCapture log;
        VXDebug::logException(record(EXCEPTION_ACCESS_VIOLATION, nullptr, {kind, 0xBADF00D}));
        VXDebug::logException(record(EXCEPTION_IN_PAGE_ERROR, nullptr, {kind, 0x1234, 0xC000009C}));
        const std::vector<std::string> m = messages(log);
        ASSERT_EQ(m.size(), 6u);
        EXPECT_EQ(m[2], std::string("ACCESS_VIOLATION while ") + text + " 000000000BADF00D");
        EXPECT_EQ(m[5], std::string("IN_PAGE_ERROR while ") + text + " 0000000000001234");
    }
}

// Continues the test's own raised exceptions after the first-chance log has seen them.
class FirstChanceLog : public ::testing::Test {
protected:
    static LONG CALLBACK resume(EXCEPTION_POINTERS* exception) {
        if (!sRaising)
            return EXCEPTION_CONTINUE_SEARCH;
        sAddress = exception->ExceptionRecord->ExceptionAddress;
        return EXCEPTION_CONTINUE_EXECUTION;
    }
    void SetUp() override { _resumer = AddVectoredExceptionHandler(0, resume); }
    void TearDown() override {
        VXCrashHandler::uninstall();
        RemoveVectoredExceptionHandler(_resumer);
        RegDeleteKeyValueW(HKEY_CURRENT_USER, kOwnKey, kSwitch);
    }
    static void raise(uint32_t code) {
        sRaising = true;
        RaiseException(code, 0, 0, nullptr);
        sRaising = false;
    }

    static constexpr const wchar_t* kOwnKey = L"SOFTWARE\\Ombrel\\VXRT\\vx_runtime_win32_tests.exe\\";
    static constexpr const wchar_t* kSwitch = L"DisableFirstChanceExTracking";
    static inline bool sRaising = false;
    static inline void* sAddress = nullptr;
    void* _resumer = nullptr;
};

TEST_F(FirstChanceLog, HardwareExceptionsAreLoggedOthersAreNot) {
    VXCrashHandler::install();
    ASSERT_TRUE(VXCrashHandler::isFirstChanceLogOn());
    LogCapture log;
    raise(EXCEPTION_INT_DIVIDE_BY_ZERO);
    const std::string first = hex16(sAddress);
    raise(kCppException);
    raise(0xE000000A);
    EXPECT_EQ(messages(log),
              (std::vector<std::string>{"First chance EXCEPTION_INT_DIVIDE_BY_ZERO at " + first}));
}

TEST_F(FirstChanceLog, RegistrySwitchTurnsItOff) {
    const DWORD on = 1;
    ASSERT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, kOwnKey, kSwitch, REG_DWORD, &on, sizeof(on)),
              ERROR_SUCCESS);
    VXCrashHandler::install();
    EXPECT_FALSE(VXCrashHandler::isFirstChanceLogOn());
    LogCapture log;
    raise(EXCEPTION_INT_DIVIDE_BY_ZERO);
    EXPECT_TRUE(messages(log).empty());
}

}  // namespace
