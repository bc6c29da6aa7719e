// The host's life cycle: identifiers it refuses, captures it can stop, a log callback that cannot
// hold it, a server that ends with its host, and servers it starts again.
#include <windows.h>
// after windows.h
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tlhelp32.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "E2ESupport.h"
#include "VistrelExchange.h"
#include "support/ResultText.h"
#include "vistrel_host.h"

namespace {

constexpr uint32_t kAnswerTimeoutMs = 30000;

uint64_t elapsedMs(std::chrono::steady_clock::time_point since) {
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - since)
            .count());
}

VistrelFrame emptyFrame() {
    VistrelFrame frame{};
    frame.size = sizeof(frame);
    return frame;
}

// One of the seven objects of an identifier, made by "another process" before the host starts.
struct Squatter {
    const char16_t* prefix;
    bool event;
    bool nullDacl;
};

class HostRefusesPrecreatedObjects : public ::testing::TestWithParam<Squatter> {};

TEST_P(HostRefusesPrecreatedObjects, WithItsOwnCodeAndWritesNothingToThem) {
    const Squatter& squatter = GetParam();
    const VXString id = e2e::freshGuid();
    const VXString name = VXString(squatter.prefix) + id;
    SECURITY_DESCRIPTOR open{};
    InitializeSecurityDescriptor(&open, SECURITY_DESCRIPTOR_REVISION);
    SetSecurityDescriptorDacl(&open, TRUE, nullptr, FALSE);  // a null DACL: anyone may do anything
    SECURITY_ATTRIBUTES attributes{sizeof(attributes), &open, FALSE};
    SECURITY_ATTRIBUTES* security = squatter.nullDacl ? &attributes : nullptr;
    constexpr uint8_t kMark = 0x77;
    constexpr DWORD kBlockBytes = 128;
    HANDLE object = squatter.event ? CreateEventW(security, FALSE, FALSE, name.wstr())
                                   : CreateFileMappingW(INVALID_HANDLE_VALUE, security, PAGE_READWRITE, 0,
                                                        kBlockBytes, name.wstr());
    ASSERT_NE(object, nullptr);
    uint8_t* view = squatter.event
                        ? nullptr
                        : static_cast<uint8_t*>(MapViewOfFile(object, FILE_MAP_WRITE, 0, 0, kBlockBytes));
    if (view != nullptr)
        std::memset(view, kMark, kBlockBytes);

    // Both interfaces refuse it alike, and no server is started on it.
    const VXString server = e2e::stageServer();
    VistrelStartOptions options = e2e::cStartOptions(server, 40, 30, true);
    options.identifier = id.wstr();
    VistrelHost* host = nullptr;
    EXPECT_EQ(vistrel_host_start(&options, &host), VISTREL_IDENTIFIER_IN_USE);
    EXPECT_THAT(
        text(vistrel_host_last_error(host)),
        StartsWith("Identifier \"" + text(id) + "\" is in use: \"" + text(name) + "\" exists already"));
    uint32_t pid = 1;
    EXPECT_EQ(vistrel_host_server_process_id(host, &pid), VISTREL_NOT_STARTED);
    EXPECT_EQ(vistrel_host_close(host), VISTREL_OK);
    Vistrel::HostOptions cpp;
    cpp.captureRect = VXRect(0, 0, 40, 30);
    cpp.serverPath = server;
    cpp.unitTestMode = true;
    cpp.guid = id;
    std::unique_ptr<Vistrel::Host> cppHost;
    EXPECT_EQ(Vistrel::Host::start(cpp, cppHost).code(), VISTREL_IDENTIFIER_IN_USE);
    EXPECT_FALSE(cppHost);

    if (squatter.event) {
        EXPECT_EQ(WaitForSingleObject(object, 0), static_cast<DWORD>(WAIT_TIMEOUT)) << "the event was set";
    } else {
        ASSERT_NE(view, nullptr);
        EXPECT_EQ(std::count(view, view + kBlockBytes, kMark), static_cast<ptrdiff_t>(kBlockBytes))
            << "the block was written";
        UnmapViewOfFile(view);
    }
    CloseHandle(object);
}

std::vector<Squatter> squatters() {
    std::vector<Squatter> all;
    for (bool nullDacl : {true, false}) {
        for (const char16_t* prefix : {Vistrel::kEventStartPrefix, Vistrel::kEventCompletedPrefix})
            all.push_back({prefix, true, nullDacl});
        for (const char16_t* prefix :
             {Vistrel::kExclWndsPrefix, Vistrel::kCaptureCursorPrefix, Vistrel::kImagePrefix,
              Vistrel::kWaitResultPrefix, Vistrel::kResultPrefix})
            all.push_back({prefix, false, nullDacl});
    }
    return all;
}

INSTANTIATE_TEST_SUITE_P(EachObject, HostRefusesPrecreatedObjects, ::testing::ValuesIn(squatters()));

TEST(HostStart, RefusesIdentifiersOutsideTheRuleAndTellsAMissingLogFolderFromAMissingServer) {
    const VXString server = e2e::stageServer();
    const std::wstring tooLong(65, L'a');
    for (const wchar_t* id : {L"a\"b", L"a b", L"a\\b", L"", L"a/b", L"\u00e9t\u00e9", tooLong.c_str()}) {
        VistrelStartOptions options = e2e::cStartOptions(server, 40, 30, true);
        options.identifier = id;
        VistrelHost* host = nullptr;
        EXPECT_EQ(vistrel_host_start(&options, &host), VISTREL_BAD_PARAMETER) << text(id);
        EXPECT_THAT(
            text(vistrel_host_last_error(host)),
            HasSubstr("an identifier is 1 to 64 characters, each an ASCII letter, a digit, '-', '{' or '}'"))
            << text(id);
        vistrel_host_close(host);
    }
    const std::wstring longest(64, L'Z');
    VistrelStartOptions options = e2e::cStartOptions(server, 40, 30, true);
    options.identifier = longest.c_str();
    VistrelHost* host = nullptr;
    EXPECT_EQ(vistrel_host_start(&options, &host), VISTREL_OK) << text(vistrel_host_last_error(host));
    vistrel_host_close(host);

    const VXString log = Vistrel::folderOf(server) + VXString(u"no-such-folder\\host.log");
    options = e2e::cStartOptions(server, 40, 30, true);
    options.logPath = log.wstr();
    EXPECT_EQ(vistrel_host_start(&options, &host), VISTREL_LOG_NOT_OPENED);
    EXPECT_THAT(text(vistrel_host_last_error(host)),
                HasSubstr("Server log \"" + text(log) + "\" cannot be opened"));
    vistrel_host_close(host);
}

TEST(HostCapture, CancelFromAnotherThreadEndsAHeldCaptureAndTheTimeOutCoversTheLateAnswer) {
    e2e::ScopedEnvironment changing(L"VXMAG_RENDER", L"changing");
    auto host = e2e::startHost(VXRect(0, 0, 64, 64), false);
    ASSERT_TRUE(host);
    Vistrel::Capture capture;
    ASSERT_TRUE(host->capture({}, false, capture).isSuccess());
    ASSERT_NE(e2e::setServerSuspended(true), 0u);  // the server holds the next request
    std::thread canceler([&host] {
        Sleep(300);
        host->cancel();
    });
    auto start = std::chrono::steady_clock::now();
    const VXResult canceled = host->capture({}, false, capture, kAnswerTimeoutMs);
    canceler.join();
    EXPECT_EQ(canceled.code(), VISTREL_CANCELED) << text(canceled);
    EXPECT_LT(elapsedMs(start), 3000u);
    host->cancel();  // with no capture in progress: nothing, the next capture is not canceled

    // The canceled request's answer is still due. The server answers it late, then is held again
    // while it captures the next request: that capture waited for the late answer and then for
    // its own, both inside its one time-out (counted afresh for its own wait, it would last
    // about twice as long).
    std::thread server([] {
        Sleep(300);
        e2e::setServerSuspended(false);
        Sleep(700);
        e2e::setServerSuspended(true);
    });
    start = std::chrono::steady_clock::now();
    EXPECT_EQ(host->capture({}, false, capture, 1500).code(), VISTREL_TIMEOUT);
    EXPECT_LT(elapsedMs(start), 1800u) << "the late answer's wait counts in the time-out";
    server.join();
    e2e::setServerSuspended(false);
    ASSERT_TRUE(host->capture({}, false, capture, kAnswerTimeoutMs).isSuccess());
    EXPECT_EQ(capture.result.code, 2000);
}

// Closing from another thread while a capture waits: close cancels, waits for the capture to
// leave the host (the C layer counts calls in and out under a lock), and only then frees it.
TEST(HostCApi, CloseFromAnotherThreadEndsTheWaitingCaptureBeforeFreeing) {
    const VXString server = e2e::stageServer();
    VistrelStartOptions options = e2e::cStartOptions(server, 64, 64, true);
    VistrelHost* host = nullptr;
    ASSERT_EQ(vistrel_host_start(&options, &host), VISTREL_OK) << text(vistrel_host_last_error(host));
    VistrelFrame frame = emptyFrame();
    ASSERT_EQ(vistrel_host_capture(host, nullptr, 0, 0, kAnswerTimeoutMs, &frame), VISTREL_OK);
    const DWORD serverId = e2e::setServerSuspended(true);
    ASSERT_NE(serverId, 0u);
    std::atomic<int32_t> code{0};
    std::atomic<bool> returned{false};
    std::thread capturing([&] {
        code = vistrel_host_capture(host, nullptr, 0, 0, kAnswerTimeoutMs, &frame);
        returned = true;
    });
    Sleep(300);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(vistrel_host_close(host), VISTREL_OK);
    EXPECT_TRUE(returned.load()) << "close returned before the capture had left";
    EXPECT_LT(elapsedMs(start), VISTREL_CLOSE_BOUND_MS);
    capturing.join();
    EXPECT_EQ(code.load(), VISTREL_CANCELED);
    HANDLE process = OpenProcess(SYNCHRONIZE, FALSE, serverId);
    EXPECT_TRUE(process == nullptr || WaitForSingleObject(process, 0) == WAIT_OBJECT_0)
        << "the server outlived close";
    if (process != nullptr)
        CloseHandle(process);
}

struct BlockingLog {
    HANDLE release = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::atomic<bool> blocked{false};
    VistrelHost* host = nullptr;
    std::atomic<int32_t> closeFromCallback{0};
};

void blockOnFirstLine(void* context, const char*, int32_t) {
    auto* log = static_cast<BlockingLog*>(context);
    if (!log->blocked.exchange(true)) {
        log->closeFromCallback = vistrel_host_close(log->host);
        WaitForSingleObject(log->release, 60000);
    }
}

TEST(HostCApi, ALogCallbackThatBlocksHoldsNeitherCaptureNorCloseAndCannotCloseItsHost) {
    const VXString server = e2e::stageServer();
    const VXString logPath = Vistrel::folderOf(server) + vxFormat(u"blocked-%u.log", GetTickCount());
    auto* log = new BlockingLog;  // the callback may outlive close; released at the end
    VistrelStartOptions options = e2e::cStartOptions(server, 64, 64, true);
    options.logCallback = blockOnFirstLine;
    options.logContext = log;
    options.logPath = logPath.wstr();
    ASSERT_EQ(vistrel_host_start(&options, &log->host), VISTREL_OK)
        << text(vistrel_host_last_error(log->host));
    VistrelFrame frame = emptyFrame();
    for (int i = 0; i < 3; ++i) {
        const auto start = std::chrono::steady_clock::now();
        ASSERT_EQ(vistrel_host_capture(log->host, nullptr, 0, 0, kAnswerTimeoutMs, &frame), VISTREL_OK);
        EXPECT_LT(elapsedMs(start), 5000u);
    }
    for (int i = 0; i < 100 && !log->blocked; ++i)
        Sleep(50);
    ASSERT_TRUE(log->blocked.load());
    EXPECT_EQ(log->closeFromCallback.load(), VISTREL_BUSY) << "close from the callback was not refused";
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(vistrel_host_close(log->host), VISTREL_OK);
    EXPECT_LT(elapsedMs(start), VISTREL_CLOSE_BOUND_MS);
    SetEvent(log->release);
    Sleep(200);  // the callback returns and sees the host closed; its thread ends
    std::ifstream in(logPath.toUtf8());
    std::string line, last;
    while (std::getline(in, line))
        last = line;
    EXPECT_THAT(last, HasSubstr("log lines were not delivered: the log callback had not returned within"));
}

// The server's process, found among the children of a process.
DWORD childServer(DWORD parent) {
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32W process{};
    process.dwSize = sizeof(process);
    DWORD found = 0;
    for (BOOL more = Process32FirstW(snapshot, &process); more; more = Process32NextW(snapshot, &process)) {
        if (process.th32ParentProcessID == parent && _wcsicmp(process.szExeFile, L"Vistrel.exe") == 0)
            found = process.th32ProcessID;
    }
    CloseHandle(snapshot);
    return found;
}

TEST(HostProcess, AKilledHostTakesItsServerWithItWithinASecond) {
    const VXString server = e2e::stageServer();
    const VXString grab = Vistrel::executableFolder() + VXString(u"vistrel-grab.exe");
    std::wstring commandLine(
        vxFormat(u"\"%s\" --rect 0,0,32,32 --unit-test --count 100000 --server \"%s\"", grab, server).wstr());
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION child{};
    ASSERT_TRUE(CreateProcessW(grab.wstr(), commandLine.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW,
                               nullptr, nullptr, &startup, &child));
    CloseHandle(child.hThread);
    DWORD serverId = 0;
    for (int i = 0; i < 200 && serverId == 0; ++i, Sleep(50))
        serverId = childServer(child.dwProcessId);
    ASSERT_NE(serverId, 0u);
    HANDLE serverProcess = OpenProcess(SYNCHRONIZE, FALSE, serverId);
    ASSERT_NE(serverProcess, nullptr);
    EXPECT_EQ(WaitForSingleObject(serverProcess, 0), static_cast<DWORD>(WAIT_TIMEOUT));
    ASSERT_TRUE(TerminateProcess(child.hProcess, 9));
    WaitForSingleObject(child.hProcess, 5000);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(WaitForSingleObject(serverProcess, 1000), static_cast<DWORD>(WAIT_OBJECT_0))
        << "the server outlived its host";
    EXPECT_LT(elapsedMs(start), 1000u);
    CloseHandle(serverProcess);
    CloseHandle(child.hProcess);
}

// A "crash" here is any end that is not the idle end: the test kills the server.
void killServer(VistrelHost* host) {
    uint32_t pid = 0;
    ASSERT_EQ(vistrel_host_server_process_id(host, &pid), VISTREL_OK);
    HANDLE process = OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, pid);
    ASSERT_NE(process, nullptr);
    TerminateProcess(process, 0xC0000005);
    WaitForSingleObject(process, 5000);
    CloseHandle(process);
}

TEST(HostCApi, RestartsAfterACrashWithinItsLimitAndANewRectangleGivesFramesOfItsSize) {
    const VXString server = e2e::stageServer();
    VistrelStartOptions options = e2e::cStartOptions(server, 64, 48, true);
    options.autoRestart = 1;
    options.maxCrashRestartsPerMinute = 1;
    VistrelHost* host = nullptr;
    ASSERT_EQ(vistrel_host_start(&options, &host), VISTREL_OK) << text(vistrel_host_last_error(host));
    const std::string firstId = text(vistrel_host_identifier(host));
    uint32_t firstPid = 0;
    ASSERT_EQ(vistrel_host_server_process_id(host, &firstPid), VISTREL_OK);
    VistrelFrame frame = emptyFrame();
    ASSERT_EQ(vistrel_host_capture(host, nullptr, 0, 0, kAnswerTimeoutMs, &frame), VISTREL_OK);

    killServer(host);
    ASSERT_EQ(vistrel_host_capture(host, nullptr, 0, 0, kAnswerTimeoutMs, &frame), VISTREL_OK)
        << text(vistrel_host_last_error(host));
    EXPECT_EQ(frame.code, 2000);
    EXPECT_EQ(frame.width, 64);
    uint32_t count = 0, pid = 0;
    ASSERT_EQ(vistrel_host_restart_count(host, &count), VISTREL_OK);
    EXPECT_EQ(count, 1u);
    ASSERT_EQ(vistrel_host_server_process_id(host, &pid), VISTREL_OK);
    EXPECT_NE(pid, firstPid);
    EXPECT_NE(text(vistrel_host_identifier(host)), firstId) << "a restart takes a fresh identifier";

    // A second crash within the minute is beyond the limit: the capture reports it.
    killServer(host);
    EXPECT_EQ(vistrel_host_capture(host, nullptr, 0, 0, kAnswerTimeoutMs, &frame), VISTREL_SERVER_ENDED);
    EXPECT_THAT(text(vistrel_host_last_error(host)), HasSubstr("Server ended with exit code 3221225477"));
    ASSERT_EQ(vistrel_host_restart_count(host, &count), VISTREL_OK);
    EXPECT_EQ(count, 1u);

    // A new rectangle needs a new server, whatever ended the old one.
    const VistrelRect bigger{10, 20, 110, 70};
    ASSERT_EQ(vistrel_host_set_rect(host, &bigger), VISTREL_OK);
    ASSERT_EQ(vistrel_host_capture(host, nullptr, 0, 0, kAnswerTimeoutMs, &frame), VISTREL_OK)
        << text(vistrel_host_last_error(host));
    EXPECT_EQ(frame.width, 100);
    EXPECT_EQ(frame.height, 50);
    EXPECT_EQ(frame.stride, 400);
    ASSERT_EQ(vistrel_host_restart_count(host, &count), VISTREL_OK);
    EXPECT_EQ(count, 2u);
    const VistrelRect empty{5, 5, 5, 9};
    EXPECT_EQ(vistrel_host_set_rect(host, &empty), VISTREL_BAD_PARAMETER);
    EXPECT_EQ(vistrel_host_close(host), VISTREL_OK);
}

}  // namespace
