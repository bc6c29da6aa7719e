#include <gtest/gtest.h>

#include <future>

#include "VXRuntimeSwitches.h"
#include "VXThread.h"
#include "support/LogCapture.h"

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

TEST_F(VXThreadTest, LifeFromSuspendedCreationToTheBodysResult) {
    LogCapture log;
    VXThread thread(u"worker", untilStopped(VXError::eTooLong));
    EXPECT_EQ(thread.isRunning().code(), VXStatus::eNo);
    EXPECT_EQ(thread.join(INFINITE, true, true).code(), VXThreadError::eNotRunning);
    EXPECT_TRUE(log.contains("join_() called on thread \"worker\" before it has been started."));
    // Without the flag the join waits on the suspended thread.
    EXPECT_EQ(thread.join(kShortMs, true, false).code(), VXError::eTimeout);
    int32_t priority = 99;
    ASSERT_TRUE(thread.setPriority(THREAD_PRIORITY_LOWEST).isSuccess());
    ASSERT_TRUE(thread.getPriority(priority).isSuccess());
    EXPECT_EQ(priority, THREAD_PRIORITY_LOWEST);
    for (const int32_t bad : {3, -3})
        EXPECT_EQ(thread.setPriority(bad).code(), VXError::eBadParameter) << bad;

    ASSERT_TRUE(thread.start().isSuccess());
    EXPECT_EQ(thread.isRunning().code(), VXStatus::eYes);
    EXPECT_TRUE(thread.start().isError());
    EXPECT_TRUE(log.contains("Assertion failure at VXThread::start, vxthread.cpp:"));
    EXPECT_TRUE(log.contains(". Thread \"worker\" was not ready to run, state=2"));
    EXPECT_EQ(thread.join(kShortMs).code(), VXError::eTimeout);
    thread.stop();
    EXPECT_EQ(thread.join().code(), VXError::eNoError);
    EXPECT_EQ(thread.isRunning().code(), VXStatus::eNo);
    EXPECT_EQ(thread.result().code(), VXError::eTooLong);
}

TEST_F(VXThreadTest, StartOfAThreadSomethingElseResumedReportsItRunningAndItCannotJoinItself) {
    VXThread* self = nullptr;
    VXThread thread(u"resumed", [&](VXEvent& stop, VXEvent&) {
        stop.wait(INFINITE);
        return self->join(60000);
    });
    self = &thread;
    ASSERT_EQ(ResumeThread(thread.handle()), 1u);
    EXPECT_EQ(thread.start().code(), VXError::eBadStatus);
    EXPECT_EQ(thread.state(), VXThread::eRunning);
    thread.stop();
    EXPECT_EQ(thread.join(30000).code(), VXError::eNoError);  // the join of itself was refused at once
    EXPECT_EQ(thread.state(), VXThread::eFinished);           // ended by its body, not terminated
    EXPECT_EQ(thread.result().code(), VXThreadError::eCantJoinCurrent);
}

TEST_F(VXThreadTest, InfiniteJoinReportsADeadlockOnceAndKeepsWaitingUnlessSwitchedOff) {
    VXRuntimeSwitches::setDeadlockTimeoutMs(kTestDeadlockMs);
    for (const bool watched : {true, false}) {
        VXRuntimeSwitches::setThreadJoinDeadlockDetection(watched);
        LogCapture log;
        // Ends once the report is out; unwatched, well past the time-out.
        VXThread thread(u"slow", [&](VXEvent&, VXEvent&) {
            for (uint32_t waited = 0; waited < (watched ? 60000 : 4 * kTestDeadlockMs); waited += 20) {
                if (watched && log.contains("Current thread return address: 0x"))
                    break;
                Sleep(20);
            }
            return VXResult(VXError::eNoError);
        });
        ASSERT_TRUE(thread.start().isSuccess());
        EXPECT_EQ(thread.join().code(), VXError::eNoError);
        const std::vector<std::string> lines = log.lines();
        const std::string expected =
            vxFormat(
                u"Deadlock detected while waiting on thread \"slow\" with handle 0x%p and thread id 0x%08X",
                thread.handle(), thread.threadId())
                .toUtf8();
        EXPECT_EQ(countLines(lines, "Deadlock detected"), watched ? 1 : 0);
        EXPECT_EQ(countLines(lines, expected), watched ? 1 : 0) << expected;
        EXPECT_EQ(countLines(lines, "Current thread return address: 0x"), watched ? 1 : 0);
    }
}

// Asks for the state from another thread while terminate waits for the thread to go.
class ObservedTermination : public VXThread {
public:
    using VXThread::VXThread;
    bool answeredDuringWait = false;

protected:
    DWORD waitForEnd(uint32_t timeoutMs) override {
        _asked = std::async(std::launch::async, [this] { return state(); });
        answeredDuringWait = _asked.wait_for(std::chrono::seconds(2)) == std::future_status::ready;
        return VXThread::waitForEnd(timeoutMs);
    }

private:
    std::future<int32_t> _asked;  // kept until the object goes: a blocked asker must not block here
};

TEST_F(VXThreadTest, JoinElseTerminateEndsAThreadThatDoesNotStopAndTheStateStaysReadable) {
    ObservedTermination thread(u"stuck", untilStopped());
    ASSERT_TRUE(thread.start().isSuccess());
    LogCapture log;
    EXPECT_EQ(thread.joinElseTerminate(kShortMs).code(), VXError::eTimeout);
    EXPECT_TRUE(thread.answeredDuringWait);
    EXPECT_EQ(thread.state(), VXThread::eTerminated);
    EXPECT_EQ(WaitForSingleObject(thread.handle(), 0), WAIT_OBJECT_0);
    EXPECT_TRUE(log.contains("Waiting on thread \"stuck\" with handle 0x"));
    EXPECT_TRUE(log.contains("). The thread will be terminated."));
}

TEST_F(VXThreadTest, DestroyingARunningThreadIsReportedAndLeavesItRunning) {
    VXEvent release(nullptr, true, VXSync::eScopeUnnamed);
    std::atomic<bool> finished{false};
    DWORD id = 0;
    LogCapture log;
    {
        VXThread thread(u"orphan", [&](VXEvent& stop, VXEvent&) {
            release.wait(INFINITE);
            finished = stop.isSignaled().code() == VXStatus::eNo;  // still valid without the owner
            return VXResult(VXError::eNoError);
        });
        ASSERT_TRUE(thread.start().isSuccess());
        id = thread.threadId();
    }
    EXPECT_TRUE(log.contains(
        vxFormat(u"Thread %u(0x%x) \"orphan\" is destroyed while still running. Return address = 0x", id, id)
            .toUtf8()));
    const HANDLE handle = OpenThread(SYNCHRONIZE, FALSE, id);  // the thread still runs, so the id is its own
    ASSERT_NE(handle, nullptr);
    release.set();
    EXPECT_EQ(WaitForSingleObject(handle, 30000), WAIT_OBJECT_0);
    CloseHandle(handle);
    EXPECT_TRUE(finished.load());
}

}  // namespace
