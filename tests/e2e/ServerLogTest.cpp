// The server's debug output collected by the host: the server's own lines and the host's marked
// ones, a crash's dump beside the log, and a second host that finds the buffer taken.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <fstream>
#include <iterator>
#include <mutex>
#include <thread>

#include "E2ESupport.h"
#include "ServerLogText.h"
#include "VXDumpText.h"
#include "VistrelHostCommand.h"
#include "support/ResultText.h"
#include "support/win32/DebugOutputReader.h"
#include "vistrel_host.h"

namespace {

// A crash dump takes 7 to 24 s under Wine; the grab waits up to 90 s for it.
constexpr uint32_t kCrashRunTimeoutMs = 180000;
constexpr char kNoise[] = "e2e noise written by the test process";

std::string readAll(const VXString& path) {
    std::ifstream in(path.toUtf8(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool isHostLine(const std::string& line) {
    // "<date> <time> PST [host] ..."
    const size_t at = line.find(" PST ");
    return at != std::string::npos && line.compare(at + 5, 7, Vistrel::ServerLogText::kHostMarker) == 0;
}

// A log beside the staged server; the folder is this run's own, so nothing is left from another.
VXString freshLog(const VXString& server, const char16_t* name) {
    const VXString path = Vistrel::folderOf(server) + VXString(name);
    DeleteFileW(path.wstr());
    for (uint32_t n = 1; n <= 3; ++n)
        DeleteFileW(Vistrel::ServerLogText::dumpFileName(path, n).wstr());
    return path;
}

TEST(ServerLog, HoldsExactlyTheServersMessagesAndTheHostsMarkedLines) {
    e2e::ScopedEnvironment failUninitialize(L"VXMAG_FAIL_UNINITIALIZE", L"5");
    e2e::ScopedEnvironment noFilterList(L"VXMAG_FILTER_LIMIT", L"0");
    const VXString server = e2e::stageServer();
    const VXString logPath = freshLog(server, u"uninitialize.log");
    std::mutex lock;
    std::vector<std::pair<std::string, bool>> delivered;
    Vistrel::ServerLogOptions log;
    log.path = logPath;
    log.callback = [&](std::string_view line, bool fromHost) {
        std::lock_guard<std::mutex> guard(lock);
        delivered.emplace_back(std::string(line), fromHost);
    };

    const VXString id = VXString(u"e2e-log-") + e2e::freshGuid();
    std::atomic<uint64_t> noise{0};
    uint32_t processId = 0;
    {
        // Another process of the session writing debug output all the while.
        std::jthread writer([&](std::stop_token stop) {
            for (; !stop.stop_requested(); ++noise)
                OutputDebugStringA(kNoise);
        });
        std::unique_ptr<Vistrel::Host> host;
        const VXResult started = Vistrel::Host::startWithOptions(
            server, vxFormat(u"\"/cr 0,0,64,64\" \"/g %s\" \"/ut\" \"/SessionKey s3cr3t\"", id), host, log);
        ASSERT_TRUE(started.isSuccess()) << text(started);
        ASSERT_TRUE(host->logResult().isSuccess()) << text(host->logResult());
        processId = host->processId();
        Vistrel::Capture capture;
        ASSERT_TRUE(
            host->capture({reinterpret_cast<uintptr_t>(GetDesktopWindow())}, false, capture).isSuccess());
        EXPECT_GT(capture.result.code, 2000);
        // A window count past the block ends the loop; the server then shuts down and logs
        // the failed MagUninitialize.
        const uint64_t count = 5000;
        std::memcpy(host->view(Vistrel::ServerInstance::Block::eExclWnds), &count, sizeof count);
        ASSERT_TRUE(host->signalStart().isSuccess());
        Vistrel::ResultRecord final;
        EXPECT_EQ(e2e::exitOf(*host, final), 10u);
    }
    EXPECT_GT(noise.load(), 0u);

    // The server wrote one message; it carries the level prefix, the failure and its error. The
    // host's lines are marked as such.
    std::vector<std::string> serverMessages, hostLines;
    std::string expectedFile;
    for (const auto& [line, fromHost] : delivered) {
        EXPECT_EQ(isHostLine(line), fromHost) << line;
        if (fromHost)
            hostLines.push_back(line.substr(line.find(Vistrel::ServerLogText::kHostMarker) + 7));
        else
            serverMessages.push_back(line);
        expectedFile += line + "\n";
    }
    ASSERT_EQ(serverMessages.size(), 1u) << expectedFile;
    EXPECT_THAT(serverMessages[0], HasSubstr(" PST E: ["));
    EXPECT_THAT(serverMessages[0], HasSubstr("Method \"MagUninitialize\" returned Win32 error [5]."));

    // The file holds what the callback got, in the same order, and nothing of the noise.
    const std::string file = readAll(logPath);
    EXPECT_EQ(file, expectedFile);
    for (const char* hidden : {kNoise, "s3cr3t", "SessionKey"})
        EXPECT_EQ(file.find(hidden), std::string::npos) << hidden;

    ASSERT_EQ(hostLines.size(), 3u) << file;
    EXPECT_THAT(hostLines[0],
                StartsWith("Server started: \"" + server.toUtf8() + "\" \"/cr 0,0,64,64\" \"/g " + text(id) +
                           "\" \"/ut\"; process id " + std::to_string(processId) + "; version "));
    EXPECT_THAT(hostLines[1], StartsWith("Answer (20"));
    EXPECT_THAT(hostLines[2], StartsWith("Server ended with exit code 10; final result (2020) "));
    EXPECT_THAT(hostLines[2], HasSubstr("Failed reading excluded windows"));
    EXPECT_TRUE(isHostLine(delivered.back().first));
}

TEST(ServerLog, ACrashOnTheCapturePathLeavesItsLinesAndADumpBesideTheLog) {
    e2e::ScopedEnvironment fault(L"VXMAG_FAULT_SOURCE", L"1");
    const VXString server = e2e::stageServer();
    const VXString logPath = freshLog(server, u"crash.log");
    const VXString outputPath = logPath + VXString(u".out");
    const VXString grab = Vistrel::executableFolder() + VXString(u"vistrel-grab.exe");
    const uint32_t exitCode = e2e::runProcess(
        grab, vxFormat(u"\"%s\" --rect 0,0,64,64 --server \"%s\" --log \"%s\"", grab, server, logPath),
        kCrashRunTimeoutMs, outputPath);
    const std::string output = readAll(outputPath);
    EXPECT_EQ(exitCode, 2u) << output;
    // The server dies while answering, or, when writing the dump outlasts the answer's
    // time-out, after it.
    EXPECT_THAT(output, ::testing::AnyOf(HasSubstr("capture: (3001) Server ended with exit code 3221225477"),
                                         HasSubstr("server ended with exit code 3221225477 (0xC0000005)")));
    const VXString dumpPath = Vistrel::ServerLogText::dumpFileName(logPath, 1);
    EXPECT_THAT(output, HasSubstr("log: " + logPath.toUtf8() + "\r\n"));
    EXPECT_THAT(output, HasSubstr("crash dump: " + dumpPath.toUtf8() + "\r\n"));

    const std::string log = readAll(logPath);
    EXPECT_NE(log.find("*** Crash ***"), std::string::npos) << log.substr(0, 4000);
    const size_t exception = log.find("Exception: C0000005 at ");
    ASSERT_NE(exception, std::string::npos);
    EXPECT_THAT(log.substr(exception, log.find('\n', exception) - exception), HasSubstr("Magnification.dll"));
    // Not printed on failure: the log holds the dump.
    for (const char* line :
         {"ACCESS_VIOLATION while writing 0000000000000010",
          "[host] Server ended with exit code 3221225477 (0xC0000005): EXCEPTION_ACCESS_VIOLATION"})
        EXPECT_NE(log.find(line), std::string::npos) << line;
    const std::vector<VXDumpText::Block> blocks = VXDumpText::findBlocks(log);
    ASSERT_EQ(blocks.size(), 1u);
    std::vector<uint8_t> decoded;
    ASSERT_TRUE(VXDumpText::decodeBlock(blocks[0], decoded).isSuccess());
    const std::string dump = readAll(dumpPath);
    EXPECT_EQ(dump.substr(0, 4), "MDMP");
    EXPECT_TRUE(dump == std::string(decoded.begin(), decoded.end())) << "the dump file is the log's block";
}

// A server that logs one error line as it ends: the loop refuses a window count past the block,
// and the stand-in's MagUninitialize then fails.
void endWithALoggedError(Vistrel::Host& host) {
    const uint64_t count = 5000;
    std::memcpy(host.view(Vistrel::ServerInstance::Block::eExclWnds), &count, sizeof count);
    ASSERT_TRUE(host.signalStart().isSuccess());
    Vistrel::ResultRecord final;
    EXPECT_EQ(e2e::exitOf(host, final), 10u);
}

TEST(ServerLog, TwoHostsEachGetTheirOwnServersLinesAndTheSessionsDebugOutputStaysFree) {
    e2e::ScopedEnvironment failUninitialize(L"VXMAG_FAIL_UNINITIALIZE", L"5");
    const VXString server = e2e::stageServer();
    const VXRect rect(0, 0, 32, 32);
    const VXString firstLog = freshLog(server, u"first.log");
    auto first = e2e::startHost(rect, true, firstLog);
    ASSERT_TRUE(first);

    // A debug-output viewer started during the share finds the buffer free and receives the
    // lines another program writes there (the first host's server, which writes both).
    std::mutex lock;
    std::string viewed;
    std::unique_ptr<Vistrel::DebugOutputReader> viewer;
    ASSERT_TRUE(Vistrel::DebugOutputReader::open(
                    [&](std::string&& message) {
                        std::lock_guard<std::mutex> guard(lock);
                        viewed += message;
                    },
                    viewer)
                    .isSuccess());
    HANDLE firstProcess = OpenProcess(SYNCHRONIZE, FALSE, first->processId());
    ASSERT_NE(firstProcess, nullptr);
    viewer->watch(first->processId(), firstProcess);

    std::vector<std::pair<std::string, bool>> secondLines;
    Vistrel::ServerLogOptions log;
    log.callback = [&](std::string_view line, bool fromHost) {
        std::lock_guard<std::mutex> guard(lock);
        secondLines.emplace_back(std::string(line), fromHost);
    };
    std::unique_ptr<Vistrel::Host> second;
    ASSERT_TRUE(Vistrel::Host::startWithOptions(
                    server, vxFormat(u"\"/cr 0,0,32,32\" \"/g %s\" \"/ut\"", e2e::freshGuid()), second, log)
                    .isSuccess());
    const uint32_t firstServer = first->processId();
    const uint32_t secondServer = second->processId();
    Vistrel::Capture capture;
    ASSERT_TRUE(first->capture({}, false, capture).isSuccess());
    ASSERT_TRUE(second->capture({}, false, capture).isSuccess());
    endWithALoggedError(*first);
    endWithALoggedError(*second);
    second.reset();
    first.reset();
    viewer->waitUntilStopped(5000);  // it stops once the watched server has ended
    viewer.reset();
    CloseHandle(firstProcess);

    // Each log holds its own server's one error line: the server's identifier is in the host's
    // start line, and one more such line would be the other server's.
    auto count = [](const std::string& text, const std::string& what) {
        size_t n = 0;
        for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
            ++n;
        return n;
    };
    const std::string errorLine = "Method \"MagUninitialize\" returned Win32 error [5]";
    const std::string firstFile = readAll(firstLog);
    EXPECT_EQ(count(firstFile, errorLine), 1u) << firstFile;
    EXPECT_THAT(firstFile, HasSubstr("process id " + std::to_string(firstServer) + ";"));
    std::lock_guard<std::mutex> guard(lock);
    std::string secondFile;
    size_t serverLines = 0;
    for (const auto& [line, fromHost] : secondLines) {
        EXPECT_EQ(isHostLine(line), fromHost) << line;
        secondFile += line + "\n";
        serverLines += fromHost ? 0 : 1;
    }
    EXPECT_EQ(serverLines, 1u) << secondFile;
    EXPECT_EQ(count(secondFile, errorLine), 1u) << secondFile;
    EXPECT_THAT(secondFile, HasSubstr("process id " + std::to_string(secondServer) + ";"));
    EXPECT_THAT(viewed, HasSubstr(errorLine));
}

}  // namespace
