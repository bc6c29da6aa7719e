// Shared pieces of the end-to-end tests: the staged server, hosts on it, windows of known colours.
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "VXString.h"
#include "VistrelHost.h"
#include "support/win32/ScopedEnvironment.h"
#include "vistrel_host.h"

namespace e2e {

// A folder of this run beside the test holding Vistrel.exe (and the stand-in when asked); the
// server's path, or empty after a failure the test has been told of.
VXString stageServer(const char16_t* folder = u"e2e-with-magnifier", bool withMagnifier = true);

// Runs a program to its end, its output into `outputPath` if given; its exit code, ~0u on failure.
uint32_t runProcess(const VXString& program, const VXString& commandLine, uint32_t timeoutMs,
                    const VXString& outputPath = VXString());

// A host on a server staged with the stand-in (null after a failure the test has been told of).
std::unique_ptr<Vistrel::Host> startHost(const VXRect& rect, bool unitTestMode,
                                         const VXString& logPath = VXString());
// The C interface's options for the rectangle (0, 0, right, bottom); `server` must outlive them.
VistrelStartOptions cStartOptions(const VXString& server, int32_t right, int32_t bottom, bool unitTestMode);

// Fills the image and wait blocks with marks, so that a request that must leave them alone can
// be checked with expectBlocksMarked.
void markBlocks(const Vistrel::Host& host);
void expectBlocksMarked(const Vistrel::Host& host);
constexpr uint8_t kImageMark = 0x5A;
constexpr uint8_t kWaitMark = 0x6B;

// A fresh identifier from the host's generator.
VXString freshGuid();

// Waits for the server to end; its exit code, and its final result in `final`.
uint32_t exitOf(Vistrel::Host& host, Vistrel::ResultRecord& final, uint32_t timeoutMs = 30000);

// Suspends or resumes every thread of the Vistrel.exe this process started last, a server that
// cannot answer for a while; its process id, 0 when there is none.
DWORD setServerSuspended(bool suspended);

struct SolidWindow {
    RECT rect;       // screen coordinates
    COLORREF color;  // RGB()
    const wchar_t* title;
};

// Top-level windows painted in solid colours, owned and pumped by a thread of their own: the
// stand-in asks a window's thread to print it, so that thread must not sit in a wait.
class WindowThread {
public:
    explicit WindowThread(std::vector<SolidWindow> windows);
    ~WindowThread();
    HWND window(size_t index) const { return _handles[index]; }

private:
    void run_();

    std::vector<SolidWindow> _windows;
    std::vector<HWND> _handles;
    std::thread _thread;
    DWORD _threadId = 0;
    HANDLE _ready = nullptr;
};

// B,G,R of the pixel at (x, y) of a capture as 0xRRGGBB.
uint32_t pixelAt(const VXImage& image, int32_t x, int32_t y);
inline uint32_t rgb(COLORREF c) {
    return (GetRValue(c) << 16) | (GetGValue(c) << 8) | GetBValue(c);
}

using ScopedEnvironment = testsupport::ScopedEnvironment;

}  // namespace e2e
