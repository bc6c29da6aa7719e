// Run-time binding of the Windows Magnification API. The program does not link the library:
// it is loaded by plain file name (the system's search order applies) once per process and
// stays loaded until the process ends. initMagnification / uninitMagnification pair the
// library's own initialisation with the StretchRect interception around the request loop.
#pragma once

#include <windows.h>

#include "VXResult.h"

class MagnificationDll {
public:
    using MagInitializeFn = BOOL(WINAPI*)();
    using MagUninitializeFn = BOOL(WINAPI*)();
    using MagSetWindowSourceFn = BOOL(WINAPI*)(HWND control, RECT source);
    using MagSetWindowFilterListFn = BOOL(WINAPI*)(HWND control, DWORD filterMode, int count, HWND* list);
    using MagSetImageScalingCallbackFn = BOOL(WINAPI*)(HWND control, void* callback);

    static constexpr wchar_t kFileName[] = L"Magnification.dll";

    // Loads `fileName` and resolves the entry points; a missing entry point stays null.
    explicit MagnificationDll(const wchar_t* fileName = kFileName);
    MagnificationDll(const MagnificationDll&) = delete;
    MagnificationDll& operator=(const MagnificationDll&) = delete;
    virtual ~MagnificationDll();

    // The binding is usable when the library itself loaded.
    bool isLoaded() const { return _module != nullptr; }
    HMODULE module() const { return _module; }

    MagInitializeFn magInitialize() const { return _magInitialize; }
    MagUninitializeFn magUninitialize() const { return _magUninitialize; }
    MagSetWindowSourceFn magSetWindowSource() const { return _magSetWindowSource; }
    MagSetWindowFilterListFn magSetWindowFilterList() const { return _magSetWindowFilterList; }
    MagSetImageScalingCallbackFn magSetImageScalingCallback() const { return _magSetImageScalingCallback; }

private:
    HMODULE _module = nullptr;
    MagInitializeFn _magInitialize = nullptr;
    MagUninitializeFn _magUninitialize = nullptr;
    MagSetWindowSourceFn _magSetWindowSource = nullptr;
    MagSetWindowFilterListFn _magSetWindowFilterList = nullptr;
    MagSetImageScalingCallbackFn _magSetImageScalingCallback = nullptr;
};

// The process's one binding, or null when the library cannot be loaded; a later call then
// tries again. Not locked: the server's main thread is the only caller.
MagnificationDll* getMagnificationDll();

// MagInitialize, then the StretchRect interception (call-original mode 0) unless skipHook.
VXResult initMagnification(bool skipHook);
// The reverse; failures are logged and the shutdown goes on.
void uninitMagnification(bool skipHook);
