#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "LogText.h"
#include "TestNames.h"
#include "VXEvent.h"
#include "VXGlobalDeadlockEvent.h"
#include "VXMutex.h"
#include "VXRuntimeSwitches.h"

namespace {

constexpr uint32_t kLoweredTimeoutMs = 150;
constexpr DWORD kHoldMs = 700;  // several lowered timeouts, so a repeated report would show

// Holds the mutex on a thread of its own for holdMs while this thread waits to lock it.
void contend(VXMutex& mutex, DWORD holdMs, uint32_t& holderId, std::string& holderIdentity) {
    std::promise<void> locked;
    std::thread holder([&] {
        mutex.lock();
        holderId = GetCurrentThreadId();
        holderIdentity = utf8(VXLog::threadIdentity());
        locked.set_value();
        Sleep(holdMs);
        mutex.unlock();
    });
    locked.get_future().wait();
    mutex.lock();
    mutex.unlock();
    holder.join();
}

class MutexDeadlock : public ::testing::Test {
protected:
    void SetUp() override {
        VXRuntimeSwitches::resetToDefaults();
        VXRuntimeSwitches::setDeadlockTimeoutMs(kLoweredTimeoutMs);
        uint32_t root = 0;
        ASSERT_TRUE(VXGlobalDeadlockEvent::findRootAncestorProcess(root).isSuccess());
        _watch = std::make_unique<VXEvent>(VXGlobalDeadlockEvent::eventName(root).c_str(), true);
        _watch->reset();
    }
    void TearDown() override { VXRuntimeSwitches::resetToDefaults(); }
    std::unique_ptr<VXEvent> _watch;  // what a watching ancestor holds
    LogCapture _log;
};

TEST_F(MutexDeadlock, LockHeldPastTheTimeoutIsReportedOnceAndThenAcquiredUnlessSwitchedOff) {
    VXMutex mutex(uniqueName(u"held").c_str());
    uint32_t holderId = 0;
    std::string holderIdentity;
    contend(mutex, kHoldMs, holderId, holderIdentity);
    const std::vector<std::string> lines = _log.bodies();
    EXPECT_EQ(countLines(lines, "Deadlock detected"), 1);
    EXPECT_EQ(
        countLines(lines, vxFormat(u"C: [%s] <VXMutex.cpp> VXMutex::reportDeadlock_ - Deadlock detected "
                                   u"while trying to lock mutex %s, owned by thread 0x%08X(%hs).",
                                   VXLog::threadIdentity(), mutex.name(), holderId, holderIdentity.c_str())
                              .toUtf8()),
        1);
    EXPECT_EQ(_watch->isSignaled().code(), VXStatus::eYes);

    _watch->reset();
    _log.clear();
    VXRuntimeSwitches::setMutexDeadlockDetection(false);
    contend(mutex, kHoldMs, holderId, holderIdentity);
    EXPECT_EQ(countLines(_log.bodies(), "Deadlock detected"), 0);
    EXPECT_EQ(_watch->isSignaled().code(), VXStatus::eNo);
}

}  // namespace
