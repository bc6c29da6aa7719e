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

TEST(VXMutex, LockHeldPastTheTimeoutIsReportedOnceAndThenAcquiredUnlessSwitchedOff) {
    uint32_t root = 0;
    ASSERT_TRUE(VXGlobalDeadlockEvent::findRootAncestorProcess(root).isSuccess());
    VXEvent watch(VXGlobalDeadlockEvent::eventName(root).c_str(), true);  // what a watching ancestor holds
    VXMutex mutex(uniqueName(u"held").c_str());
    VXRuntimeSwitches::setDeadlockTimeoutMs(kLoweredTimeoutMs);
    for (const bool detect : {true, false}) {
        VXRuntimeSwitches::setMutexDeadlockDetection(detect);
        watch.reset();
        LogCapture log;
        // Another thread holds the mutex for kHoldMs while this one waits to lock it.
        uint32_t holderId = 0;
        std::string holderIdentity;
        std::promise<void> locked;
        std::thread holder([&] {
            mutex.lock();
            holderId = GetCurrentThreadId();
            holderIdentity = text(VXLog::threadIdentity());
            locked.set_value();
            Sleep(kHoldMs);
            mutex.unlock();
        });
        locked.get_future().wait();
        mutex.lock();
        mutex.unlock();
        holder.join();
        const std::vector<std::string> lines = log.bodies();
        EXPECT_EQ(countLines(lines, "Deadlock detected"), detect ? 1 : 0) << detect;
        EXPECT_EQ(countLines(lines,
                             vxFormat(u"C: [%s] <VXMutex.cpp> VXMutex::reportDeadlock_ - Deadlock detected "
                                      u"while trying to lock mutex %s, owned by thread 0x%08X(%hs).",
                                      VXLog::threadIdentity(), mutex.name(), holderId, holderIdentity.c_str())
                                 .toUtf8()),
                  detect ? 1 : 0);
        EXPECT_EQ(watch.isSignaled().code(), detect ? VXStatus::eYes : VXStatus::eNo) << detect;
    }
    VXRuntimeSwitches::resetToDefaults();
}

}  // namespace
