// Test switches of the stand-in, read from the environment at each render so that one
// process can drive the server's failure paths one after another.
#pragma once

#include <d3d9.h>
#include <windows.h>

enum class RenderMode { Desktop, Black, Changing };

struct RenderSwitches {
    RenderMode mode = RenderMode::Desktop;
    D3DFORMAT format = D3DFMT_X8R8G8B8;

    static RenderSwitches read();
};

// Longest filter list accepted; VXMAG_FILTER_LIMIT overrides the default.
int filterListLimit();

// Crash and shutdown switches, for driving the server's log and crash handler end to end.
// VXMAG_FAULT_SOURCE=1: MagSetWindowSource faults (an access violation writing a low address).
bool faultInWindowSource();
// VXMAG_FAIL_UNINITIALIZE=<Win32 error>: MagUninitialize fails with that last error; 0 when unset.
DWORD uninitializeFailure();
// True when VXMAG_FAIL names this export ("MagInitialize", "MagSetWindowSource",
// "MagSetWindowFilterList"): it then returns FALSE and leaves last error 0, as some system
// calls do when they fail.
bool failsSilently(const wchar_t* exportName);
