#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "TestNames.h"
#include "VXEvent.h"
#include "VXGlobalDeadlockEvent.h"
#include "VXMutex.h"
#include "VXRuntimeSwitches.h"
#include "support/LogCapture.h"

namespace {

constexpr uint32_t kLoweredTimeoutMs = 150;
constexpr DWORD kHoldMs = 700;  // several lowered timeouts, so a repeated report would show

// The first log line containing part, and how many do.
std::string lineWith(const LogCapture& log, const std::string& part, int* count = nullptr) {
    std::string found;
    int n = 0;
    for (const std::string& line : log.bodies()) {
        if (line.find(part) != std::string::npos && n++ == 0)
            found = line;
    }
    if (count != nullptr)
        *count = n;
    return found;
}

// Holds the mutex on a thread of its own for holdMs while this thread waits to lock it.
void contend(VXMutex& mutex, DWORD holdMs, uint32_t* holderId = nullptr,
             std::string* holderIdentity = nullptr) {
    std::promise<void> locked;
    std::thread holder([&] {
        mutex.lock();
        if (holderId != nullptr)
            *holderId = GetCurrentThreadId();
        if (holderIdentity != nullptr)
            *holderIdentity = utf8(VXLog::threadIdentity());
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

TEST_F(MutexDeadlock, LockHeldPastTheTimeoutIsReportedOnceAndThenAcquired) {
    VXMutex mutex(uniqueName(u"held").c_str());
    uint32_t holderId = 0;
    std::string holderIdentity;
    contend(mutex, kHoldMs, &holderId, &holderIdentity);
    int reports = 0;
    const std::string report = lineWith(_log, "Deadlock detected", &reports);
    EXPECT_EQ(reports, 1);
    EXPECT_EQ(report, vxFormat(u"C: [%s] <VXMutex.cpp> VXMutex::reportDeadlock_ - Deadlock detected while "
                               u"trying to lock mutex %s, owned by thread 0x%08X(%hs).",
                               VXLog::threadIdentity(), mutex.name(), holderId, holderIdentity.c_str())
                          .toUtf8());
    EXPECT_EQ(mutex.lockCount(), 2);
    // Where the holder locked and the waiting stack (more than the lock itself).
    EXPECT_NE(lineWith(_log, "Locked from: 0x").find(": vx_runtime_win32_tests.exe+0x"), std::string::npos);
    EXPECT_NE(lineWith(_log, "#0 0x").find("\n  #1 0x"), std::string::npos) << lineWith(_log, "#0 0x");
    EXPECT_EQ(_watch->isSignaled().code(), VXStatus::eYes);
}

TEST_F(MutexDeadlock, SwitchedOffMeansAnUntimedWait) {
    VXMutex global(uniqueName(u"global_off").c_str());
    VXRuntimeSwitches::setMutexDeadlockDetection(false);
    contend(global, kHoldMs);
    EXPECT_EQ(lineWith(_log, "Deadlock detected"), "");
    EXPECT_EQ(_watch->isSignaled().code(), VXStatus::eNo);
}

}  // namespace
