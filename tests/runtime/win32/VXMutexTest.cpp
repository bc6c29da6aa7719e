#include <gtest/gtest.h>

#include <atomic>
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

std::atomic<ULONGLONG> gFakeNow{0};
std::atomic<ULONGLONG> gFakeStep{0};
ULONGLONG fakeClock() {
    return gFakeNow.fetch_add(gFakeStep.load());
}

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
    void TearDown() override {
        VXMutex::setTickSource(nullptr);
        VXRuntimeSwitches::resetToDefaults();
    }
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
    // Where the holder locked, the waiting stack (more than the lock itself) and the caller.
    EXPECT_NE(lineWith(_log, "Locked from: 0x").find(": vx_runtime_win32_tests.exe+0x"), std::string::npos);
    EXPECT_NE(lineWith(_log, "#0 0x").find("\n  #1 0x"), std::string::npos) << lineWith(_log, "#0 0x");
    EXPECT_NE(lineWith(_log, "Current thread return address: 0x").find(": vx_runtime_win32_tests.exe+0x"),
              std::string::npos);
    EXPECT_EQ(_watch->isSignaled().code(), VXStatus::eYes);
}

TEST_F(MutexDeadlock, TimeoutStretchedByASleepingMachineIsNotReported) {
    // Each clock reading moves the clock on by a step, so the timed-out wait seems that long.
    VXMutex::setTickSource(fakeClock);
    VXMutex mutex(uniqueName(u"slept").c_str());
    gFakeStep = kLoweredTimeoutMs + VXMutex::kSleepGuardMs;
    contend(mutex, kLoweredTimeoutMs * 3);
    EXPECT_EQ(lineWith(_log, "Deadlock detected"), "");
    gFakeStep = kLoweredTimeoutMs + VXMutex::kSleepGuardMs - 1;
    contend(mutex, kLoweredTimeoutMs * 3);
    EXPECT_NE(lineWith(_log, "Deadlock detected"), "");
}

TEST_F(MutexDeadlock, EitherSwitchOffMeansAnUntimedWait) {
    VXMutex own(uniqueName(u"own_off").c_str());
    own.setDeadlockDetection(false);
    contend(own, kHoldMs);
    VXMutex global(uniqueName(u"global_off").c_str());
    VXRuntimeSwitches::setMutexDeadlockDetection(false);
    contend(global, kHoldMs);
    EXPECT_EQ(lineWith(_log, "Deadlock detected"), "");
    EXPECT_EQ(_watch->isSignaled().code(), VXStatus::eNo);
}

TEST(VXMutex, RecursiveLockKeepsTheOwnerUntilTheLastUnlock) {
    VXMutex mutex(uniqueName(u"recursive").c_str());
    auto lockedElsewhere = [&mutex] {
        return std::async(std::launch::async,
                          [&mutex] {
                              const bool got = mutex.tryLock();
                              if (got)
                                  mutex.unlock();
                              return !got;
                          })
            .get();
    };
    mutex.lock();
    mutex.lock();
    mutex.unlock();
    EXPECT_TRUE(lockedElsewhere());
    LogCapture log;
    std::thread([&mutex] { mutex.unlock(); }).join();  // not the holder: refused
    EXPECT_TRUE(log.contains("ReleaseMutex(\"" + utf8(mutex.name()) + "\") failed - "));
    EXPECT_EQ(mutex.ownerThreadId(), static_cast<uint32_t>(GetCurrentThreadId()));
    mutex.unlock();
    EXPECT_EQ(mutex.ownerThreadId(), 0u);
    EXPECT_FALSE(lockedElsewhere());
}

TEST(VXMutex, DestructorReportsAHeldMutexAndTheLockRate) {
    VXRuntimeSwitches::setMutexDeadlockDetection(
        false);  // the clock is read at creation and destruction only
    VXMutex::setTickSource(fakeClock);
    gFakeStep = 0;
    gFakeNow = 1000;
    LogCapture log;
    {
        VXMutex mutex(u"stats");
        for (int i = 0; i < 31; ++i)
            mutex.lock();
        for (int i = 0; i < 30; ++i)
            mutex.unlock();
        gFakeNow = 11000;
    }
    {
        VXMutex young(u"young");  // no time passed: no division by zero
        young.lock();
        young.unlock();
    }
    VXMutex::setTickSource(nullptr);
    VXRuntimeSwitches::resetToDefaults();
    EXPECT_TRUE(log.contains("VXMutex::~VXMutex() Mutex \"stats\" is locked."));
    EXPECT_TRUE(log.contains("Mutex \"stats\" had 31 locks in 10 seconds (3 locks/second)"));
    EXPECT_TRUE(log.contains("Mutex \"young\" had 1 locks in 0 seconds (1 locks/second)"));
}

}  // namespace
