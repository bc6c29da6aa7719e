#include <gtest/gtest.h>

#include <thread>

#include "TestNames.h"
#include "VXMutex.h"
#include "VXRuntimeSwitches.h"
#include "support/LogCapture.h"

namespace {

constexpr uint32_t kLoweredTimeoutMs = 100;
const wchar_t* const kValue = reinterpret_cast<const wchar_t*>(VXRuntimeSwitches::kDisableDeadlockDetection);

// Writes "DisableDeadlockDetection" under HKCU and removes it again; the keys go too when
// they are left empty.
class RegistrySwitches : public ::testing::Test {
protected:
    void SetUp() override {
        _common = VXRuntimeSwitches::toRegistryPath(VXRuntimeSwitches::kKeyPath);
        _perExecutable = _common + VXString(u"\\") + VXRuntimeSwitches::executableName();
        VXRuntimeSwitches::resetToDefaults();
    }
    void TearDown() override {
        for (const VXString* key : {&_perExecutable, &_common}) {
            RegDeleteKeyValueW(HKEY_CURRENT_USER, key->wstr(), kValue);
            RegDeleteKeyW(HKEY_CURRENT_USER, key->wstr());  // refused while not empty
        }
        RegDeleteKeyW(HKEY_CURRENT_USER, L"SOFTWARE\\Ombrel");
        VXRuntimeSwitches::resetToDefaults();
    }
    void write(const VXString& key, DWORD data) {
        HKEY handle = nullptr;
        ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, key.wstr(), 0, nullptr, 0, KEY_SET_VALUE, nullptr,
                                  &handle, nullptr),
                  ERROR_SUCCESS);
        EXPECT_EQ(
            RegSetValueExW(handle, kValue, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&data), sizeof(data)),
            ERROR_SUCCESS);
        RegCloseKey(handle);
    }
    VXString _common;
    VXString _perExecutable;
};

TEST_F(RegistrySwitches, SlashPathBecomesAKeyPathBelowSoftware) {
    EXPECT_EQ(utf8(_common), "SOFTWARE\\Ombrel\\VXRT");
    EXPECT_TRUE(VXRuntimeSwitches::executableName().equalsNoCase(u"vx_runtime_win32_tests.exe"));
}

TEST_F(RegistrySwitches, ValueOneSwitchesBothDetectionsOff) {
    write(_common, 1);
    VXRuntimeSwitches::loadFromRegistry();
    EXPECT_FALSE(VXRuntimeSwitches::mutexDeadlockDetection());
    EXPECT_FALSE(VXRuntimeSwitches::threadJoinDeadlockDetection());
    // A lock held well past the timeout is then waited for without a report.
    VXRuntimeSwitches::setDeadlockTimeoutMs(kLoweredTimeoutMs);
    VXMutex mutex(uniqueName(u"registry_off").c_str());
    LogCapture log;
    mutex.lock();
    std::thread waiter([&mutex] {
        mutex.lock();
        mutex.unlock();
    });
    Sleep(kLoweredTimeoutMs * 4);
    mutex.unlock();
    waiter.join();
    EXPECT_FALSE(log.contains("Deadlock detected"));
}

TEST_F(RegistrySwitches, ExecutableKeyIsReadBeforeTheCommonKeyAndAbsenceChangesNothing) {
    write(_common, 1);
    write(_perExecutable, 0);
    VXRuntimeSwitches::setMutexDeadlockDetection(false);
    VXRuntimeSwitches::loadFromRegistry();
    EXPECT_TRUE(VXRuntimeSwitches::mutexDeadlockDetection());
    RegDeleteKeyValueW(HKEY_CURRENT_USER, _perExecutable.wstr(), kValue);
    VXRuntimeSwitches::loadFromRegistry();
    EXPECT_FALSE(VXRuntimeSwitches::mutexDeadlockDetection());
    RegDeleteKeyValueW(HKEY_CURRENT_USER, _common.wstr(), kValue);
    uint32_t value = 7;
    EXPECT_EQ(VXRuntimeSwitches::readDword(VXRuntimeSwitches::kDisableDeadlockDetection, value).code(),
              VXError::eNotFound);
    EXPECT_EQ(value, 7u);
    VXRuntimeSwitches::loadFromRegistry();
    EXPECT_FALSE(VXRuntimeSwitches::mutexDeadlockDetection());
}

}  // namespace
