#include <gtest/gtest.h>

#include <windows.h>

#include <objbase.h>

#include <atomic>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "LogText.h"
#include "VXRuntimeSwitches.h"
#include "VXThread.h"

namespace {

constexpr uint32_t kShortMs = 200;
constexpr uint32_t kTestDeadlockMs = 300;

// A body that runs until it is asked to stop and then returns the given code.
VXThread::Body untilStopped(int32_t code = VXError::eNoError) {
    return [code](VXEvent& stop, VXEvent&) {
        stop.wait(INFINITE);
        return VXResult(code);
    };
}

class VXThreadTest : public ::testing::Test {
protected:
    void TearDown() override { VXRuntimeSwitches::resetToDefaults(); }
};

TEST_F(VXThreadTest, RunsItsBodyUntilAskedToStop) {
    VXThread thread(u"worker", untilStopped(VXError::eTooLong));
    EXPECT_EQ(thread.state(), VXThread::eCreated);
    EXPECT_EQ(thread.isRunning().code(), VXStatus::eNo);
    ASSERT_TRUE(thread.start().isSuccess());
    EXPECT_EQ(thread.state(), VXThread::eRunning);
    EXPECT_EQ(thread.isRunning().code(), VXStatus::eYes);
    EXPECT_EQ(thread.join(kShortMs).code(), VXError::eTimeout);
    thread.stop();
    EXPECT_EQ(thread.join().code(), VXError::eNoError);
    EXPECT_EQ(thread.state(), VXThread::eFinished);
    EXPECT_EQ(thread.isRunning().code(), VXStatus::eNo);
    EXPECT_EQ(thread.result().code(), VXError::eTooLong);
}

TEST_F(VXThreadTest, JoinFromTheThreadItselfIsRefusedAtOnce) {
    std::atomic<int32_t> code{0};
    VXThread* self = nullptr;
    VXEvent ready(nullptr, true, VXSync::eScopeUnnamed);
    VXThread thread(u"self-joiner", [&](VXEvent&, VXEvent&) {
        ready.wait(INFINITE);
        // Without the check this would wait for itself until the time runs out.
        code = self->join(60000).code();
        return VXResult(VXError::eNoError);
    });
    self = &thread;
    ASSERT_TRUE(thread.start().isSuccess());
    ready.set();
    ASSERT_EQ(thread.join(30000).code(), VXError::eNoError);
    EXPECT_EQ(code.load(), VXThreadError::eCantJoinCurrent);
}

TEST_F(VXThreadTest, JoinBeforeStartIsLoggedAndRefusedWhenAsked) {
    LogCapture log;
    VXThread thread(u"idle", untilStopped());
    EXPECT_EQ(thread.join(INFINITE, true, true).code(), VXThreadError::eNotRunning);
    const std::vector<std::string> lines = log.bodies();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].substr(0, 3), "d: ");
    EXPECT_NE(lines[0].find("join_() called on thread \"idle\" before it has been started."),
              std::string::npos);
    // Without the flag the join waits on the suspended thread.
    EXPECT_EQ(thread.join(kShortMs, true, false).code(), VXError::eTimeout);
}

TEST_F(VXThreadTest, SecondStartReportsTheNotReadyAssertion) {
    VXThread thread(u"twice", untilStopped());
    ASSERT_TRUE(thread.start().isSuccess());
    LogCapture log;
    EXPECT_TRUE(thread.start().isError());
    thread.stop();
    EXPECT_TRUE(thread.join().isSuccess());
    const std::vector<std::string> lines = log.bodies();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(std::regex_search(
        lines[0],
        std::regex("E: .*Assertion failure at VXThread::start, vxthread\\.cpp:[0-9]+\\. Thread \"twice\" "
                   "was not ready to run, state=2$")))
        << lines[0];
}

TEST_F(VXThreadTest, InfiniteJoinReportsADeadlockOnceAndKeepsWaiting) {
    VXRuntimeSwitches::setDeadlockTimeoutMs(kTestDeadlockMs);
    VXThread thread(u"slow", untilStopped());
    ASSERT_TRUE(thread.start().isSuccess());
    std::thread stopper([&] {
        Sleep(kTestDeadlockMs * 4);
        thread.stop();
    });
    LogCapture log;
    EXPECT_EQ(thread.join().code(), VXError::eNoError);
    stopper.join();
    const std::vector<std::string> lines = log.bodies();
    EXPECT_EQ(countLines(lines, "Deadlock detected while waiting on thread \"slow\""), 1);
    char expected[160];
    std::snprintf(expected, sizeof(expected),
                  "Deadlock detected while waiting on thread \"slow\" with handle 0x%016llX "
                  "and thread id 0x%08lX",
                  static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(thread.handle())),
                  thread.threadId());
    EXPECT_EQ(countLines(lines, expected), 1) << expected;
    EXPECT_EQ(countLines(lines, "Current thread context:"), 1);
    EXPECT_EQ(countLines(lines, "Current thread return address: 0x"), 1);
    for (const std::string& line : lines) {
        if (line.find("Deadlock") != std::string::npos) {
            EXPECT_EQ(line.substr(0, 3), "C: ");
        }
    }
}

TEST_F(VXThreadTest, DeadlockWatchIsOffWithTheSwitch) {
    VXRuntimeSwitches::setDeadlockTimeoutMs(kTestDeadlockMs);
    VXRuntimeSwitches::setThreadJoinDeadlockDetection(false);
    VXThread thread(u"unwatched", untilStopped());
    ASSERT_TRUE(thread.start().isSuccess());
    std::thread stopper([&] {
        Sleep(kTestDeadlockMs * 3);
        thread.stop();
    });
    LogCapture log;
    EXPECT_TRUE(thread.join().isSuccess());
    stopper.join();
    EXPECT_EQ(countLines(log.lines(), "Deadlock detected"), 0);
}

TEST_F(VXThreadTest, JoinElseTerminateEndsAThreadThatDoesNotStop) {
    VXThread thread(u"stuck", untilStopped());
    ASSERT_TRUE(thread.start().isSuccess());
    LogCapture log;
    EXPECT_EQ(thread.joinElseTerminate(kShortMs).code(), VXError::eTimeout);
    EXPECT_EQ(thread.state(), VXThread::eTerminated);
    EXPECT_EQ(WaitForSingleObject(thread.handle(), 0), WAIT_OBJECT_0);
    const std::vector<std::string> lines = log.bodies();
    char expected[200];
    std::snprintf(
        expected, sizeof(expected),
        "Waiting on thread \"stuck\" with handle 0x%016llX timed out (timeout = 200, return address = 0x",
        static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(thread.handle())));
    ASSERT_EQ(countLines(lines, expected), 1) << expected;
    EXPECT_EQ(countLines(lines, "). The thread will be terminated."), 1);
    EXPECT_EQ(countLines(lines, "VXThread::joinElseTerminate2 - join_() timed out for thread \"stuck\"."), 1);
    // A finished thread is not terminated again.
    EXPECT_TRUE(thread.terminate().isSuccess());
}

TEST_F(VXThreadTest, JoinElseTerminateOfAThreadNeverStarted) {
    VXThread thread(u"unstarted", untilStopped());
    LogCapture log;
    EXPECT_EQ(thread.joinElseTerminate(kShortMs).code(), VXThreadError::eNotRunning);
    EXPECT_EQ(thread.state(), VXThread::eTerminated);
    const std::vector<std::string> lines = log.bodies();
    EXPECT_EQ(countLines(lines, "Waiting on thread \"unstarted\" with handle 0x"), 1);
    EXPECT_EQ(countLines(lines, "failed (return address = 0x"), 1);
    EXPECT_EQ(countLines(lines, "Thread \"unstarted\" being terminated was not started."), 1);
    EXPECT_EQ(countLines(lines, "Thread \"unstarted\" is being terminated, but has not been started."), 1);
}

TEST_F(VXThreadTest, PrioritiesAreCheckedAndApplied) {
    VXThread thread(u"low", untilStopped(), VXComMode::eNone, THREAD_PRIORITY_BELOW_NORMAL);
    int32_t priority = 99;
    ASSERT_TRUE(thread.getPriority(priority).isSuccess());
    EXPECT_EQ(priority, THREAD_PRIORITY_BELOW_NORMAL);
    ASSERT_TRUE(thread.setPriority(THREAD_PRIORITY_LOWEST).isSuccess());
    ASSERT_TRUE(thread.getPriority(priority).isSuccess());
    EXPECT_EQ(priority, THREAD_PRIORITY_LOWEST);
    for (const int32_t bad : {3, -3, 7, 16}) {
        const VXResult r = thread.setPriority(bad);
        EXPECT_EQ(r.code(), VXError::eBadParameter) << bad;
        EXPECT_NE(r.message().toUtf8().find("Invalid priority passed to VXThread::setPriority!"),
                  std::string::npos);
    }
    ASSERT_TRUE(thread.getPriority(priority).isSuccess());
    EXPECT_EQ(priority, THREAD_PRIORITY_LOWEST);
    ASSERT_TRUE(thread.start().isSuccess());
    thread.stop();
    EXPECT_TRUE(thread.join().isSuccess());
}

TEST_F(VXThreadTest, ComIsUpOnTheThreadInItsMode) {
    std::atomic<int> apartment{-1};
    VXThread thread(
        u"com",
        [&](VXEvent&, VXEvent&) {
            APTTYPE type = APTTYPE_CURRENT;
            APTTYPEQUALIFIER qualifier = APTTYPEQUALIFIER_NONE;
            if (SUCCEEDED(CoGetApartmentType(&type, &qualifier)))
                apartment = type;
            return VXResult(VXError::eNoError);
        },
        VXComMode::eMultiThreaded);
    ASSERT_TRUE(thread.start().isSuccess());
    ASSERT_TRUE(thread.join().isSuccess());
    EXPECT_EQ(apartment.load(), APTTYPE_MTA);
}

TEST_F(VXThreadTest, DestroyingARunningThreadIsReportedAndLeavesItRunning) {
    VXEvent release(nullptr, true, VXSync::eScopeUnnamed);
    std::atomic<bool> finished{false};
    HANDLE handle = nullptr;
    DWORD id = 0;
    LogCapture log;
    {
        VXThread thread(u"orphan", [&](VXEvent& stop, VXEvent&) {
            release.wait(INFINITE);
            // The events stay valid after the owner is gone.
            EXPECT_EQ(stop.isSignaled().code(), VXStatus::eNo);
            finished = true;
            return VXResult(VXError::eNoError);
        });
        ASSERT_TRUE(thread.start().isSuccess());
        ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), thread.handle(), GetCurrentProcess(), &handle,
                                    SYNCHRONIZE, FALSE, 0));
        id = thread.threadId();
    }
    const std::string expected = "Thread " + std::to_string(id) + "(0x" + [&] {
        char hex[16];
        std::snprintf(hex, sizeof(hex), "%lx", id);
        return std::string(hex);
    }() + ") \"orphan\" is destroyed while still running. Return address = 0x";
    EXPECT_EQ(countLines(log.lines(), expected), 1) << expected;
    release.set();
    EXPECT_EQ(WaitForSingleObject(handle, 30000), WAIT_OBJECT_0);
    CloseHandle(handle);
    EXPECT_TRUE(finished.load());
}

}  // namespace
