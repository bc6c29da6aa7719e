#include <gtest/gtest.h>

#include <aclapi.h>

#include "TestNames.h"
#include "VXEvent.h"
#include "support/LogCapture.h"
#include "support/win32/ChildProcess.h"

namespace {

constexpr uint32_t kPeerTimeoutMs = 15000;
constexpr int kPeerOk = 0;
constexpr int kPeerNotOpened = 2;

std::string text(const VXResult& r) {
    return r.message().toUtf8();
}

std::string lineWith(const LogCapture& log, const std::string& part) {
    for (const std::string& line : log.bodies()) {
        if (line.find(part) != std::string::npos)
            return line;
    }
    return std::string();
}

TEST(VXSyncNames, ScopesPrefixTheName) {
    VXString out;
    ASSERT_EQ(VXSync::makeEventName(u"Start_x", VXSync::eScopeUnnamed, out).code(), VXError::eNoError);
    EXPECT_EQ(utf8(out), "Start_x");
    VXSync::makeEventName(u"Start_x", VXSync::eScopeOpen, out);
    EXPECT_EQ(utf8(out), "Start_x");
    VXSync::makeEventName(u"Start_x", VXSync::eScopeLocal, out);
    EXPECT_EQ(utf8(out), "Local\\Start_x");
    VXSync::makeEventName(u"Start_x", VXSync::eScopeGlobal, out);
    EXPECT_EQ(utf8(out), "Global\\Start_x");
    EXPECT_EQ(VXSync::kernelName(out, VXSync::eScopeUnnamed), nullptr);
}

TEST(VXSyncNames, NameThatOverflowsWithItsPrefixIsAnUnexpectedError) {
    const VXString longest(u'n', static_cast<int32_t>(VXString::kMaxLength) - 3);
    VXString out = u"unchanged";
    const VXResult r = VXSync::makeEventName(longest, VXSync::eScopeGlobal, out);
    EXPECT_EQ(r.code(), VXError::eUnexpected);
    EXPECT_EQ(text(r), "Unexpected error in VXSync::makeEventName()");
    EXPECT_EQ(utf8(out), "unchanged");
    EXPECT_TRUE(VXSync::makeEventName(longest, VXSync::eScopeOpen, out).isSuccess());
}

TEST(VXEvent, SecondCreationJoinsTheEventWithCode2009) {
    const VXString name = uniqueName(u"twice");
    VXEvent first(name.c_str(), false);
    VXEvent second(name.c_str(), false);
    EXPECT_EQ(first.creationCode(), VXError::eNoError);
    EXPECT_EQ(second.creationCode(), VXError::eExists);
    ASSERT_NE(second.handle(), nullptr);
    // One kernel object: a signal through one wrapper is seen, and consumed, through the other.
    ASSERT_TRUE(second.set().isSuccess());
    EXPECT_EQ(first.wait(0).code(), VXError::eNoError);
    EXPECT_EQ(second.wait(0).code(), VXError::eTimeout);
}

TEST(VXEvent, AutoResetIsConsumedByOneWaitManualResetStaysUntilReset) {
    VXEvent autoReset(uniqueName(u"auto").c_str(), false);
    VXEvent manual(uniqueName(u"manual").c_str(), true, VXSync::eScopeLocal);
    EXPECT_FALSE(autoReset.isManualReset());
    EXPECT_TRUE(manual.isManualReset());
    EXPECT_EQ(manual.isSignaled().code(), VXStatus::eNo);
    autoReset.set();
    manual.set();
    EXPECT_EQ(autoReset.isSignaled().code(), VXStatus::eYes);
    EXPECT_EQ(autoReset.isSignaled().code(), VXStatus::eNo);
    EXPECT_EQ(manual.wait(0).code(), VXError::eNoError);
    EXPECT_EQ(manual.isSignaled().code(), VXStatus::eYes);
    ASSERT_TRUE(manual.reset().isSuccess());
    EXPECT_EQ(manual.isSignaled().code(), VXStatus::eNo);
    EXPECT_EQ(manual.wait(20).code(), VXError::eTimeout);
}

TEST(VXEvent, FailedCreationWarnsKeepsTheMappedCodeAndEveryWaitFails) {
    // A mutex holding the name makes the event creation fail with "invalid handle" (6).
    const VXString name = uniqueName(u"taken");
    HANDLE mutex = CreateMutexW(nullptr, FALSE, name.wstr());
    ASSERT_NE(mutex, nullptr);
    LogCapture log;
    VXEvent event(name.c_str(), false);
    EXPECT_EQ(event.handle(), nullptr);
    EXPECT_EQ(event.creationCode(), VXError::eBadHandle);
    const std::string warning =
        lineWith(log, "Failed to create VXEvent \"" + utf8(name) + "\". Last error = 6");
    EXPECT_EQ(warning.rfind("W: ", 0), 0u) << warning;
    const VXResult waited = event.wait(0);
    EXPECT_EQ(waited.code(), VXError::eBadHandle);
    EXPECT_NE(text(waited).find("Method \"WaitForSingleObject\" returned Win32 error [6]."),
              std::string::npos);
    EXPECT_EQ(event.isSignaled().code(), VXStatus::eNo);
    EXPECT_TRUE(event.set().isError());
    CloseHandle(mutex);
}

TEST(VXEvent, OpenFindsANamedEventWithTheRequestedAccess) {
    const VXString name = uniqueName(u"open");
    VXEvent event(name.c_str(), true, VXSync::eScopeLocal);
    HANDLE stale = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    HANDLE slot = stale;
    ASSERT_TRUE(VXEvent::open(name.c_str(), VXSync::eScopeLocal, true, slot).isSuccess());
    ASSERT_NE(slot, nullptr);
    DWORD flags = 0;
    // Closed first: either the value was free for reuse, or it no longer names a handle.
    EXPECT_TRUE(slot == stale || !GetHandleInformation(stale, &flags));
    ASSERT_TRUE(SetEvent(slot));
    EXPECT_EQ(event.isSignaled().code(), VXStatus::eYes);
    CloseHandle(slot);

    // Synchronize-only access can wait but cannot signal.
    slot = nullptr;
    ASSERT_TRUE(VXEvent::open(name.c_str(), VXSync::eScopeLocal, false, slot).isSuccess());
    EXPECT_EQ(WaitForSingleObject(slot, 0), WAIT_OBJECT_0);
    EXPECT_FALSE(ResetEvent(slot));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    CloseHandle(slot);
}

TEST(VXEvent, OpeningAMissingEventNamesTheCallAndTheScopedName) {
    const VXString name = uniqueName(u"missing");
    HANDLE slot = nullptr;
    const VXResult r = VXEvent::open(name.c_str(), VXSync::eScopeGlobal, false, slot);
    EXPECT_EQ(r.code(), VXError::eNotFound);
    EXPECT_EQ(slot, nullptr);
    EXPECT_EQ(text(r).rfind("Method \"OpenEvent\" returned Win32 error [2]. ", 0), 0u) << text(r);
    EXPECT_NE(text(r).find("Event name: \"Global\\" + utf8(name) + "\""), std::string::npos) << text(r);
    EXPECT_EQ(VXEvent::open(nullptr, VXSync::eScopeOpen, false, slot).code(), VXError::eBadParameter);
}

TEST(VXEvent, OnlyTheOpenScopeGetsANullDacl) {
    VXEvent open(uniqueName(u"dacl").c_str(), false, VXSync::eScopeOpen);
    VXEvent local(uniqueName(u"dacl").c_str(), false, VXSync::eScopeLocal);
    VXEvent localOpenSecurity(uniqueName(u"dacl").c_str(), false, VXSync::eScopeLocal, VXSync::eScopeOpen);
    // "present and null" is the open DACL; a default DACL is either absent or a real list.
    auto hasNullDacl = [](HANDLE h) {
        PSECURITY_DESCRIPTOR descriptor = nullptr;
        if (GetSecurityInfo(h, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, nullptr,
                            nullptr, &descriptor) != ERROR_SUCCESS) {
            return false;
        }
        BOOL present = FALSE;
        BOOL defaulted = FALSE;
        PACL dacl = nullptr;
        const bool isNull =
            GetSecurityDescriptorDacl(descriptor, &present, &dacl, &defaulted) && present && !dacl;
        LocalFree(descriptor);
        return isNull;
    };
    EXPECT_TRUE(hasNullDacl(open.handle()));
    EXPECT_TRUE(hasNullDacl(localOpenSecurity.handle()));
    EXPECT_FALSE(hasNullDacl(local.handle()));
}

TEST(VXEvent, UnnamedScopeMakesDistinctEventsEvenWithOneName) {
    const VXString name = uniqueName(u"unnamed");
    VXEvent a(name.c_str(), false, VXSync::eScopeUnnamed);
    VXEvent b(name.c_str(), false, VXSync::eScopeUnnamed);
    EXPECT_EQ(a.creationCode(), VXError::eNoError);
    EXPECT_EQ(b.creationCode(), VXError::eNoError);
    EXPECT_EQ(utf8(a.name()), utf8(name));  // kept for messages
    a.set();
    EXPECT_EQ(b.isSignaled().code(), VXStatus::eNo);
    HANDLE slot = nullptr;
    EXPECT_EQ(VXEvent::open(name.c_str(), VXSync::eScopeOpen, false, slot).code(), VXError::eNotFound);
}

// A second real process on the other side of the names.
TEST(VXEventAcrossProcesses, PeerOpensNamedEventsButNotAnUnnamedOne) {
    const VXString named = uniqueName(u"peer_named");
    const VXString unnamed = uniqueName(u"peer_unnamed");
    VXEvent namedEvent(named.c_str(), false, VXSync::eScopeOpen);
    VXEvent unnamedEvent(unnamed.c_str(), false, VXSync::eScopeUnnamed);
    ASSERT_NE(unnamedEvent.handle(), nullptr);

    ChildProcess openNamed(L"vx_sync_peer.exe", L"open " + wide(named) + L" 1");
    ChildProcess openUnnamed(L"vx_sync_peer.exe", L"open " + wide(unnamed) + L" 1");
    ChildProcess openUnnamedLocal(L"vx_sync_peer.exe", L"open " + wide(unnamed) + L" 2");
    ASSERT_TRUE(openNamed.started());
    EXPECT_EQ(openNamed.wait(kPeerTimeoutMs), static_cast<uint32_t>(kPeerOk));
    EXPECT_EQ(openUnnamed.wait(kPeerTimeoutMs), static_cast<uint32_t>(kPeerNotOpened));
    EXPECT_EQ(openUnnamedLocal.wait(kPeerTimeoutMs), static_cast<uint32_t>(kPeerNotOpened));
}

TEST(VXEventAcrossProcesses, PeerAnswersASignalWithASignal) {
    const VXString ping = uniqueName(u"ping");
    const VXString pong = uniqueName(u"pong");
    VXEvent pingEvent(ping.c_str(), false);
    VXEvent pongEvent(pong.c_str(), false);
    ChildProcess peer(L"vx_sync_peer.exe", L"echo " + wide(ping) + L" " + wide(pong));
    ASSERT_TRUE(peer.started());
    EXPECT_EQ(pongEvent.wait(200).code(), VXError::eTimeout);  // nothing before the ping
    ASSERT_TRUE(pingEvent.set().isSuccess());
    EXPECT_EQ(pongEvent.wait(kPeerTimeoutMs).code(), VXError::eNoError);
    EXPECT_EQ(peer.wait(kPeerTimeoutMs), static_cast<uint32_t>(kPeerOk));
}

}  // namespace
