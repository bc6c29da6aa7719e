// The C interface of vistrel_host.dll as an integrator meets it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "E2ESupport.h"
#include "VistrelExchange.h"
#include "support/ResultText.h"
#include "vistrel_host.h"

namespace {

constexpr uint32_t kAnswerTimeoutMs = 30000;

VistrelFrame emptyFrame() {
    VistrelFrame frame{};
    frame.size = sizeof(frame);
    return frame;
}

bool isCleared(const VistrelFrame& frame) {
    VistrelFrame cleared = emptyFrame();
    return std::memcmp(&frame, &cleared, sizeof(frame)) == 0;
}

TEST(HostCApi, OnAGivenIdentifierCaptureRefuseBadRequestsChangeFrameModesAndSeeTheServerKilled) {
    EXPECT_STREQ(vistrel_host_version(), "1.1.0");
    const VXString id = vxFormat(u"VistrelGiven%u", static_cast<uint32_t>(GetCurrentProcessId()));
    const VXString server = e2e::stageServer();
    VistrelStartOptions options = e2e::cStartOptions(server, 40, 30, true);
    options.identifier = id.wstr();
    VistrelHost* host = nullptr;
    ASSERT_EQ(vistrel_host_start(&options, &host), VISTREL_OK) << text(vistrel_host_last_error(host));
    EXPECT_EQ(text(vistrel_host_identifier(host)), text(id));
    VistrelFrame frame = emptyFrame();
    ASSERT_EQ(vistrel_host_capture(host, nullptr, 0, 0, kAnswerTimeoutMs, &frame), VISTREL_OK);
    EXPECT_EQ(frame.code, 2000) << text(frame.text);
    EXPECT_EQ(frame.width, 40);
    EXPECT_EQ(frame.height, 30);
    EXPECT_EQ(frame.stride, 160);
    EXPECT_NE(frame.pixels, nullptr);

    // A one-element list at the very end of a page, a no-access page behind it: a count above
    // the limit must be refused before a single handle is read.
    constexpr size_t kPage = 4096;  // x86-64
    auto* pages =
        static_cast<uint8_t*>(VirtualAlloc(nullptr, 2 * kPage, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
    ASSERT_NE(pages, nullptr);
    DWORD old = 0;
    ASSERT_TRUE(VirtualProtect(pages + kPage, kPage, PAGE_NOACCESS, &old));
    auto* last = reinterpret_cast<uint64_t*>(pages + kPage - sizeof(uint64_t));
    *last = 0;
    const std::pair<const uint64_t*, uint32_t> refused[] = {
        {last, 5000}, {last, VISTREL_MAX_EXCLUDED_WINDOWS + 1}, {nullptr, 3}};
    for (const auto& [windows, count] : refused) {
        EXPECT_EQ(vistrel_host_capture(host, windows, count, 0, kAnswerTimeoutMs, &frame),
                  VISTREL_BAD_PARAMETER)
            << count;
        EXPECT_TRUE(isCleared(frame)) << count;
    }
    VirtualFree(pages, 0, MEM_RELEASE);
    // The server is unharmed and a frame of an unknown, smaller layout is not written.
    ASSERT_EQ(vistrel_host_capture(host, nullptr, 0, 0, kAnswerTimeoutMs, &frame), VISTREL_OK);
    VistrelFrame small = emptyFrame();
    small.size = offsetof(VistrelFrame, microseconds);
    small.code = 77;
    EXPECT_EQ(vistrel_host_capture(host, nullptr, 0, 0, kAnswerTimeoutMs, &small), VISTREL_BAD_PARAMETER);
    EXPECT_EQ(small.code, 77);
    uint32_t exitCode = 0;
    int32_t finalCode = -1;
    EXPECT_EQ(vistrel_host_wait_exit(host, 0, &exitCode, &finalCode), VISTREL_TIMEOUT);  // still running

    // The 1.0 frame already held the region: a frame that ends before it is no caller's.
    EXPECT_EQ(vistrel_host_set_frame_mode(host, 3), VISTREL_BAD_PARAMETER);
    frame.size = offsetof(VistrelFrame, rects);
    frame.code = 77;
    EXPECT_EQ(vistrel_host_capture(host, nullptr, 0, 0, kAnswerTimeoutMs, &frame), VISTREL_BAD_PARAMETER);
    EXPECT_EQ(frame.code, 77);
    frame.size = sizeof(frame);
    ASSERT_EQ(vistrel_host_set_frame_mode(host, VISTREL_FRAME_ZERO_COPY_WITH_REGION), VISTREL_OK);
    ASSERT_EQ(vistrel_host_capture(host, nullptr, 0, 0, kAnswerTimeoutMs, &frame), VISTREL_OK);
    ASSERT_EQ(frame.rectCount, 1u);
    EXPECT_TRUE(frame.rects[0].left == 0 && frame.rects[0].top == 0 && frame.rects[0].right == 40 &&
                frame.rects[0].bottom == 30);
    EXPECT_EQ(frame.stride, 160);
    ASSERT_EQ(vistrel_host_capture(host, nullptr, 0, 0, kAnswerTimeoutMs, &frame), VISTREL_OK);
    EXPECT_EQ(frame.rectCount, 0u) << "nothing changed";

    // The server can no longer answer; it is killed while the next request waits.
    const DWORD serverId = e2e::setServerSuspended(true);
    ASSERT_NE(serverId, 0u);
    HANDLE process = OpenProcess(PROCESS_TERMINATE, FALSE, serverId);
    ASSERT_NE(process, nullptr);
    std::thread killer([process] {
        Sleep(300);
        TerminateProcess(process, 77);
    });
    const int32_t code = vistrel_host_capture(host, nullptr, 0, 0, kAnswerTimeoutMs, &frame);
    killer.join();
    CloseHandle(process);
    EXPECT_EQ(code, VISTREL_SERVER_ENDED);
    EXPECT_TRUE(isCleared(frame));
    EXPECT_THAT(text(vistrel_host_last_error(host)), HasSubstr("Server ended with exit code 77"));
    ASSERT_EQ(vistrel_host_wait_exit(host, 0, &exitCode, &finalCode), VISTREL_OK);
    EXPECT_EQ(exitCode, 77u);
    EXPECT_EQ(finalCode, 0);
    vistrel_host_close(host);
}

TEST(HostCApi, ListsTheMonitorsPrimaryFirst) {
    uint32_t count = 0;
    EXPECT_EQ(vistrel_host_list_monitors(nullptr, 1, &count, nullptr), VISTREL_BAD_PARAMETER);
    ASSERT_EQ(vistrel_host_list_monitors(nullptr, 0, &count, nullptr), VISTREL_OK);
    ASSERT_EQ(count, static_cast<uint32_t>(GetSystemMetrics(SM_CMONITORS)))
        << "the count without room for any";
    std::vector<VistrelMonitor> monitors(count + 1);
    VistrelRect screen{};
    ASSERT_EQ(vistrel_host_list_monitors(monitors.data(), count + 1, &count, &screen), VISTREL_OK);
    ASSERT_EQ(count, monitors.size() - 1);
    const VistrelRect& b = monitors[0].bounds;
    EXPECT_EQ(VXRect(b.left, b.top, b.right, b.bottom),
              VXRect(0, 0, GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN)));
    for (uint32_t i = 0; i < count; ++i) {
        EXPECT_EQ(monitors[i].primary != 0, i == 0) << i;
        EXPECT_THAT(text(monitors[i].deviceName), StartsWith("\\\\.\\DISPLAY")) << i;
    }
    const VXRect virtualScreen(GetSystemMetrics(SM_XVIRTUALSCREEN), GetSystemMetrics(SM_YVIRTUALSCREEN),
                               GetSystemMetrics(SM_XVIRTUALSCREEN) + GetSystemMetrics(SM_CXVIRTUALSCREEN),
                               GetSystemMetrics(SM_YVIRTUALSCREEN) + GetSystemMetrics(SM_CYVIRTUALSCREEN));
    EXPECT_EQ(VXRect(screen.left, screen.top, screen.right, screen.bottom), virtualScreen);
}

TEST(HostCApi, FailuresCarryTheirText) {
    VistrelHost* host = nullptr;
    const VXString missing(u"C:\\no\\such\\Vistrel.exe");
    VistrelStartOptions options = e2e::cStartOptions(missing, 40, 30, true);
    EXPECT_EQ(vistrel_host_start(&options, &host), VISTREL_NOT_FOUND);
    ASSERT_NE(host, nullptr);
    const std::string error = text(vistrel_host_last_error(host));
    EXPECT_THAT(error, StartsWith("Method \"GetFileAttributes\" returned Win32 error ["));
    EXPECT_THAT(error, HasSubstr("Server \"C:\\no\\such\\Vistrel.exe\" not found"));
    VistrelFrame frame = emptyFrame();
    EXPECT_EQ(vistrel_host_capture(host, nullptr, 0, 0, 1000, &frame), VISTREL_NOT_STARTED);
    vistrel_host_close(host);
    options.right = options.left;
    EXPECT_EQ(vistrel_host_start(&options, &host), VISTREL_BAD_PARAMETER);
    vistrel_host_close(host);
}

TEST(HostCApi, RefusesOptionsSmallerThanTheFirstVersionAndRectanglesWhoseBlockWouldNotFit) {
    const VXString server = e2e::stageServer();
    VistrelHost* host = nullptr;
    // 1.0's options ended with the log's members: a caller's structure is at least that long.
    VistrelStartOptions options = e2e::cStartOptions(server, 40, 30, true);
    options.size = offsetof(VistrelStartOptions, logContext);
    EXPECT_EQ(vistrel_host_start(&options, &host), VISTREL_BAD_PARAMETER);
    EXPECT_THAT(text(vistrel_host_last_error(host)), HasSubstr("Start options missing or too small"));
    vistrel_host_close(host);

    // 70000 x 70000 would need 19.6 GB and wraps a 32-bit block size: refused before any object,
    // allocation or server, as is the widest rectangle one row too tall.
    const VistrelRect tooLarge[] = {{0, 0, 70000, 70000}, {-4, 0, 65532, 16384}};
    for (const VistrelRect& r : tooLarge) {
        options = e2e::cStartOptions(server, r.right, r.bottom, true);
        options.left = r.left;
        EXPECT_EQ(vistrel_host_start(&options, &host), VISTREL_BAD_PARAMETER) << r.right;
        EXPECT_THAT(text(vistrel_host_last_error(host)), HasSubstr("would not fit in 32 bits")) << r.right;
        vistrel_host_close(host);
    }

    // Started with the 1.0 size, then moved to a rectangle too large: refused, the host unharmed.
    options = e2e::cStartOptions(server, 40, 30, true);
    options.size = offsetof(VistrelStartOptions, logContext) + sizeof(void*);
    ASSERT_EQ(vistrel_host_start(&options, &host), VISTREL_OK) << text(vistrel_host_last_error(host));
    EXPECT_EQ(vistrel_host_set_rect(host, &tooLarge[0]), VISTREL_BAD_PARAMETER);
    EXPECT_THAT(text(vistrel_host_last_error(host)), HasSubstr("would not fit in 32 bits"));
    VistrelFrame frame = emptyFrame();
    ASSERT_EQ(vistrel_host_capture(host, nullptr, 0, 0, kAnswerTimeoutMs, &frame), VISTREL_OK);
    EXPECT_EQ(frame.width, 40);
    uint32_t restarts = 9;
    EXPECT_EQ(vistrel_host_restart_count(host, &restarts), VISTREL_OK);
    EXPECT_EQ(restarts, 0u);
    vistrel_host_close(host);
}

}  // namespace
