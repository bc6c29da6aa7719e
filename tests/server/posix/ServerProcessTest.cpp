// The real Linux server in unit-test mode, no display needed: the exchange byte for byte, its
// exit codes, the objects it leaves, its crash report and its tie to the host process.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>

#include "SerializeUtils.h"
#include "ServerProcess.h"
#include "VistrelExchange.h"
#include "VistrelSharedObjects.h"
#include "support/ResultText.h"
#include "support/TestParams.h"

namespace {

using testsupport::ServerEnd;
using testsupport::ServerProcess;
using Open = VXSharedMapping::Open;
using Clock = std::chrono::steady_clock;

constexpr int kEndMs = 20000;
constexpr uint32_t kAnswerMs = 10000;
constexpr uint8_t kMark = 0xCD;

std::string stderrFile(const char* test) {
    return (std::filesystem::temp_directory_path() /
            (std::string("vistrel-") + test + "-" + std::to_string(getpid()) + ".log"))
        .string();
}

std::vector<std::string> argsFor(const Vistrel::Params& params, bool unitTestMode) {
    const VXRect& r = params.captureRect;
    return testsupport::serverArgs(r.getLeft(), r.getTop(), r.getRight(), r.getBottom(), text(params.guid),
                                   unitTestMode);
}

std::vector<std::string> hostEnvironment() {
    return {"VISTREL_HOST_PID=" + std::to_string(getpid())};
}

bool inDevShm(const VXString& name) {
    return std::filesystem::exists("/dev/shm/" + name.toUtf8());
}

std::vector<VXString> objectNames(const Vistrel::Params& p) {
    return {p.eventStartName, p.eventCompletedName, p.exclWndsName, p.captureCursorName,
            p.imageName,      p.waitResultName,     p.resultName};
}

Vistrel::ResultRecord resultOf(const Vistrel::SharedObjects& objects) {
    Vistrel::ResultRecord record;
    EXPECT_NE(SerializeUtils::readResult(objects.shMemResult->view, Vistrel::kResultBlockSize, record),
              nullptr);
    return record;
}

// One request as a host makes it; false when no answer came.
bool request(const Vistrel::SharedObjects& objects, const std::vector<uint64_t>& windows, bool cursor) {
    SerializeUtils::writeWindowList(objects.shMemExclWnds->view, Vistrel::kExclWndsBlockSize, windows);
    SerializeUtils::writeBool(objects.shMemCaptureCursor->view, cursor);
    objects.eventStart->set();
    return objects.eventCompleted->wait(kAnswerMs).isSuccess();
}

// Ends a serving server the way a broken exchange does: a window count the list block cannot hold.
void breakExchange(const Vistrel::SharedObjects& objects) {
    SerializeUtils::writeUInt64(objects.shMemExclWnds->view, 5000);
    objects.eventStart->set();
}

TEST(LinuxServer, UnitTestModeExchangeWritesTheRecordsByteForByte) {
    const auto params = testParams(VXRect(100, 50, 103, 52));
    std::shared_ptr<Vistrel::SharedObjects> host;
    ASSERT_TRUE(Vistrel::SharedObjects::create(*params, host, Open::eCreateExclusive).isSuccess());
    std::memset(host->shMemResult->view, kMark, Vistrel::kResultBlockSize);
    ServerProcess server(argsFor(*params, true), hostEnvironment(), stderrFile("exchange"));
    ASSERT_NE(server.pid(), 0);

    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(request(*host, {0x1234, static_cast<uint64_t>(i)}, i == 1)) << "request " << i;
        const uint8_t* result = host->shMemResult->view;
        const uint8_t expectedResult[] = {0xD0, 0x07, 0, 0, kMark, kMark, kMark, kMark, 1,
                                          0,    0,    0, 0, 0,     0,     0,     0,     0};
        EXPECT_EQ(std::vector<uint8_t>(result, result + sizeof(expectedResult)),
                  std::vector<uint8_t>(expectedResult, expectedResult + sizeof(expectedResult)));
        // 3 x 2 pixels of a freshly made image: zeros.
        std::vector<uint8_t> expectedImage = {1, 3, 0, 0, 0, 2, 0, 0, 0, 32, 0, 0, 0};
        expectedImage.resize(13 + 3 * 2 * 4, 0);
        const uint8_t* image = host->shMemImage->view;
        EXPECT_EQ(std::vector<uint8_t>(image, image + expectedImage.size()), expectedImage);
        const uint8_t* wait = host->shMemWaitResult->view;
        EXPECT_EQ(std::vector<uint8_t>(wait, wait + 9), std::vector<uint8_t>(9, 0));
        EXPECT_EQ(host->eventCompleted->isSignaled().code(), VXStatus::eNo) << "one signal per answer";
    }

    breakExchange(*host);
    const ServerEnd end = server.waitEnd(kEndMs);
    EXPECT_TRUE(end.exited);
    EXPECT_EQ(end.code, 10);
    const Vistrel::ResultRecord final = resultOf(*host);
    EXPECT_EQ(final.code, 2020);
    EXPECT_THAT(text(final.text), StartsWith("Failed reading excluded windows at Vistrel::serveRequests, "));
    EXPECT_THAT(text(final.text), HasSubstr("Error returned at Vistrel::run, "));
    EXPECT_EQ(testsupport::readFile(stderrFile("exchange")), "") << "nothing to say while all is well";

    for (const VXString& name : objectNames(*params))
        EXPECT_TRUE(inDevShm(name)) << "the host's objects are the host's to remove";
    host.reset();
    for (const VXString& name : objectNames(*params))
        EXPECT_FALSE(inDevShm(name)) << text(name);
}

TEST(LinuxServer, ACaptureWithoutAReaderIsRefusedPerRequestAndTheLoopGoesOn) {
    const auto params = testParams(VXRect(0, 0, 16, 16));
    std::shared_ptr<Vistrel::SharedObjects> host;
    ASSERT_TRUE(Vistrel::SharedObjects::create(*params, host, Open::eCreateExclusive).isSuccess());
    std::memset(host->shMemImage->view, kMark, 64);
    // No display named: the reader that refuses, whatever display the test run has.
    std::vector<std::string> environment = hostEnvironment();
    environment.push_back("DISPLAY=");
    ServerProcess server(argsFor(*params, false), environment, stderrFile("noreader"));
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(request(*host, {}, false));
        const Vistrel::ResultRecord result = resultOf(*host);
        EXPECT_EQ(result.code, 2018);
        EXPECT_THAT(text(result.text), StartsWith("No screen reader is available on this display at "));
        EXPECT_EQ(host->shMemImage->view[0], kMark);
    }
    breakExchange(*host);
    EXPECT_EQ(server.waitEnd(kEndMs).code, 10);
}

TEST(LinuxServer, StagesThatFailEndWithTheirExitCodes) {
    ServerProcess bare({}, hostEnvironment(), stderrFile("bare"));
    const ServerEnd noArguments = bare.waitEnd(kEndMs);
    EXPECT_TRUE(noArguments.exited);
    EXPECT_EQ(noArguments.code, 12);

    // A rectangle the service refuses: told in the result block, exit 10.
    const auto empty = testParams(VXRect(10, 10, 5, 5));
    std::shared_ptr<Vistrel::SharedObjects> host;
    ASSERT_TRUE(Vistrel::SharedObjects::create(*empty, host, Open::eCreateExclusive).isSuccess());
    ServerProcess refused(argsFor(*empty, true), hostEnvironment(), stderrFile("empty"));
    EXPECT_EQ(refused.waitEnd(kEndMs).code, 10);
    const Vistrel::ResultRecord final = resultOf(*host);
    EXPECT_EQ(final.code, 2005);
    EXPECT_THAT(text(final.text), HasSubstr("Parameter check \"!captureRect.isEmpty()\" failed at "));

    // An image block too small for the rectangle cannot be mapped: exit 13, nothing written.
    const auto params = testParams(VXRect(0, 0, 1920, 1080));
    std::unique_ptr<VXSharedMapping> small;
    ASSERT_TRUE(VXSharedMapping::create(params->imageName, 4096, Open::eCreateExclusive, small).isSuccess());
    ServerProcess unmappable(argsFor(*params, true), hostEnvironment(), stderrFile("small"));
    const ServerEnd end = unmappable.waitEnd(kEndMs);
    EXPECT_TRUE(end.exited);
    EXPECT_EQ(end.code, 13);
    for (const VXString& name : objectNames(*params))
        EXPECT_EQ(inDevShm(name), name == params->imageName)
            << "what the server made, it removed: " << text(name);
}

TEST(LinuxServer, AServerWithoutAHostMakesItsObjectsOwnerOnlyAndRemovesThem) {
    const auto params = testParams(VXRect(0, 0, 8, 8));
    ServerProcess server(argsFor(*params, true), {}, stderrFile("hostless"));
    std::shared_ptr<Vistrel::SharedObjects> host;
    ASSERT_TRUE(testsupport::openServerObjects(*params, host, kEndMs));
    for (const VXString& name : objectNames(*params)) {
        struct stat info {};
        ASSERT_EQ(stat(("/dev/shm/" + name.toUtf8()).c_str(), &info), 0) << text(name);
        EXPECT_EQ(info.st_mode & 0777, 0600u) << text(name);
    }
    ASSERT_TRUE(request(*host, {}, false));
    EXPECT_EQ(resultOf(*host).code, 2000);
    breakExchange(*host);
    EXPECT_EQ(server.waitEnd(kEndMs).code, 10);
    for (const VXString& name : objectNames(*params))
        EXPECT_FALSE(inDevShm(name)) << text(name);
    EXPECT_EQ(resultOf(*host).code, 2020) << "a host that holds the block still reads the final result";
}

TEST(LinuxServer, ACrashWritesItsReportToStandardErrorAndEndsWithTheSignal) {
    const struct {
        const char* how;
        int signal;
        const char* line;
    } kCrashes[] = {{"segv", SIGSEGV, "Signal SIGSEGV (11), code 2, fault address 0x"},
                    {"abort", SIGABRT, "Signal SIGABRT (6), code -6, sent by process "}};
    for (const auto& crash : kCrashes) {
        const auto params = testParams(VXRect(0, 0, 8, 8));
        std::shared_ptr<Vistrel::SharedObjects> host;
        ASSERT_TRUE(Vistrel::SharedObjects::create(*params, host, Open::eCreateExclusive).isSuccess());
        const std::string log = stderrFile(crash.how);
        ServerProcess server(argsFor(*params, true), {std::string("VX_TEST_CRASH=") + crash.how}, log);
        const ServerEnd end = server.waitEnd(kEndMs);
        EXPECT_FALSE(end.exited) << crash.how;
        EXPECT_EQ(end.code, crash.signal) << crash.how;
        const std::string report = testsupport::readFile(log);
        EXPECT_THAT(report, HasSubstr(" PST C: [")) << report;
        EXPECT_THAT(report, HasSubstr("VXCrashHandler - *** Crash ***\n")) << report;
        EXPECT_THAT(report, HasSubstr(crash.line)) << report;
        // The frames name the server's own code by module and offset.
        EXPECT_THAT(report, HasSubstr(" " + testsupport::serverPath() + "+0x")) << report;
    }
}

TEST(LinuxServer, TheServerEndsWithItsHost) {
    // The orphaned server comes back to this process, so that its end can be waited for.
    ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
    const auto params = testParams(VXRect(0, 0, 8, 8));
    int pipeEnds[2];
    ASSERT_EQ(pipe(pipeEnds), 0);
    const pid_t fakeHost = fork();
    if (fakeHost == 0) {
        std::vector<std::string> env{"VISTREL_HOST_PID=" + std::to_string(getpid())};
        auto* server = new ServerProcess(argsFor(*params, true), env, stderrFile("orphan"));
        const pid_t pid = server->pid();
        (void)!write(pipeEnds[1], &pid, sizeof(pid));
        pause();
        _exit(0);
    }
    pid_t serverPid = 0;
    ASSERT_EQ(read(pipeEnds[0], &serverPid, sizeof(serverPid)), static_cast<ssize_t>(sizeof(serverPid)));
    ASSERT_TRUE(testsupport::waitForFile("/dev/shm/" + params->resultName.toUtf8(), kEndMs));
    kill(fakeHost, SIGKILL);
    waitpid(fakeHost, nullptr, 0);
    const auto killed = Clock::now();
    int status = 0;
    ASSERT_EQ(waitpid(serverPid, &status, 0), serverPid);
    EXPECT_LT(Clock::now() - killed, std::chrono::seconds(5)) << "not after the request time-out";
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    for (const VXString& name : objectNames(*params))
        VXSharedMapping::remove(name);  // a killed server cannot clean up; a host start would

    // A host that is gone before the server starts: the server sees another parent and ends.
    ServerProcess late(argsFor(*params, true), {"VISTREL_HOST_PID=1"}, stderrFile("late"));
    const ServerEnd end = late.waitEnd(kEndMs);
    EXPECT_FALSE(end.exited);
    EXPECT_EQ(end.code, SIGKILL);
    EXPECT_THAT(testsupport::readFile(stderrFile("late")), HasSubstr("Host process 1 has ended"));
    close(pipeEnds[0]);
    close(pipeEnds[1]);
    prctl(PR_SET_CHILD_SUBREAPER, 0);
}

}  // namespace
