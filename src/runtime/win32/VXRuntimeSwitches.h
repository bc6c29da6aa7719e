// Process-wide runtime switches: deadlock detection of mutex locks and thread joins, the
// deadlock timeout, and the registry reader behind them. Defaults hold until the registry is
// read (on first use, or explicitly through loadFromRegistry); tests set the switches directly.
//
// Registry layout: the logical path "SOFTWARE/Ombrel/VXRT/" is a key path whose "/" separators
// become the registry's "\", so the switches live under
//   HKCU\SOFTWARE\Ombrel\VXRT\<executable file name>   (looked up first)
//   HKCU\SOFTWARE\Ombrel\VXRT
//   HKLM\SOFTWARE\Ombrel\VXRT\<executable file name>
//   HKLM\SOFTWARE\Ombrel\VXRT                          (looked up last)
// and the first successful read of a DWORD value wins.
#pragma once

#include <cstdint>

#include "VXResult.h"
#include "VXString.h"

class VXRuntimeSwitches {
public:
    static constexpr const char16_t* kKeyPath = u"SOFTWARE/Ombrel/VXRT/";
    static constexpr const char16_t* kDisableDeadlockDetection = u"DisableDeadlockDetection";
    static constexpr uint32_t kDefaultDeadlockTimeoutMs = 120000;

    static bool mutexDeadlockDetection();
    static void setMutexDeadlockDetection(bool enabled);
    static bool threadJoinDeadlockDetection();
    static void setThreadJoinDeadlockDetection(bool enabled);
    // The first wait of a lock or an infinite join before a deadlock is reported.
    static uint32_t deadlockTimeoutMs();
    static void setDeadlockTimeoutMs(uint32_t timeoutMs);
    // Back to the defaults (both detections on, 120,000 ms) without reading the registry.
    static void resetToDefaults();

    // Reads the registry unless that happened already; true once it has. A crash handler
    // calls it when installed, so that no registry read waits for it inside a crash.
    static void ensureLoaded();
    static bool isLoaded();

    // Reads "DisableDeadlockDetection": a non-zero value switches both detections off, zero
    // switches them on, a missing value leaves them as they are.
    static void loadFromRegistry();

    // The switch reader: 2000 with the value from the first of the four keys that holds a
    // DWORD of that name, 2008 when none does.
    static VXResult readDword(const char16_t* valueName, uint32_t& value);
    // The registry form of a "/"-separated key path: "\" separators, no trailing separator.
    static VXString toRegistryPath(const VXString& path);
    // The running executable's file name, the part of its module path after the last "\".
    static VXString executableName();
};
