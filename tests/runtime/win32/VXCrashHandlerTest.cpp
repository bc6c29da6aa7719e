#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "support/win32/DebugOutputReader.h"
#include "VXDumpFile.h"
#include "VXDumpText.h"
#include "support/LogCapture.h"
#include "support/ResultText.h"

namespace {

constexpr DWORD kChildTimeoutMs = 180000;
constexpr DWORD kRuntimeTerminate = 0xE0000004;

struct ChildRun {
    DWORD exitCode = 0;
    std::filesystem::file_time_type started;
    std::vector<std::string> lines;
};

// Runs the crash child in a mode and collects its debug output through the host's reader, which
// hands on everything the child wrote before it ended.
ChildRun runChild(const wchar_t* mode) {
    ChildRun run;
    std::string output;
    std::unique_ptr<Vistrel::DebugOutputReader> reader;
    const VXResult opened =
        Vistrel::DebugOutputReader::open([&output](std::string&& text) { output += text; }, reader);
    std::wstring command = std::wstring(L"vx_crash_child.exe ") + mode;  // found beside this test first
    run.started = std::filesystem::file_time_type::clock::now() - std::chrono::seconds(2);
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process{};
    if (!opened.isSuccess() || !CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE,
                                               CREATE_SUSPENDED, nullptr, nullptr, &startup, &process)) {
        ADD_FAILURE() << text(opened) << " CreateProcess: " << GetLastError();
        return run;
    }
    reader->watch(process.dwProcessId, process.hProcess);
    ResumeThread(process.hThread);
    EXPECT_EQ(WaitForSingleObject(process.hProcess, kChildTimeoutMs), WAIT_OBJECT_0);
    reader->waitUntilStopped(kChildTimeoutMs);
    reader.reset();  // the sink is done with the text
    GetExitCodeProcess(process.hProcess, &run.exitCode);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    for (size_t start = 0, end; start < output.size(); start = end + 1) {
        end = std::min(output.find('\n', start), output.size());
        run.lines.push_back(output.substr(start, end - start));
    }
    return run;
}

TEST(VXCrashChild, AccessViolationLeavesCrashLinesModulesAndADecodableDump) {
    const ChildRun run = runChild(L"access-violation");
    ASSERT_EQ(run.exitCode, static_cast<DWORD>(EXCEPTION_ACCESS_VIOLATION));
    const std::vector<std::string>& lines = run.lines;

    const int firstChance = findLine(lines, "First chance EXCEPTION_ACCESS_VIOLATION at ");
    const int crash = findLine(lines, "*** Crash ***");
    ASSERT_GE(crash, 0) << joinLines(lines);
    EXPECT_GE(findLine(lines, "Runtime switches read before the crash: yes"), 0);
    EXPECT_GE(firstChance, 0);
    EXPECT_LT(firstChance, crash);
    const std::regex exceptionLine("Exception: C0000005 at ([0-9A-F]{16}) in .*vx_crash_child\\.exe$",
                                   std::regex::icase);
    std::smatch match;
    ASSERT_TRUE(std::regex_search(lines[crash + 1], match, exceptionLine)) << lines[crash + 1];
    EXPECT_THAT(lines[firstChance], HasSubstr(match[1].str())) << "first chance names the same address";
    EXPECT_THAT(lines[crash + 2], HasSubstr(" - EXCEPTION_ACCESS_VIOLATION"));
    EXPECT_THAT(lines[crash + 3], HasSubstr("ACCESS_VIOLATION while writing 0000000000000010"));

    const int modulesEnd = findLine(lines, "LOADED MODULES DUMP END <<<<<<<<<<<<<<<<<<<<<<<", crash);
    const int modules = findLine(lines, "LOADED MODULES DUMP BEGIN >>>>>>>>>>>>>>>>>>>>>", crash);
    ASSERT_GT(modulesEnd, modules + 2);
    const std::regex moduleLine("Load Addr: 0x[0-9A-F]{16} Size: 0x[0-9a-f]{6,}\t Path: .+\\.(dll|exe)$",
                                std::regex::icase);
    for (int i = modules + 1; i < modulesEnd; ++i)
        EXPECT_TRUE(std::regex_search(lines[i], moduleLine)) << lines[i];
    const int generated = findLine(lines, "Crash dump data successfully generated.", modulesEnd);
    ASSERT_GT(generated, modulesEnd) << joinLines(lines);

    // The pieces themselves are the writer's own test; here the whole block must decode.
    ASSERT_GT(findLine(lines, "MDUMP BEGIN ", generated), generated);
    std::vector<std::vector<uint8_t>> dumps;
    const VXResult read = VXDumpText::extract(joinLines(lines), dumps);
    ASSERT_TRUE(read.isSuccess()) << read.message().toUtf8();
    ASSERT_EQ(dumps.size(), 1u);
    ASSERT_GT(dumps[0].size(), 1000u);
    EXPECT_EQ(std::string(dumps[0].begin(), dumps[0].begin() + 4), "MDMP");

    // The dump went through the default folder and did not stay there: no minidump written
    // there since the child started remains, whatever its name.
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(VXMiniDump::defaultFolder().wstr(), error)) {
        if (!entry.is_regular_file() || entry.last_write_time() < run.started)
            continue;
        std::ifstream file(entry.path(), std::ios::binary);
        char magic[4] = {};
        file.read(magic, 4);
        EXPECT_NE(std::string(magic, 4), "MDMP") << "a dump file remains: " << entry.path().string();
    }
}

// Each crash the process cannot survive gives one report, made to the end even when another
// thread crashes meanwhile. (A stack overflow cannot be shown under Wine 8: it ends the thread
// before any handler runs, in a program with nothing but an unhandled-exception filter too.)
TEST(VXCrashChild, EveryKindOfCrashGivesOneCompleteReport) {
    const struct {
        const wchar_t* mode;
        DWORD exitCode;
        const char* name;
    } crashes[] = {
        {L"terminate", kRuntimeTerminate, "EX_TERMINATE_HANDLER"},
        // GCC's pure virtual call prints "pure virtual method called" and calls terminate.
        {L"pure-virtual", kRuntimeTerminate, "EX_TERMINATE_HANDLER"},
        {L"purecall-handler", 0xE0000002, "EX_PURE_VIRT_CALL"},
        {L"invalid-parameter", 0xE0000003, "EX_INVALID_CRUNTIME_PARAMETER"},
        {L"second-thread", static_cast<DWORD>(EXCEPTION_ACCESS_VIOLATION), "EXCEPTION_ACCESS_VIOLATION"},
    };
    for (const auto& c : crashes) {
        const std::string mode = text(c.mode);
        const ChildRun run = runChild(c.mode);
        EXPECT_EQ(run.exitCode, c.exitCode) << mode;
        const int crash = findLine(run.lines, "*** Crash ***");
        ASSERT_GE(crash, 0) << mode << "\n" << joinLines(run.lines);
        EXPECT_EQ(countLines(run.lines, "*** Crash ***"), 1) << mode;
        char exception[32];
        std::snprintf(exception, sizeof(exception), "Exception: %08lX at ",
                      static_cast<unsigned long>(c.exitCode));
        EXPECT_THAT(run.lines[crash + 1], HasSubstr(exception)) << mode << ": " << run.lines[crash + 1];
        EXPECT_THAT(run.lines[crash + 2], HasSubstr(std::string(" - ") + c.name)) << mode;
        EXPECT_GT(findLine(run.lines, "LOADED MODULES DUMP END", crash), crash) << mode;
        // Without the dump library: one failure line and no dump.
        EXPECT_EQ(countLines(run.lines, "Failed to load dbghelp.dll while trying to create crash dump:"), 1)
            << mode;
        EXPECT_GT(findLine(run.lines, "Failed to load dbghelp.dll", crash), crash) << mode;
        EXPECT_EQ(countLines(run.lines, "MDUMP"), 0) << mode;
        if (mode == "second-thread") {  // it really crashed while the first report was being made
            EXPECT_GE(findLine(run.lines, "Second thread raised its exception"), 0);
        }
    }
}

// No thread can begin while the crashing thread holds the loader lock: the report says so after
// a short wait instead of waiting out the dump's minute.
TEST(VXCrashChild, ACrashUnderTheLoaderLockIsReportedWithoutWaitingForTheDump) {
    const auto start = std::chrono::steady_clock::now();
    const ChildRun run = runChild(L"loader-lock");
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start);
    EXPECT_EQ(run.exitCode, static_cast<DWORD>(EXCEPTION_ACCESS_VIOLATION)) << joinLines(run.lines);
    const int crash = findLine(run.lines, "*** Crash ***");
    ASSERT_GE(crash, 0) << joinLines(run.lines);
    EXPECT_GT(findLine(run.lines, "LOADED MODULES DUMP END", crash), crash);
    EXPECT_GT(findLine(run.lines, "Crash dump thread did not start within 5000 ms", crash), crash)
        << joinLines(run.lines);
    EXPECT_LT(seconds.count(), 40) << "the dump's minute was waited out";
}

TEST(VXCrashChild, FaultInsideTheHandlerIsReported) {
    const ChildRun run = runChild(L"handler-fault");
    EXPECT_EQ(run.exitCode, static_cast<DWORD>(EXCEPTION_ACCESS_VIOLATION));
    EXPECT_GE(findLine(run.lines, "VXDebugExceptionHandler crashed !"), 0) << joinLines(run.lines);
}

}  // namespace
