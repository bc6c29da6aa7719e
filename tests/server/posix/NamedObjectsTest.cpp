// The Linux named objects: POSIX shared memory with the names, modes and ownership the exchange
// needs, and events that behave like Windows auto-reset events between processes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>

#include "VXEvent.h"
#include "VXSharedMapping.h"
#include "VistrelExchange.h"
#include "VistrelSharedObjects.h"
#include "support/ResultText.h"
#include "support/TestParams.h"

namespace {

using Open = VXSharedMapping::Open;
using Clock = std::chrono::steady_clock;

bool inDevShm(const VXString& name) {
    return std::filesystem::exists("/dev/shm/" + name.toUtf8());
}

VXString uniqueName(const char16_t* prefix) {
    return VXString(prefix) + testParams(VXRect(0, 0, 1, 1))->guid;
}

// Runs `child` in a forked process; its exit status as waitpid gives it.
template <typename Fn>
pid_t forkChild(Fn child) {
    const pid_t pid = fork();
    if (pid == 0)
        _exit(child());
    return pid;
}

int exitStatusOf(pid_t pid) {
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(VXSharedMapping, NamesAreASlashAndTheUtf8OfTheObjectName) {
    std::string name;
    ASSERT_TRUE(VXSharedMapping::posixName(u"Start_{AB-\u00e9}", name).isSuccess());
    EXPECT_EQ(name, "/Start_{AB-\xc3\xa9}");
    for (const VXString& bad : {VXString(), VXString(u"a/b"), VXString(u'n', 256)})
        EXPECT_EQ(VXSharedMapping::posixName(bad, name).code(), VXError::eBadParameter) << text(bad);
}

TEST(VXSharedMapping, ExclusiveCreationIsOwnerOnlyAndRefusesAnExistingName) {
    const mode_t oldMask = umask(0);  // the mode must not depend on the creator's umask
    const VXString name = uniqueName(u"FMO_Result_");
    std::unique_ptr<VXSharedMapping> first;
    ASSERT_TRUE(VXSharedMapping::create(name, 8192, Open::eCreateExclusive, first).isSuccess());
    umask(oldMask);
    unsigned mode = 0;
    ASSERT_TRUE(first->mode(mode).isSuccess());
    EXPECT_EQ(mode, 0600u);
    EXPECT_TRUE(first->created());

    std::unique_ptr<VXSharedMapping> second;
    const VXResult refused = VXSharedMapping::create(name, 8192, Open::eCreateExclusive, second);
    EXPECT_EQ(refused.code(), VXError::eExists);
    EXPECT_THAT(text(refused), StartsWith("Method \"shm_open\" returned CRT error [17]."));
    EXPECT_THAT(text(refused), HasSubstr("Object name: \"/" + text(name) + "\""));
    EXPECT_FALSE(second);
}

TEST(VXSharedMapping, TheCreatorRemovesTheNameAndAnOpenerLeavesIt) {
    const VXString name = uniqueName(u"FMO_Image_");
    auto creator = std::make_unique<std::unique_ptr<VXSharedMapping>>();
    ASSERT_TRUE(VXSharedMapping::create(name, 4096, Open::eCreateOrOpen, *creator).isSuccess());
    std::unique_ptr<VXSharedMapping> opener;
    ASSERT_TRUE(VXSharedMapping::create(name, 4096, Open::eCreateOrOpen, opener).isSuccess());
    EXPECT_FALSE(opener->created());
    (*creator)->data()[4095] = 0x42;
    EXPECT_EQ(opener->data()[4095], 0x42);

    opener.reset();
    EXPECT_TRUE(inDevShm(name));
    creator.reset();
    EXPECT_FALSE(inDevShm(name));
    EXPECT_EQ(VXSharedMapping::create(name, 4096, Open::eOpenExisting, opener).code(), VXError::eNotFound);
}

TEST(VXSharedMapping, AnExistingObjectSmallerThanAskedIsRefused) {
    const VXString name = uniqueName(u"FMO_Image_");
    std::unique_ptr<VXSharedMapping> small;
    ASSERT_TRUE(VXSharedMapping::create(name, 64, Open::eCreateExclusive, small).isSuccess());
    std::unique_ptr<VXSharedMapping> large;
    const VXResult refused = VXSharedMapping::create(name, 8192, Open::eCreateOrOpen, large);
    EXPECT_EQ(refused.code(), VXError::eBadFormat);
    EXPECT_THAT(text(refused),
                StartsWith("Shared object \"/" + text(name) + "\" holds 64 bytes, 8192 needed"));
    EXPECT_TRUE(inDevShm(name)) << "an object the call did not create stays";
}

class NamedEvent : public ::testing::Test {
protected:
    void SetUp() override {
        name = uniqueName(u"Start_");
        ASSERT_TRUE(VXEvent::create(name, Open::eCreateExclusive, event).isSuccess());
        ASSERT_TRUE(VXEvent::create(name, Open::eOpenExisting, other).isSuccess());
    }
    VXString name;
    std::shared_ptr<VXEvent> event;
    std::shared_ptr<VXEvent> other;
};

TEST_F(NamedEvent, ASetOnASetEventLeavesOneSignalAndAWaitTakesIt) {
    EXPECT_EQ(other->wait(0).code(), VXError::eTimeout);
    ASSERT_TRUE(event->set().isSuccess());
    ASSERT_TRUE(event->set().isSuccess());
    EXPECT_EQ(other->wait(0).code(), VXError::eNoError);
    EXPECT_EQ(other->wait(0).code(), VXError::eTimeout);
    EXPECT_EQ(event->isSignaled().code(), VXStatus::eNo);

    event->set();
    event->reset();
    EXPECT_EQ(other->wait(0).code(), VXError::eTimeout);
}

TEST_F(NamedEvent, AWaitEndsAfterItsTimeOut) {
    const auto start = Clock::now();
    EXPECT_EQ(event->wait(150).code(), VXError::eTimeout);
    const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
    EXPECT_GE(waited, 150);
    EXPECT_LT(waited, 5000);
}

TEST_F(NamedEvent, SignalsCrossProcessesAndOneSetReleasesOneWaiter) {
    // Two children wait; one set releases exactly one of them, a second set the other.
    auto waiter = [this] { return other->wait(10000).isSuccess() ? 0 : 1; };
    const pid_t a = forkChild(waiter);
    const pid_t b = forkChild(waiter);
    usleep(100 * 1000);
    event->set();
    int done = 0;
    pid_t first = 0;
    for (int i = 0; i < 100 && done == 0; ++i) {
        for (pid_t pid : {a, b}) {
            int status = 0;
            if (waitpid(pid, &status, WNOHANG) == pid) {
                EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
                first = pid;
                ++done;
            }
        }
        usleep(20 * 1000);
    }
    ASSERT_EQ(done, 1);
    usleep(100 * 1000);
    const pid_t second = first == a ? b : a;
    int status = 0;
    EXPECT_EQ(waitpid(second, &status, WNOHANG), 0) << "one set released both";
    event->set();
    EXPECT_EQ(exitStatusOf(second), 0);
}

TEST_F(NamedEvent, AWaiterKilledWhileWaitingLeavesTheEventUsable) {
    const pid_t doomed = forkChild([this] { return other->wait(VXEvent::kInfinite).isSuccess() ? 0 : 1; });
    usleep(100 * 1000);
    kill(doomed, SIGKILL);
    waitpid(doomed, nullptr, 0);
    const pid_t setter = forkChild([this] { return event->set().isSuccess() ? 0 : 1; });
    EXPECT_EQ(exitStatusOf(setter), 0);
    EXPECT_EQ(other->wait(1000).code(), VXError::eNoError);
}

TEST(VistrelSharedObjects, SevenObjectsAtTheirSizesRemovedByTheirCreatorOnly) {
    const auto params = testParams(VXRect(0, 0, 1920, 1080));
    ASSERT_TRUE(params);
    const VXString names[] = {params->eventStartName,    params->eventCompletedName, params->exclWndsName,
                              params->captureCursorName, params->imageName,          params->waitResultName,
                              params->resultName};
    std::shared_ptr<Vistrel::SharedObjects> host;
    ASSERT_TRUE(Vistrel::SharedObjects::create(*params, host, Open::eCreateExclusive).isSuccess());
    EXPECT_EQ(host->shMemImage->mapping->size(), 8311808u);
    EXPECT_EQ(host->shMemExclWnds->mapping->size(), 8192u);
    EXPECT_EQ(host->shMemCaptureCursor->mapping->size(), 128u);
    EXPECT_EQ(host->shMemWaitResult->mapping->size(), 128u);
    EXPECT_EQ(host->shMemResult->mapping->size(), 8192u);
    for (const VXString& name : names) {
        struct stat info {};
        ASSERT_EQ(stat(("/dev/shm/" + name.toUtf8()).c_str(), &info), 0) << text(name);
        EXPECT_EQ(info.st_mode & 0777, 0600u) << text(name);
    }

    std::shared_ptr<Vistrel::SharedObjects> server;
    ASSERT_TRUE(Vistrel::SharedObjects::create(*params, server).isSuccess());
    server->shMemImage->view[8311808 - 1] = 7;
    EXPECT_EQ(host->shMemImage->view[8311808 - 1], 7);
    server.reset();
    for (const VXString& name : names)
        EXPECT_TRUE(inDevShm(name)) << text(name);

    std::shared_ptr<Vistrel::SharedObjects> again;
    EXPECT_EQ(Vistrel::SharedObjects::create(*params, again, Open::eCreateExclusive).code(),
              VXError::eExists);
    host.reset();
    for (const VXString& name : names)
        EXPECT_FALSE(inDevShm(name)) << text(name);
}

}  // namespace
