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

int countLines(const LogCapture& log, const std::string& part) {
    int n = 0;
    for (const std::string& line : log.bodies())
        n += line.find(part) != std::string::npos ? 1 : 0;
    return n;
}

std::string lineWith(const LogCapture& log, const std::string& part) {
    for (const std::string& line : log.bodies()) {
        if (line.find(part) != std::string::npos)
            return line;
    }
    return std::string();
}

// Holds a mutex on its own thread for a while; the constructor returns once it is held.
class Holder {
public:
    Holder(VXMutex& mutex, DWORD holdMs) {
        std::promise<void> locked;
        std::future<void> isLocked = locked.get_future();
        _thread = std::thread([&mutex, holdMs, &locked, this] {
            mutex.lock();
            _threadId = GetCurrentThreadId();
            _identity = utf8(VXLog::threadIdentity());
            locked.set_value();
            Sleep(holdMs);
            mutex.unlock();
        });
        isLocked.wait();
    }
    ~Holder() { _thread.join(); }
    uint32_t threadId() const { return _threadId; }
    const std::string& identity() const { return _identity; }

private:
    std::thread _thread;
    uint32_t _threadId = 0;
    std::string _identity;
};

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
    std::unique_ptr<VXEvent> _watch;  // what a watching ancestor would hold
};

TEST_F(MutexDeadlock, LockHeldPastTheTimeoutIsReportedOnceAndThenAcquired) {
    VXMutex mutex(uniqueName(u"held").c_str());
    LogCapture log;
    {
        Holder holder(mutex, kHoldMs);
        mutex.lock();
        EXPECT_EQ(mutex.ownerThreadId(), static_cast<uint32_t>(GetCurrentThreadId()));
        mutex.unlock();
        const std::string report = vxFormat(
                                       u"Deadlock detected while trying to lock mutex %s, owned by thread "
                                       u"0x%08X(%hs).",
                                       mutex.name(), holder.threadId(), holder.identity().c_str())
                                       .toUtf8();
        EXPECT_EQ(countLines(log, "Deadlock detected"), 1);
        EXPECT_EQ(lineWith(log, "Deadlock detected").rfind("C: ", 0), 0u);
        EXPECT_NE(lineWith(log, "Deadlock detected").find(report), std::string::npos)
            << lineWith(log, "Deadlock");
    }
    const std::string lockedFrom = lineWith(log, "Locked from: 0x");
    EXPECT_EQ(lockedFrom.rfind("W: ", 0), 0u) << lockedFrom;
    EXPECT_NE(lockedFrom.find(": vx_runtime_win32_tests.exe+0x"), std::string::npos) << lockedFrom;
    EXPECT_EQ(countLines(log, "Current thread context:"), 1);
    const std::string returnAddress = lineWith(log, "Current thread return address: 0x");
    EXPECT_EQ(returnAddress.rfind("C: ", 0), 0u);
    EXPECT_NE(returnAddress.find(": vx_runtime_win32_tests.exe+0x"), std::string::npos) << returnAddress;
    // The stack walk goes beyond the lock itself, with module-relative addresses.
    const std::string stack = lineWith(log, "#0 0x");
    EXPECT_NE(stack.find("\n  #1 0x"), std::string::npos) << stack;
    EXPECT_NE(stack.find("vx_runtime_win32_tests.exe+0x"), std::string::npos) << stack;
    EXPECT_TRUE(log.contains("creating event name " + utf8(_watch->name())));
    EXPECT_TRUE(log.contains("signaling event"));
    EXPECT_EQ(_watch->isSignaled().code(), VXStatus::eYes);
}

TEST_F(MutexDeadlock, TimeoutAfterTheMachineSleptIsNotReported) {
    // Every reading of the clock moves it on by one step: the timed-out wait looks as long.
    VXMutex::setTickSource(fakeClock);
    VXMutex slept(uniqueName(u"slept").c_str());
    VXMutex awake(uniqueName(u"awake").c_str());
    LogCapture log;
    gFakeStep = kLoweredTimeoutMs + VXMutex::kSleepGuardMs;
    {
        Holder holder(slept, kLoweredTimeoutMs * 3);
        slept.lock();
        slept.unlock();
    }
    EXPECT_EQ(countLines(log, "Deadlock detected"), 0);
    EXPECT_EQ(_watch->isSignaled().code(), VXStatus::eNo);
    gFakeStep = kLoweredTimeoutMs + VXMutex::kSleepGuardMs - 1;
    {
        Holder holder(awake, kLoweredTimeoutMs * 3);
        awake.lock();
        awake.unlock();
    }
    EXPECT_EQ(countLines(log, "Deadlock detected"), 1);
}

TEST_F(MutexDeadlock, EitherSwitchOffMeansAnUntimedWait) {
    VXMutex own(uniqueName(u"own_off").c_str());
    VXMutex global(uniqueName(u"global_off").c_str());
    LogCapture log;
    own.setDeadlockDetection(false);
    {
        Holder holder(own, kHoldMs);
        own.lock();
        own.unlock();
    }
    VXRuntimeSwitches::setMutexDeadlockDetection(false);
    {
        Holder holder(global, kHoldMs);
        global.lock();
        global.unlock();
    }
    EXPECT_EQ(countLines(log, "Deadlock detected"), 0);
    EXPECT_EQ(_watch->isSignaled().code(), VXStatus::eNo);
}

TEST(VXMutex, RecursiveLocksRecordTheOwnerUntilTheLastUnlock) {
    VXMutex mutex(uniqueName(u"recursive").c_str());
    auto tryElsewhere = [&mutex] {
        return std::async(std::launch::async,
                          [&mutex] {
                              const bool got = mutex.tryLock();
                              if (got)
                                  mutex.unlock();
                              return got;
                          })
            .get();
    };
    mutex.lock();
    mutex.lock();
    EXPECT_EQ(mutex.ownerThreadId(), static_cast<uint32_t>(GetCurrentThreadId()));
    mutex.unlock();
    EXPECT_FALSE(tryElsewhere());
    EXPECT_EQ(mutex.ownerThreadId(), static_cast<uint32_t>(GetCurrentThreadId()));
    mutex.unlock();
    EXPECT_EQ(mutex.ownerThreadId(), 0u);
    EXPECT_TRUE(tryElsewhere());
    EXPECT_EQ(mutex.lockCount(), 2);
}

TEST(VXMutex, UnlockByAThreadThatDoesNotHoldItIsAnAssertion) {
    VXMutex mutex(u"notmine");
    mutex.lock();
    LogCapture log;
    std::thread([&mutex] { mutex.unlock(); }).join();
    const std::string assertion = lineWith(log, "ReleaseMutex(\"notmine\") failed - ");
    EXPECT_EQ(assertion.rfind("E: ", 0), 0u) << assertion;
    EXPECT_NE(assertion.find("Assertion failure at VXMutex::unlock, vxmutex.cpp:"), std::string::npos)
        << assertion;
    EXPECT_EQ(mutex.ownerThreadId(), static_cast<uint32_t>(GetCurrentThreadId()));
    mutex.unlock();
    EXPECT_EQ(mutex.ownerThreadId(), 0u);
}

class CountingMutex : public VXMutex {
public:
    using VXMutex::VXMutex;
    int hooks = 0;

protected:
    void lockHook_() override { ++hooks; }
};

TEST(VXMutex, AbandonedMutexIsTakenWithTheHookButKeepsTheDeadOwnersRecord) {
    CountingMutex mutex(uniqueName(u"abandoned").c_str());
    uint32_t deadOwner = 0;
    std::thread([&] {
        mutex.lock();
        deadOwner = GetCurrentThreadId();
    }).join();
    LogCapture log;
    mutex.lock();
    EXPECT_EQ(mutex.hooks, 2);
    EXPECT_EQ(mutex.ownerThreadId(), deadOwner);
    mutex.unlock();
    EXPECT_TRUE(std::async(std::launch::async, [&mutex] { return mutex.tryLock(); }).get());
    EXPECT_FALSE(log.contains("failed"));
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
        VXMutex young(u"young");
        young.lock();
        young.unlock();
    }
    VXMutex::setTickSource(nullptr);
    VXRuntimeSwitches::resetToDefaults();
    EXPECT_TRUE(log.contains("VXMutex::~VXMutex() Mutex \"stats\" is locked."));
    EXPECT_TRUE(log.contains("Mutex \"stats\" had 31 locks in 10 seconds (3 locks/second)"));
    EXPECT_TRUE(log.contains("Mutex \"young\" had 1 locks in 0 seconds (1 locks/second)"));
    EXPECT_FALSE(log.contains("Mutex \"young\" is locked."));
}

TEST(VXMutex, OnlyScopedNamesShareTheKernelMutex) {
    const VXString name = uniqueName(u"shared");
    VXMutex sharedA(name.c_str(), false, VXSync::eScopeOpen);
    VXMutex sharedB(name.c_str(), false, VXSync::eScopeOpen);
    VXMutex privateA(name.c_str());
    VXMutex privateB(name.c_str());
    sharedA.lock();
    privateA.lock();
    auto tryOn = [](VXMutex& m) {
        return std::async(std::launch::async,
                          [&m] {
                              const bool got = m.tryLock();
                              if (got)
                                  m.unlock();
                              return got;
                          })
            .get();
    };
    EXPECT_FALSE(tryOn(sharedB));
    EXPECT_TRUE(tryOn(privateB));
    sharedA.unlock();
    privateA.unlock();
}

TEST(VXMutex, FailedCreationIsLoggedAndLocksDoNothing) {
    const VXString name = uniqueName(u"clash");
    VXEvent event(name.c_str(), false);
    LogCapture log;
    VXMutex mutex(name.c_str(), true, VXSync::eScopeOpen);
    EXPECT_EQ(mutex.handle(), nullptr);
    EXPECT_EQ(lineWith(log, "Failed to create mutex \"" + utf8(name) + "\"").rfind("W: ", 0), 0u);
    mutex.lock();
    EXPECT_FALSE(mutex.tryLock());
    mutex.unlock();
    EXPECT_EQ(mutex.lockCount(), 1);
    EXPECT_EQ(mutex.ownerThreadId(), 0u);
}

TEST(VXMutex, InitialOwnershipIsRecordedOnlyForTheCreator) {
    const VXString name = uniqueName(u"initial");
    VXMutex creator(name.c_str(), true, VXSync::eScopeOpen);
    EXPECT_EQ(creator.ownerThreadId(), static_cast<uint32_t>(GetCurrentThreadId()));
    std::async(std::launch::async, [&name] {
        VXMutex joiner(name.c_str(), true, VXSync::eScopeOpen);
        EXPECT_EQ(joiner.ownerThreadId(), 0u);
        EXPECT_FALSE(joiner.tryLock());
    }).get();
    creator.unlock();
}

}  // namespace
