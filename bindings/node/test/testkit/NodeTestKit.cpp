// Fixture for the Node binding's tests, which cannot call Win32 themselves:
//   windows READYFILE SECONDS L,T,R,B,RRGGBB ...   shows solid topmost windows, writes their
//       handles (decimal, one a line) to READYFILE, and stays until SECONDS have passed
//   suspend PID | resume PID                        suspends or resumes every thread of PID
#include <windows.h>

#include <tlhelp32.h>

#include <cstdio>
#include <cwchar>
#include <string>
#include <vector>

#include "support/win32/SolidWindow.h"

namespace {

constexpr wchar_t kWindowClass[] = L"VistrelNodeTestWindow";
constexpr int kUsage = 2;

int showWindows(int argc, wchar_t** argv) {
    if (argc < 5)
        return kUsage;
    const wchar_t* readyFile = argv[2];
    const DWORD seconds = static_cast<DWORD>(_wtoi(argv[3]));
    testsupport::registerSolidWindowClass(kWindowClass);
    std::string handles;
    for (int i = 4; i < argc; ++i) {
        RECT r{};
        unsigned rgb = 0;
        if (swscanf(argv[i], L"%ld,%ld,%ld,%ld,%x", &r.left, &r.top, &r.right, &r.bottom, &rgb) != 5)
            return kUsage;
        const COLORREF color = RGB((rgb >> 16) & 0xFF, (rgb >> 8) & 0xFF, rgb & 0xFF);
        HWND window = testsupport::createSolidWindow(kWindowClass, r, color, L"Vistrel node test window");
        if (window == nullptr)
            return 1;
        handles += std::to_string(reinterpret_cast<uintptr_t>(window)) + "\n";
    }
    // Written under another name and renamed, so that a reader never sees half of it.
    const std::wstring partial = std::wstring(readyFile) + L".partial";
    FILE* file = _wfopen(partial.c_str(), L"wb");
    if (file == nullptr || fwrite(handles.data(), 1, handles.size(), file) != handles.size() ||
        fclose(file) != 0)
        return 1;
    if (!MoveFileExW(partial.c_str(), readyFile, MOVEFILE_REPLACE_EXISTING))
        return 1;
    SetTimer(nullptr, 0, seconds * 1000, nullptr);
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        if (message.message == WM_TIMER)
            break;
        DispatchMessageW(&message);
    }
    return 0;
}

int setSuspended(DWORD pid, bool suspended) {
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (snapshot == INVALID_HANDLE_VALUE)
        return 1;
    THREADENTRY32 thread{};
    thread.dwSize = sizeof(thread);
    int found = 0;
    for (BOOL more = Thread32First(snapshot, &thread); more; more = Thread32Next(snapshot, &thread)) {
        if (thread.th32OwnerProcessID != pid)
            continue;
        HANDLE handle = OpenThread(THREAD_SUSPEND_RESUME, FALSE, thread.th32ThreadID);
        if (handle == nullptr)
            continue;
        if ((suspended ? SuspendThread(handle) : ResumeThread(handle)) != static_cast<DWORD>(-1))
            ++found;
        CloseHandle(handle);
    }
    CloseHandle(snapshot);
    return found > 0 ? 0 : 1;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc >= 2 && wcscmp(argv[1], L"windows") == 0)
        return showWindows(argc, argv);
    if (argc == 3) {
        const DWORD pid = static_cast<DWORD>(wcstoul(argv[2], nullptr, 10));
        if (wcscmp(argv[1], L"suspend") == 0)
            return setSuspended(pid, true);
        if (wcscmp(argv[1], L"resume") == 0)
            return setSuspended(pid, false);
    }
    std::fputs(
        "usage: vistrel-node-testkit windows FILE SECONDS L,T,R,B,RRGGBB... | suspend PID | resume PID PID\n",
        stderr);
    return kUsage;
}
