#include "E2ESupport.h"

#include <gtest/gtest.h>
#include <tlhelp32.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <string>

#include "VistrelExchange.h"
#include "VistrelHostCommand.h"
#include "support/win32/SolidWindow.h"

namespace e2e {

namespace {

constexpr wchar_t kWindowClass[] = L"VistrelE2ESolidWindow";
constexpr DWORD kReadyTimeoutMs = 10000;

// Folders staged by earlier runs ("e2e-...-<run>"), so that runs do not pile up copies of the
// server; a file a running server still holds stays, and with it its folder.
void removeEarlierRuns(const VXString& bin, uint32_t run) {
    // Test executables of one run stage at the same time (ctest runs them in parallel): only a
    // folder nobody has written to for a while is an earlier run's.
    const auto stale = std::filesystem::file_time_type::clock::now() - std::chrono::minutes(30);
    std::error_code ignored;
    const std::wstring current = L"-" + std::to_wstring(run);
    for (const auto& entry : std::filesystem::directory_iterator(bin.wstr(), ignored)) {
        const std::wstring name = entry.path().filename().wstring();
        if (!entry.is_directory(ignored) || !name.starts_with(L"e2e-") || name.ends_with(current))
            continue;
        std::error_code failed;
        if (entry.last_write_time(failed) < stale && !failed)
            std::filesystem::remove_all(entry.path(), ignored);
    }
}

}  // namespace

VXString stageServer(const char16_t* folder, bool withMagnifier) {
    // The folder is this run's own: a server of an earlier run may still hold its executable.
    // Wine hands out the same few process ids run after run, so the start time names the run.
    static const uint32_t run = static_cast<uint32_t>(GetTickCount64());
    const VXString bin = Vistrel::executableFolder();
    static const bool cleaned = (removeEarlierRuns(bin, run), true);
    (void)cleaned;
    const VXString target = bin + vxFormat(u"%s-%u\\", VXString(folder), run);
    auto failed = [&](const char* step, const VXString& path) {
        const DWORD error = GetLastError();
        ADD_FAILURE() << step << " \"" << path.toUtf8() << "\" failed, Win32 error " << error;
        return VXString();
    };
    if (!CreateDirectoryW(target.wstr(), nullptr) && GetLastError() != ERROR_ALREADY_EXISTS)
        return failed("CreateDirectoryW", target);
    // A file already there was staged earlier in this run, and a server may be running it.
    auto copy = [&](const char16_t* name) {
        return CopyFileW((bin + VXString(name)).wstr(), (target + VXString(name)).wstr(), TRUE) ||
               GetLastError() == ERROR_FILE_EXISTS;
    };
    const VXString server = target + VXString(u"Vistrel.exe");
    if (!copy(u"Vistrel.exe"))
        return failed("CopyFileW", server);
    // A folder without the stand-in never had it copied in.
    if (withMagnifier && !copy(u"Magnification.dll"))
        return failed("CopyFileW", target + VXString(u"Magnification.dll"));
    return server;
}

uint32_t runProcess(const VXString& program, const VXString& commandLine, uint32_t timeoutMs,
                    const VXString& outputPath) {
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    HANDLE output = nullptr;
    if (!outputPath.isEmpty()) {
        SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
        output = CreateFileW(outputPath.wstr(), GENERIC_WRITE, FILE_SHARE_READ, &inherit, CREATE_ALWAYS,
                             FILE_ATTRIBUTE_NORMAL, nullptr);
        if (output == INVALID_HANDLE_VALUE)
            return ~0u;
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdOutput = startup.hStdError = output;
    }
    PROCESS_INFORMATION process{};
    std::wstring writable(commandLine.wstr());
    DWORD code = ~0u;
    if (CreateProcessW(program.wstr(), writable.data(), nullptr, nullptr, output != nullptr, 0, nullptr,
                       nullptr, &startup, &process)) {
        CloseHandle(process.hThread);
        if (WaitForSingleObject(process.hProcess, timeoutMs) == WAIT_OBJECT_0)
            GetExitCodeProcess(process.hProcess, &code);
        else
            TerminateProcess(process.hProcess, 1);
        CloseHandle(process.hProcess);
    }
    if (output != nullptr)
        CloseHandle(output);
    return code;
}

std::unique_ptr<Vistrel::Host> startHost(const VXRect& rect, bool unitTestMode, const VXString& logPath) {
    Vistrel::HostOptions options;
    options.captureRect = rect;
    options.serverPath = stageServer();
    options.unitTestMode = unitTestMode;
    options.logPath = logPath;
    std::unique_ptr<Vistrel::Host> host;
    const VXResult r = Vistrel::Host::start(options, host);
    EXPECT_TRUE(r.isSuccess()) << r.message().toUtf8();
    return host;
}

VistrelStartOptions cStartOptions(const VXString& server, int32_t right, int32_t bottom, bool unitTestMode) {
    VistrelStartOptions options{};
    options.size = sizeof(options);
    options.serverPath = server.wstr();
    options.right = right;
    options.bottom = bottom;
    options.unitTestMode = unitTestMode ? 1 : 0;
    return options;
}

void markBlocks(const Vistrel::Host& host) {
    std::memset(host.view(Vistrel::ServerInstance::Block::eImage), kImageMark,
                Vistrel::imageBlockSize(host.params().captureRect));
    std::memset(host.view(Vistrel::ServerInstance::Block::eWaitResult), kWaitMark,
                Vistrel::kWaitResultBlockSize);
}

void expectBlocksMarked(const Vistrel::Host& host) {
    // How many bytes kept their mark, not the bytes themselves: the image block is megabytes.
    const uint8_t* image = host.view(Vistrel::ServerInstance::Block::eImage);
    const uint8_t* wait = host.view(Vistrel::ServerInstance::Block::eWaitResult);
    const ptrdiff_t imageBytes = Vistrel::imageBlockSize(host.params().captureRect);
    const ptrdiff_t waitBytes = Vistrel::kWaitResultBlockSize;
    EXPECT_EQ(std::count(image, image + imageBytes, kImageMark), imageBytes) << "the image block was written";
    EXPECT_EQ(std::count(wait, wait + waitBytes, kWaitMark), waitBytes) << "the wait block was written";
}

VXString freshGuid() {
    VXString guid;
    const VXResult made = Vistrel::HostCommand::newGuid(guid);
    EXPECT_TRUE(made.isSuccess()) << made.message().toUtf8();
    return guid;
}

uint32_t exitOf(Vistrel::Host& host, Vistrel::ResultRecord& final, uint32_t timeoutMs) {
    uint32_t exitCode = ~0u;
    const VXResult r = host.waitForExit(timeoutMs, exitCode, final);
    EXPECT_TRUE(r.isSuccess()) << r.message().toUtf8();
    return exitCode;
}

DWORD setServerSuspended(bool suspended) {
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS | TH32CS_SNAPTHREAD, 0);
    PROCESSENTRY32W process{};
    process.dwSize = sizeof(process);
    DWORD server = 0;
    for (BOOL more = Process32FirstW(snapshot, &process); more; more = Process32NextW(snapshot, &process)) {
        if (process.th32ParentProcessID == GetCurrentProcessId() &&
            _wcsicmp(process.szExeFile, L"Vistrel.exe") == 0)
            server = process.th32ProcessID;
    }
    THREADENTRY32 thread{};
    thread.dwSize = sizeof(thread);
    for (BOOL more = Thread32First(snapshot, &thread); server != 0 && more;
         more = Thread32Next(snapshot, &thread)) {
        HANDLE handle = thread.th32OwnerProcessID == server
                            ? OpenThread(THREAD_SUSPEND_RESUME, FALSE, thread.th32ThreadID)
                            : nullptr;
        if (handle != nullptr) {
            suspended ? SuspendThread(handle) : ResumeThread(handle);
            CloseHandle(handle);
        }
    }
    CloseHandle(snapshot);
    return server;
}

WindowThread::WindowThread(std::vector<SolidWindow> windows) : _windows(std::move(windows)) {
    _handles.resize(_windows.size());
    _ready = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    _thread = std::thread([this] { run_(); });
    WaitForSingleObject(_ready, kReadyTimeoutMs);
}

WindowThread::~WindowThread() {
    PostThreadMessageW(_threadId, WM_QUIT, 0, 0);
    _thread.join();
    CloseHandle(_ready);
}

void WindowThread::run_() {
    _threadId = GetCurrentThreadId();
    testsupport::registerSolidWindowClass(kWindowClass);
    for (size_t i = 0; i < _windows.size(); ++i)
        _handles[i] = testsupport::createSolidWindow(kWindowClass, _windows[i].rect, _windows[i].color,
                                                     _windows[i].title);
    MSG message;
    PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);  // the queue exists before anyone posts
    SetEvent(_ready);
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    for (HWND h : _handles)
        DestroyWindow(h);
}

uint32_t pixelAt(const VXImage& image, int32_t x, int32_t y) {
    const uint8_t* p = image.getPixelPtr(x, y);
    return p == nullptr ? 0xFFFFFFFFu : (uint32_t{p[2]} << 16) | (uint32_t{p[1]} << 8) | p[0];
}

}  // namespace e2e
