#include <gtest/gtest.h>

#include <windows.h>

#include "VXRuntimeSwitches.h"
#include "support/LogCapture.h"

namespace {

const wchar_t* const kValue = reinterpret_cast<const wchar_t*>(VXRuntimeSwitches::kDisableDeadlockDetection);

// Writes "DisableDeadlockDetection" under HKCU; removes it and the keys left empty afterwards.
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
        ASSERT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, key.wstr(), kValue, REG_DWORD, &data, sizeof(data)),
                  ERROR_SUCCESS);
    }
    VXString _common;
    VXString _perExecutable;
};

TEST_F(RegistrySwitches, ExecutableKeyIsReadBeforeTheCommonKeyAndAbsenceChangesNothing) {
    EXPECT_EQ(text(_common), "SOFTWARE\\Ombrel\\VXRT");
    write(_common, 1);
    VXRuntimeSwitches::loadFromRegistry();
    EXPECT_FALSE(VXRuntimeSwitches::mutexDeadlockDetection());
    EXPECT_FALSE(VXRuntimeSwitches::threadJoinDeadlockDetection());
    write(_perExecutable, 0);
    VXRuntimeSwitches::setMutexDeadlockDetection(false);
    VXRuntimeSwitches::loadFromRegistry();
    EXPECT_TRUE(VXRuntimeSwitches::mutexDeadlockDetection());
    RegDeleteKeyValueW(HKEY_CURRENT_USER, _perExecutable.wstr(), kValue);
    VXRuntimeSwitches::loadFromRegistry();
    EXPECT_FALSE(VXRuntimeSwitches::mutexDeadlockDetection());
    RegDeleteKeyValueW(HKEY_CURRENT_USER, _common.wstr(), kValue);
    VXRuntimeSwitches::loadFromRegistry();
    EXPECT_FALSE(VXRuntimeSwitches::mutexDeadlockDetection());
}

}  // namespace
