#include <gtest/gtest.h>

#include <windows.h>

#include <cstdio>
#include <string>
#include <vector>

#include "VXCrashDebug.h"
#include "VXCrashHandler.h"
#include "support/LogCapture.h"

namespace {

constexpr uint32_t kCppException = 0xE06D7363;

// An address as the log prints it.
std::string hex16(const void* p) {
    char text[20];
    std::snprintf(text, sizeof(text), "%016llX",
                  static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(p)));
    return text;
}

EXCEPTION_RECORD record(uint32_t code, const void* address, std::vector<ULONG_PTR> information = {}) {
    EXCEPTION_RECORD r{};
    r.ExceptionCode = code;
    r.ExceptionAddress = const_cast<void*>(address);
    r.NumberParameters = static_cast<DWORD>(information.size());
    for (size_t i = 0; i < information.size(); ++i)
        r.ExceptionInformation[i] = information[i];
    return r;
}

TEST(VXDebugException, CodeAndModuleAndForAccessFaultsTheAccessAndTheAddress) {
    LogCapture log;
    VXDebug::logException(record(0x12345678, reinterpret_cast<const void*>(0x10)));
    EXPECT_EQ(messages(log),
              (std::vector<std::string>{"Exception: 12345678 at 0000000000000010 in (unknown module)",
                                        "Unknown exception"}));
    const std::pair<ULONG_PTR, const char*> kinds[] = {
        {0, "reading"}, {1, "writing"}, {8, "executing"}, {3, "accessing"}};
    for (const auto& [kind, text] : kinds) {
        log.clear();
        VXDebug::logException(record(EXCEPTION_ACCESS_VIOLATION, nullptr, {kind, 0xBADF00D}));
        VXDebug::logException(record(EXCEPTION_IN_PAGE_ERROR, nullptr, {kind, 0x1234, 0xC000009C}));
        const std::vector<std::string> m = messages(log);
        ASSERT_EQ(m.size(), 6u);
        EXPECT_EQ(m[2], std::string("ACCESS_VIOLATION while ") + text + " 000000000BADF00D");
        EXPECT_EQ(m[5], std::string("IN_PAGE_ERROR while ") + text + " 0000000000001234");
    }
}

// Raises code and continues it after the first-chance log (installed first) has seen it;
// returns the address it was raised at.
void* raiseAndContinue(uint32_t code) {
    static void* address = nullptr;
    PVOID resumer = AddVectoredExceptionHandler(0, [](EXCEPTION_POINTERS* exception) -> LONG {
        address = exception->ExceptionRecord->ExceptionAddress;
        return EXCEPTION_CONTINUE_EXECUTION;
    });
    RaiseException(code, 0, 0, nullptr);
    RemoveVectoredExceptionHandler(resumer);
    return address;
}

TEST(VXFirstChanceLog, HardwareExceptionsAreLoggedOthersAreNotAndTheRegistrySwitchTurnsItOff) {
    const wchar_t* const kOwnKey = L"SOFTWARE\\Ombrel\\VXRT\\vx_runtime_win32_tests.exe\\";
    const wchar_t* const kSwitch = L"DisableFirstChanceExTracking";
    VXCrashHandler::install();
    EXPECT_TRUE(VXCrashHandler::isFirstChanceLogOn());
    LogCapture log;
    const std::string first = hex16(raiseAndContinue(EXCEPTION_INT_DIVIDE_BY_ZERO));
    raiseAndContinue(kCppException);
    raiseAndContinue(0xE000000A);
    EXPECT_EQ(messages(log),
              (std::vector<std::string>{"First chance EXCEPTION_INT_DIVIDE_BY_ZERO at " + first}));
    VXCrashHandler::uninstall();

    const DWORD on = 1;
    EXPECT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, kOwnKey, kSwitch, REG_DWORD, &on, sizeof(on)),
              ERROR_SUCCESS);
    VXCrashHandler::install();
    EXPECT_FALSE(VXCrashHandler::isFirstChanceLogOn());
    log.clear();
    raiseAndContinue(EXCEPTION_INT_DIVIDE_BY_ZERO);
    EXPECT_TRUE(messages(log).empty());
    VXCrashHandler::uninstall();
    RegDeleteKeyValueW(HKEY_CURRENT_USER, kOwnKey, kSwitch);
}

}  // namespace
