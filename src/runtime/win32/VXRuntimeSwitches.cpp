#include "VXRuntimeSwitches.h"

#include <windows.h>

#include <atomic>
#include <mutex>

#include "VXChecks.h"

namespace {

constexpr DWORD kModulePathChars = 32768;

std::atomic<bool> gMutexDetection{true};
std::atomic<bool> gJoinDetection{true};
std::atomic<uint32_t> gDeadlockTimeoutMs{VXRuntimeSwitches::kDefaultDeadlockTimeoutMs};
std::once_flag gLoadOnce;
std::atomic<bool> gLoaded{false};

bool readFrom(HKEY root, const VXString& keyPath, const char16_t* valueName, uint32_t& value) {
    DWORD data = 0;
    DWORD size = sizeof(data);
    const LSTATUS status = RegGetValueW(root, keyPath.wstr(), reinterpret_cast<const wchar_t*>(valueName),
                                        RRF_RT_REG_DWORD, nullptr, &data, &size);
    if (status != ERROR_SUCCESS)
        return false;
    value = data;
    return true;
}

}  // namespace

// The registry is read once, before the first switch is used or set, so that a switch set
// by a test is never overwritten by a late read.
void VXRuntimeSwitches::ensureLoaded() {
    std::call_once(gLoadOnce, [] {
        loadFromRegistry();
        gLoaded = true;
    });
}

bool VXRuntimeSwitches::isLoaded() {
    return gLoaded.load();
}

bool VXRuntimeSwitches::mutexDeadlockDetection() {
    ensureLoaded();
    return gMutexDetection.load();
}

void VXRuntimeSwitches::setMutexDeadlockDetection(bool enabled) {
    ensureLoaded();
    gMutexDetection.store(enabled);
}

bool VXRuntimeSwitches::threadJoinDeadlockDetection() {
    ensureLoaded();
    return gJoinDetection.load();
}

void VXRuntimeSwitches::setThreadJoinDeadlockDetection(bool enabled) {
    ensureLoaded();
    gJoinDetection.store(enabled);
}

uint32_t VXRuntimeSwitches::deadlockTimeoutMs() {
    ensureLoaded();
    return gDeadlockTimeoutMs.load();
}

void VXRuntimeSwitches::setDeadlockTimeoutMs(uint32_t timeoutMs) {
    ensureLoaded();
    gDeadlockTimeoutMs.store(timeoutMs);
}

void VXRuntimeSwitches::resetToDefaults() {
    ensureLoaded();
    gMutexDetection.store(true);
    gJoinDetection.store(true);
    gDeadlockTimeoutMs.store(kDefaultDeadlockTimeoutMs);
}

void VXRuntimeSwitches::loadFromRegistry() {
    uint32_t disable = 0;
    if (readDword(kDisableDeadlockDetection, disable).isError())
        return;
    gMutexDetection.store(disable == 0);
    gJoinDetection.store(disable == 0);
}

VXResult VXRuntimeSwitches::readDword(const char16_t* valueName, uint32_t& value) {
    VX_CHECK_PARAM(valueName);
    const VXString common = toRegistryPath(kKeyPath);
    VXString perExecutable = common;
    const VXString exe = executableName();
    const bool havePerExecutable = !exe.isEmpty() && perExecutable.append(u"\\") && perExecutable.append(exe);
    for (HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
        if (havePerExecutable && readFrom(root, perExecutable, valueName, value))
            return VXError::eNoError;
        if (readFrom(root, common, valueName, value))
            return VXError::eNoError;
    }
    return VXError::eNotFound;
}

VXString VXRuntimeSwitches::toRegistryPath(const VXString& path) {
    VXString out;
    for (uint32_t i = 0; i < path.length(); ++i)
        out.append(path[i] == u'/' ? u'\\' : path[i]);
    while (!out.isEmpty() && out[out.length() - 1] == u'\\')
        out.assign(out.c_str(), static_cast<int32_t>(out.length()) - 1);
    return out;
}

VXString VXRuntimeSwitches::executableName() {
    VXString path;
    char16_t* buffer = path.getWritableBuffer(kModulePathChars - 1);
    if (buffer == nullptr)
        return VXString();
    const DWORD n = GetModuleFileNameW(nullptr, reinterpret_cast<wchar_t*>(buffer), kModulePathChars - 1);
    path.releaseWritableBuffer(n < kModulePathChars - 1 ? static_cast<int32_t>(n) : 0);
    const std::u16string_view view = path.view();
    const size_t slash = view.find_last_of(u'\\');
    return VXString(slash == std::u16string_view::npos ? view : view.substr(slash + 1));
}
