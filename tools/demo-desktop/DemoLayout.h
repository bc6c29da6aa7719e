// Where the demo desktop's windows sit and how they look; tests read the same table to know
// which colour to expect where. "Secret panel" is made last, so it lies on top of the others.
#pragma once

#include <windows.h>

struct DemoWindow {
    const wchar_t* title;
    RECT bounds;  // screen coordinates, inside 1920 x 1080
    COLORREF color;
};

inline constexpr DemoWindow kDemoWindows[] = {
    {L"Inbox", {80, 80, 840, 580}, RGB(40, 90, 200)},
    {L"Calendar", {900, 120, 1600, 580}, RGB(240, 140, 20)},
    {L"Notes", {160, 620, 960, 1000}, RGB(20, 160, 150)},
    {L"Build status", {1040, 640, 1800, 1000}, RGB(130, 60, 180)},
    {L"Secret panel", {420, 300, 1060, 720}, RGB(200, 30, 40)},
};

inline constexpr wchar_t kSecretPanelTitle[] = L"Secret panel";
