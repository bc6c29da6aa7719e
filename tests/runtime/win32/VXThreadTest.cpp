#include <gtest/gtest.h>

#include <windows.h>

#include <atomic>
#include <cstdio>
#include <string>
#include <thread>

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
    EXPECT_EQ(thread.isRunning().code(), VXStatus::eNo);
    ASSERT_TRUE(thread.start().isSuccess());
    EXPECT_EQ(thread.isRunning().code(), VXStatus::eYes);
    EXPECT_EQ(thread.join(kShortMs).code(), VXError::eTimeout);
    thread.stop();
    EXPECT_EQ(thread.join().code(), VXError::eNoError);
    EXPECT_EQ(thread.isRunning().code(), VXStatus::eNo);
    EXPECT_EQ(thread.result().code(), VXError::eTooLong);
}

TEST_F(VXThreadTest, JoinFromTheThreadItselfIsRefusedAtOnce) {
    std::atomic<int32_t> code{0};
    VXThread* self = nullptr;
    VXEvent ready(nullptr, true, VXSync::eScopeUnnamed);
    VXThread thread(u"self-joiner", [&](VXEvent&, VXEvent&) {
        ready.wait(INFINITE);
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
    EXPECT_TRUE(log.contains("join_() called on thread \"idle\" before it has been started."));
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
    EXPECT_TRUE(log.contains("Assertion failure at VXThread::start, vxthread.cpp:"));
    EXPECT_TRUE(log.contains(". Thread \"twice\" was not ready to run, state=2"));
}

TEST_F(VXThreadTest, InfiniteJoinReportsADeadlockOnceAndKeepsWaitingUnlessSwitchedOff) {
    VXRuntimeSwitches::setDeadlockTimeoutMs(kTestDeadlockMs);
    for (const bool watched : {true, false}) {
        VXRuntimeSwitches::setThreadJoinDeadlockDetection(watched);
        VXThread thread(u"slow", untilStopped());
        LogCapture log;
        ASSERT_TRUE(thread.start().isSuccess());
        // Stopped once the report is out; unwatched, well past the time-out.
        const auto reported = [&] {
            for (const VXString& line : log.linesAsWritten())
                if (line.find(u"Current thread return address: 0x") >= 0)
                    return true;
            return false;
        };
        std::thread stopper([&] {
            for (uint32_t waited = 0;
                 waited < (watched ? 60000 : 4 * kTestDeadlockMs) && !(watched && reported()); waited += 20)
                Sleep(20);
            thread.stop();
        });
        EXPECT_EQ(thread.join().code(), VXError::eNoError);
        stopper.join();
        char expected[160];
        std::snprintf(
            expected, sizeof(expected),
            "Deadlock detected while waiting on thread \"slow\" with handle 0x%016llX and thread id 0x%08lX",
            static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(thread.handle())), thread.threadId());
        EXPECT_EQ(countLines(log.lines(), "Deadlock detected"), watched ? 1 : 0);
        EXPECT_EQ(countLines(log.lines(), expected), watched ? 1 : 0) << expected;
        EXPECT_EQ(countLines(log.lines(), "Current thread return address: 0x"), watched ? 1 : 0);
    }
}

TEST_F(VXThreadTest, JoinElseTerminateEndsAThreadThatDoesNotStop) {
    VXThread thread(u"stuck", untilStopped());
    ASSERT_TRUE(thread.start().isSuccess());
    LogCapture log;
    EXPECT_EQ(thread.joinElseTerminate(kShortMs).code(), VXError::eTimeout);
    EXPECT_EQ(thread.state(), VXThread::eTerminated);
    EXPECT_EQ(WaitForSingleObject(thread.handle(), 0), WAIT_OBJECT_0);
    EXPECT_TRUE(log.contains("Waiting on thread \"stuck\" with handle 0x"));
    EXPECT_TRUE(log.contains("). The thread will be terminated."));
}

// Asks for the state from another thread while terminate waits for the thread to go.
class ObservedTermination : public VXThread {
public:
    using VXThread::VXThread;
    ~ObservedTermination() override {
        if (_asker.joinable())
            _asker.join();
    }
    bool stateAnsweredDuringWait() const { return _answeredInTime; }

protected:
    DWORD waitForEnd(uint32_t timeoutMs) override {
        _asker = std::thread([this] {
            state();
            _answered = true;
        });
        for (int i = 0; i < 100 && !_answered; ++i)
            Sleep(20);
        _answeredInTime = _answered.load();
        return VXThread::waitForEnd(timeoutMs);
    }

private:
    std::thread _asker;
    std::atomic<bool> _answered{false};
    bool _answeredInTime = false;
};

TEST_F(VXThreadTest, TerminateLeavesTheStateReadableWhileItWaits) {
    ObservedTermination thread(u"doomed", untilStopped());
    ASSERT_TRUE(thread.start().isSuccess());
    ASSERT_TRUE(thread.terminate().isSuccess());
    EXPECT_TRUE(thread.stateAnsweredDuringWait());
    EXPECT_EQ(thread.state(), VXThread::eTerminated);
}

TEST_F(VXThreadTest, StartOfAThreadSomethingElseResumedReportsItRunning) {
    VXThread thread(u"resumed", untilStopped(VXError::eTooLong));
    ASSERT_EQ(ResumeThread(thread.handle()), 1u);
    EXPECT_EQ(thread.start().code(), VXError::eBadStatus);
    EXPECT_EQ(thread.state(), VXThread::eRunning);
    thread.stop();
    EXPECT_EQ(thread.join(30000).code(), VXError::eNoError);
    EXPECT_EQ(thread.state(), VXThread::eFinished);  // ended by its body, not terminated
    EXPECT_EQ(thread.result().code(), VXError::eTooLong);
}

TEST_F(VXThreadTest, PrioritiesAreCheckedAndApplied) {
    VXThread thread(u"low", untilStopped(), VXComMode::eNone, THREAD_PRIORITY_BELOW_NORMAL);
    int32_t priority = 99;
    ASSERT_TRUE(thread.setPriority(THREAD_PRIORITY_LOWEST).isSuccess());
    ASSERT_TRUE(thread.getPriority(priority).isSuccess());
    EXPECT_EQ(priority, THREAD_PRIORITY_LOWEST);
    for (const int32_t bad : {3, -3})
        EXPECT_EQ(thread.setPriority(bad).code(), VXError::eBadParameter) << bad;
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
            finished = stop.isSignaled().code() == VXStatus::eNo;  // still valid without the owner
            return VXResult(VXError::eNoError);
        });
        ASSERT_TRUE(thread.start().isSuccess());
        ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), thread.handle(), GetCurrentProcess(), &handle,
                                    SYNCHRONIZE, FALSE, 0));
        id = thread.threadId();
    }
    char expected[96];
    std::snprintf(expected, sizeof(expected),
                  "Thread %lu(0x%lx) \"orphan\" is destroyed while still running. Return address = 0x", id,
                  id);
    EXPECT_TRUE(log.contains(expected)) << expected;
    release.set();
    EXPECT_EQ(WaitForSingleObject(handle, 30000), WAIT_OBJECT_0);
    CloseHandle(handle);
    EXPECT_TRUE(finished.load());
}

}  // namespace
