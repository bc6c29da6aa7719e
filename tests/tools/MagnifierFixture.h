// Shared set-up for the stand-in magnifier tests: the library loaded from the test's folder,
// StretchRect intercepted, a hidden host with a magnifier control, and solid test windows.
#pragma once

#include "StretchRectRecorder.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <vector>

struct MagnifierLibrary {
    using InitializeFn = BOOL(WINAPI*)();
    using SetSourceFn = BOOL(WINAPI*)(HWND, RECT);
    using SetFilterListFn = BOOL(WINAPI*)(HWND, DWORD, int, HWND*);

    HMODULE module = nullptr;
    InitializeFn initialize = nullptr;
    InitializeFn uninitialize = nullptr;
    SetSourceFn setWindowSource = nullptr;
    SetFilterListFn setWindowFilterList = nullptr;

    // Loaded once per process, from the folder of the test executable.
    static const MagnifierLibrary& get();
    bool complete() const;
};

class MagnifierTest : public ::testing::Test {
protected:
    static constexpr COLORREF kRed = RGB(220, 20, 20);
    static constexpr COLORREF kGreen = RGB(20, 200, 40);

    void SetUp() override;
    void TearDown() override;

    // A hidden host popup at `hostBounds` with a magnifier control filling it.
    HWND createControl(const RECT& hostBounds);
    // A visible, topmost, borderless window painted in `color`, above those made before it.
    HWND createSolidWindow(const RECT& bounds, COLORREF color);

    // MagSetWindowSource with the recorder reading the source `readbacks` times.
    BOOL render(const RECT& source, int readbacks = 1);
    const Readback& image() const;

    static uint32_t rgb(COLORREF color) {
        return GetRValue(color) << 16 | GetGValue(color) << 8 | GetBValue(color);
    }

    const MagnifierLibrary& mag = MagnifierLibrary::get();
    HWND host_ = nullptr;
    HWND control_ = nullptr;

private:
    std::vector<HWND> windows_;
};

// Sets an environment variable for the duration of a scope, the way the stand-in reads it.
class ScopedVariable {
public:
    ScopedVariable(const wchar_t* name, const wchar_t* value) : name_(name) {
        SetEnvironmentVariableW(name, value);
    }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;
    ~ScopedVariable() { SetEnvironmentVariableW(name_, nullptr); }

private:
    const wchar_t* name_;
};

// Lets pending paint and cursor messages through, so the screen matches the windows.
void pumpMessages();
