#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "TestNames.h"
#include "VXMutex.h"
#include "VXRuntimeSwitches.h"
#include "support/LogCapture.h"

namespace {

constexpr uint32_t kLoweredTimeoutMs = 100;

// Writes switch values under HKCU and takes away exactly what it added: values always, keys
// only when this fixture created them.
class RegistrySwitches : public ::testing::Test {
protected:
    void SetUp() override {
        _common = VXRuntimeSwitches::toRegistryPath(VXRuntimeSwitches::kKeyPath);
        _perExecutable = _common + VXString(u"\\") + VXRuntimeSwitches::executableName();
        VXRuntimeSwitches::resetToDefaults();
    }
    void TearDown() override {
        for (const Written& w : _written)
            RegDeleteKeyValueW(HKEY_CURRENT_USER, w.key.wstr(), w.value.wstr());
        for (auto it = _createdKeys.rbegin(); it != _createdKeys.rend(); ++it) {
            RegDeleteKeyW(HKEY_CURRENT_USER, it->wstr());
        }
        VXRuntimeSwitches::resetToDefaults();
    }
    void write(const VXString& key, const char16_t* value, DWORD data) {
        write(key, value, REG_DWORD, &data, sizeof(data));
    }
    void write(const VXString& key, const char16_t* value, DWORD type, const void* data, DWORD size) {
        // Parents first, so that each key this fixture creates is known and removed.
        const std::u16string_view path = key.view();
        for (size_t pos = path.find(u'\\');; pos = path.find(u'\\', pos + 1)) {
            const VXString part(path.substr(0, pos == std::u16string_view::npos ? path.size() : pos));
            HKEY handle = nullptr;
            DWORD disposition = 0;
            ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, part.wstr(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                      &handle, &disposition),
                      ERROR_SUCCESS);
            if (disposition == REG_CREATED_NEW_KEY)
                _createdKeys.push_back(part);
            RegCloseKey(handle);
            if (pos == std::u16string_view::npos)
                break;
        }
        ASSERT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, key.wstr(), reinterpret_cast<const wchar_t*>(value),
                                  type, data, size),
                  ERROR_SUCCESS);
        _written.push_back({key, VXString(value)});
    }
    void remove(const VXString& key, const char16_t* value) {
        RegDeleteKeyValueW(HKEY_CURRENT_USER, key.wstr(), reinterpret_cast<const wchar_t*>(value));
    }

    struct Written {
        VXString key;
        VXString value;
    };
    VXString _common;
    VXString _perExecutable;
    std::vector<Written> _written;
    std::vector<VXString> _createdKeys;
};

TEST_F(RegistrySwitches, SlashPathMapsToRegistryKeysBelowSoftware) {
    EXPECT_EQ(utf8(_common), "SOFTWARE\\Ombrel\\VXRT");
    EXPECT_TRUE(VXRuntimeSwitches::executableName().equalsNoCase(u"vx_runtime_win32_tests.exe"))
        << utf8(VXRuntimeSwitches::executableName());
    EXPECT_EQ(utf8(VXRuntimeSwitches::toRegistryPath(u"A/B//")), "A\\B");
}

TEST_F(RegistrySwitches, ValueOneSwitchesDeadlockDetectionOff) {
    write(_common, VXRuntimeSwitches::kDisableDeadlockDetection, 1);
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

TEST_F(RegistrySwitches, ExecutableKeyIsReadBeforeTheCommonKey) {
    write(_common, VXRuntimeSwitches::kDisableDeadlockDetection, 1);
    write(_perExecutable, VXRuntimeSwitches::kDisableDeadlockDetection, 0);
    VXRuntimeSwitches::setMutexDeadlockDetection(false);
    VXRuntimeSwitches::loadFromRegistry();
    EXPECT_TRUE(VXRuntimeSwitches::mutexDeadlockDetection());
    EXPECT_TRUE(VXRuntimeSwitches::threadJoinDeadlockDetection());
    uint32_t value = 7;
    ASSERT_TRUE(
        VXRuntimeSwitches::readDword(VXRuntimeSwitches::kDisableDeadlockDetection, value).isSuccess());
    EXPECT_EQ(value, 0u);

    remove(_perExecutable, VXRuntimeSwitches::kDisableDeadlockDetection);
    VXRuntimeSwitches::loadFromRegistry();
    EXPECT_FALSE(VXRuntimeSwitches::mutexDeadlockDetection());
}

TEST_F(RegistrySwitches, MissingOrNonDwordValueLeavesTheSwitches) {
    const wchar_t text[] = L"1";
    write(_common, u"VXTestStringSwitch", REG_SZ, text, sizeof(text));
    uint32_t value = 7;
    EXPECT_EQ(VXRuntimeSwitches::readDword(u"VXTestStringSwitch", value).code(), VXError::eNotFound);
    EXPECT_EQ(VXRuntimeSwitches::readDword(u"VXTestNoSuchSwitch", value).code(), VXError::eNotFound);
    EXPECT_EQ(value, 7u);
    VXRuntimeSwitches::setThreadJoinDeadlockDetection(false);
    VXRuntimeSwitches::loadFromRegistry();  // "DisableDeadlockDetection" is absent here
    EXPECT_FALSE(VXRuntimeSwitches::threadJoinDeadlockDetection());
    EXPECT_TRUE(VXRuntimeSwitches::mutexDeadlockDetection());
    EXPECT_EQ(VXRuntimeSwitches::deadlockTimeoutMs(), VXRuntimeSwitches::kDefaultDeadlockTimeoutMs);
}

}  // namespace
