// The exported functions of the stand-in Magnification.dll and the window procedure of the
// "Magnifier" control class; the work is done by MagControl.
#include "MagControl.h"
#include "RenderSwitches.h"

#include <windows.h>

namespace {

constexpr wchar_t kControlClass[] = L"Magnifier";
// Extra window bytes of the control: slot 0 holds its MagControl. GWLP_USERDATA stays free
// for the caller, as with the system control.
constexpr int kStateSlot = 0;
constexpr int kExtraBytes = sizeof(LONG_PTR);
// Where the fault switch writes: volatile, so that the compiler keeps a plain store there.
volatile uintptr_t gFaultAddress = 0x10;

// The module handle of this DLL, whatever name it was loaded under.
HINSTANCE thisModule() {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&thisModule), &module);
    return module;
}

LRESULT CALLBACK controlProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_NCCREATE:
            SetWindowLongPtrW(window, kStateSlot, reinterpret_cast<LONG_PTR>(new MagControl(window)));
            break;
        case WM_NCDESTROY:
            // The last message a window gets: device, surfaces and list go with it.
            delete reinterpret_cast<MagControl*>(SetWindowLongPtrW(window, kStateSlot, 0));
            break;
        default:
            break;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

BOOL failSilently() {
    SetLastError(ERROR_SUCCESS);
    return FALSE;
}

BOOL finish(DWORD error) {
    if (error != ERROR_SUCCESS) {
        SetLastError(error);
        return FALSE;
    }
    return TRUE;
}

}  // namespace

MagControl* MagControl::from(HWND window) {
    if (window == nullptr || !IsWindow(window)) {
        return nullptr;
    }
    // Another class's window may use slot 0 for anything; the class procedure tells ours apart
    // even when the caller has subclassed the control.
    if (reinterpret_cast<WNDPROC>(GetClassLongPtrW(window, GCLP_WNDPROC)) != controlProc) {
        return nullptr;
    }
    return reinterpret_cast<MagControl*>(GetWindowLongPtrW(window, kStateSlot));
}

extern "C" {

BOOL WINAPI MagInitialize() {
    if (failsSilently(L"MagInitialize")) {
        return failSilently();
    }
    WNDCLASSEXW windowClass = {};
    windowClass.cbSize = sizeof(windowClass);
    // Global: callers create the control with their own module handle, not this DLL's.
    windowClass.style = CS_GLOBALCLASS;
    windowClass.lpfnWndProc = controlProc;
    windowClass.cbWndExtra = kExtraBytes;
    windowClass.hInstance = thisModule();
    windowClass.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    windowClass.lpszClassName = kControlClass;
    if (RegisterClassExW(&windowClass) == 0 && GetLastError() != ERROR_CLASS_ALREADY_EXISTS) {
        return FALSE;
    }
    return TRUE;
}

BOOL WINAPI MagUninitialize() {
    // Fails only while controls still exist, which is the caller's mistake to find.
    UnregisterClassW(kControlClass, thisModule());
    return finish(uninitializeFailure());
}

BOOL WINAPI MagSetWindowFilterList(HWND window, DWORD mode, int count, HWND* windows) {
    if (failsSilently(L"MagSetWindowFilterList")) {
        return failSilently();
    }
    MagControl* control = MagControl::from(window);
    return finish(control == nullptr ? ERROR_INVALID_WINDOW_HANDLE
                                     : control->setFilterList(mode, count, windows));
}

int WINAPI MagGetWindowFilterList(HWND window, DWORD* mode, int count, HWND* windows) {
    MagControl* control = MagControl::from(window);
    int total = 0;
    if (control == nullptr || !finish(control->filterList(count, windows, total))) {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return -1;
    }
    if (mode != nullptr) {
        *mode = 0;
    }
    return total;
}

BOOL WINAPI MagSetWindowSource(HWND window, RECT source) {
    if (failsSilently(L"MagSetWindowSource")) {
        return failSilently();
    }
    if (faultInWindowSource())
        *reinterpret_cast<volatile int*>(gFaultAddress) = 1;
    MagControl* control = MagControl::from(window);
    return finish(control == nullptr ? ERROR_INVALID_WINDOW_HANDLE : control->render(source));
}

BOOL WINAPI MagSetImageScalingCallback(HWND, void*) {
    return TRUE;
}

}  // extern "C"
