// The Linux host library against the real Linux server in unit-test mode: the exchange through
// the C interface, objects 0600 and never joined, nothing left in /dev/shm, a killed server
// reported at once with its signal, a crash's lines in the host's log, a killed host taking its
// server along, and names of dead hosts cleared.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "VistrelExchange.h"
#include "VistrelHost.h"
#include "vistrel_host.h"

namespace {

using ::testing::HasSubstr;

constexpr uint32_t kAnswerTimeoutMs = 30000;
const char16_t* const kPrefixes[] = {Vistrel::kEventStartPrefix, Vistrel::kEventCompletedPrefix,
                                     Vistrel::kExclWndsPrefix,   Vistrel::kCaptureCursorPrefix,
                                     Vistrel::kImagePrefix,      Vistrel::kWaitResultPrefix,
                                     Vistrel::kResultPrefix};

std::string text(const wchar_t* wide) {
    std::string out;
    for (; wide != nullptr && *wide != L'\0'; ++wide)
        out.push_back(*wide < 0x80 ? static_cast<char>(*wide) : '?');
    return out;
}

std::wstring wide(const std::string& narrow) {
    return std::wstring(narrow.begin(), narrow.end());
}

std::string serverPath() {
    return Vistrel::executableFolder().toUtf8() + "vistrel";
}

uint64_t elapsedMs(std::chrono::steady_clock::time_point since) {
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - since)
            .count());
}

// The names in /dev/shm that hold the identifier.
std::vector<std::string> objectsOf(const std::string& id) {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/shm")) {
        const std::string name = entry.path().filename().string();
        if (name.find(id) != std::string::npos)
            found.push_back(name);
    }
    return found;
}

struct CHost {
    std::wstring server = wide(serverPath());
    VistrelStartOptions options{};
    VistrelHost* host = nullptr;

    CHost() {
        options.size = sizeof(options);
        options.serverPath = server.c_str();
        options.right = 64;
        options.bottom = 48;
        options.unitTestMode = 1;
    }
    ~CHost() { vistrel_host_close(host); }
    int32_t start() { return vistrel_host_start(&options, &host); }
    int32_t capture(VistrelFrame& frame, uint32_t timeoutMs = kAnswerTimeoutMs) {
        frame = VistrelFrame{};
        frame.size = sizeof(frame);
        return vistrel_host_capture(host, nullptr, 0, 0, timeoutMs, &frame);
    }
    uint32_t pid() {
        uint32_t p = 0;
        vistrel_host_server_process_id(host, &p);
        return p;
    }
};

TEST(LinuxHost, ExchangesThroughObjectsOfTheUserOnlyAndLeavesNothingBehind) {
    std::string id;
    // A descriptor of the host's without close-on-exec, as a library in the host might leave one.
    const int leaked = open("/dev/null", O_RDONLY);
    ASSERT_GT(leaked, 2);
    {
        CHost h;
        ASSERT_EQ(h.start(), VISTREL_OK) << text(vistrel_host_last_error(h.host));
        id = text(vistrel_host_identifier(h.host));
        EXPECT_THAT(id, HasSubstr("-h" + std::to_string(getpid())));
        VistrelFrame frame;
        ASSERT_EQ(h.capture(frame), VISTREL_OK) << text(vistrel_host_last_error(h.host));
        EXPECT_EQ(frame.code, 2000) << text(frame.text);
        EXPECT_EQ(frame.width, 64);
        EXPECT_EQ(frame.height, 48);
        EXPECT_EQ(frame.stride, 256);
        const std::vector<std::string> objects = objectsOf(id);
        EXPECT_EQ(objects.size(), 7u);
        for (const std::string& name : objects) {
            struct stat status {};
            ASSERT_EQ(stat(("/dev/shm/" + name).c_str(), &status), 0) << name;
            EXPECT_EQ(status.st_mode & 0777, 0600u) << name;
        }
        // Only the log pipe (here: none) and the standard descriptors reach the server.
        std::vector<std::string> descriptors;
        for (const auto& entry :
             std::filesystem::directory_iterator("/proc/" + std::to_string(h.pid()) + "/fd"))
            descriptors.push_back(entry.path().filename().string());
        for (const std::string& fd : descriptors) {
            const std::string target =
                std::filesystem::read_symlink("/proc/" + std::to_string(h.pid()) + "/fd/" + fd);
            if (std::stoi(fd) > 2) {
                EXPECT_THAT(target, ::testing::AnyOf(HasSubstr("/dev/shm/"), HasSubstr("anon_inode"),
                                                     HasSubstr("socket:")))
                    << "descriptor " << fd << " -> " << target << " is not the server's own";
            }
        }
    }
    close(leaked);
    EXPECT_TRUE(objectsOf(id).empty()) << "left in /dev/shm after close";
}

TEST(LinuxHost, AnObjectThatExistsIsRefusedAndLeftAsItWas) {
    for (const char16_t* prefix : kPrefixes) {
        const std::string id = "precreated-" + std::to_string(getpid());
        const std::string name = "/" + VXString(prefix).toUtf8() + id;
        const int fd = shm_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL, 0666);
        ASSERT_GE(fd, 0) << name;
        ASSERT_EQ(ftruncate(fd, 16), 0);
        ASSERT_EQ(write(fd, "squatter's bytes", 16), 16);
        CHost h;
        const std::wstring wid = wide(id);
        h.options.identifier = wid.c_str();
        EXPECT_EQ(h.start(), VISTREL_IDENTIFIER_IN_USE) << name;
        EXPECT_THAT(text(vistrel_host_last_error(h.host)), HasSubstr("Identifier \"" + id + "\" is in use"));
        char back[17] = {};
        EXPECT_EQ(pread(fd, back, 16, 0), 16);
        EXPECT_STREQ(back, "squatter's bytes") << name;
        close(fd);
        EXPECT_EQ(objectsOf(id), std::vector<std::string>{name.substr(1)}) << "the host left some of its own";
        shm_unlink(name.c_str());
    }
}

TEST(LinuxHost, AKilledServerIsReportedAtOnceWithItsSignalAndItsObjectsGo) {
    CHost h;
    ASSERT_EQ(h.start(), VISTREL_OK) << text(vistrel_host_last_error(h.host));
    const std::string id = text(vistrel_host_identifier(h.host));
    VistrelFrame frame;
    ASSERT_EQ(h.capture(frame), VISTREL_OK);
    const pid_t server = static_cast<pid_t>(h.pid());
    ASSERT_EQ(kill(server, SIGSTOP), 0);  // it holds the next request
    std::thread killer([server] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        kill(server, SIGKILL);
    });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(h.capture(frame), VISTREL_SERVER_ENDED);
    killer.join();
    EXPECT_LT(elapsedMs(start), 1500u) << "not reported at once";
    EXPECT_THAT(text(vistrel_host_last_error(h.host)), HasSubstr("Server ended with signal 9 (SIGKILL)"));
    uint32_t exitCode = 0;
    int32_t finalCode = -1;
    ASSERT_EQ(vistrel_host_wait_exit(h.host, 0, &exitCode, &finalCode), VISTREL_OK);
    EXPECT_EQ(exitCode, 128u + SIGKILL);
    vistrel_host_close(h.host);
    h.host = nullptr;
    EXPECT_TRUE(objectsOf(id).empty());
}

TEST(LinuxHost, CancelEndsAHeldCaptureAndACrashPutsItsLinesInTheLog) {
    std::mutex lock;
    std::string log;
    Vistrel::HostOptions options;
    options.captureRect = VXRect(0, 0, 16, 16);
    options.serverPath = VXString::fromUtf8(serverPath());
    options.unitTestMode = true;
    options.logCallback = [&](std::string_view line, bool) {
        std::lock_guard<std::mutex> guard(lock);
        log.append(line).append("\n");
    };
    std::unique_ptr<Vistrel::Host> host;
    ASSERT_TRUE(Vistrel::Host::start(options, host).isSuccess());
    Vistrel::Capture capture;
    ASSERT_TRUE(host->capture({}, false, capture).isSuccess());
    ASSERT_EQ(kill(static_cast<pid_t>(host->processId()), SIGSTOP), 0);
    std::thread canceler([&host] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        host->cancel();
    });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(host->capture({}, false, capture).code(), VISTREL_CANCELED);
    canceler.join();
    EXPECT_LT(elapsedMs(start), 2000u);
    host.reset();

    // A crash: the server's report comes through its standard error into the log.
    setenv("VX_TEST_CRASH", "segv", 1);
    const VXResult started = Vistrel::Host::start(options, host);
    unsetenv("VX_TEST_CRASH");
    ASSERT_TRUE(started.isSuccess());
    uint32_t exitCode = 0;
    Vistrel::ResultRecord final;
    ASSERT_TRUE(host->waitForExit(10000, exitCode, final).isSuccess());
    EXPECT_EQ(exitCode, 128u + SIGSEGV);
    host.reset();
    std::lock_guard<std::mutex> guard(lock);
    EXPECT_THAT(log, HasSubstr("*** Crash ***"));
    EXPECT_THAT(log, HasSubstr("Signal SIGSEGV (11)"));
    EXPECT_THAT(log, HasSubstr("[host] Server ended with signal 11 (SIGSEGV)"));
}

TEST(LinuxHost, AKilledHostTakesItsServerAlongAndALaterHostClearsWhatItLeft) {
    int out[2];
    ASSERT_EQ(pipe2(out, O_CLOEXEC), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    const std::string child = Vistrel::executableFolder().toUtf8() + "vx_host_child";
    const std::string server = serverPath();
    char* argv[] = {const_cast<char*>(child.c_str()), const_cast<char*>(server.c_str()), nullptr};
    pid_t host = 0;
    ASSERT_EQ(posix_spawn(&host, child.c_str(), &actions, nullptr, argv, environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    char line[32] = {};
    ASSERT_GT(read(out[0], line, sizeof(line) - 1), 0);
    close(out[0]);
    const pid_t serverPid = static_cast<pid_t>(std::strtol(line, nullptr, 10));
    ASSERT_GT(serverPid, 0);
    const int pidfd = static_cast<int>(syscall(SYS_pidfd_open, serverPid, 0));
    ASSERT_GE(pidfd, 0);
    const std::string tag = "-h" + std::to_string(host);
    EXPECT_EQ(objectsOf(tag).size(), 7u);

    ASSERT_EQ(kill(host, SIGKILL), 0);
    waitpid(host, nullptr, 0);
    pollfd ended{pidfd, POLLIN, 0};
    EXPECT_EQ(poll(&ended, 1, 1000), 1) << "the server outlived its host by a second";
    close(pidfd);

    // A SIGKILLed host leaves its names; the next host start removes them (its owner is gone),
    // and leaves a live host's alone.
    EXPECT_EQ(objectsOf(tag).size(), 7u);
    CHost live;
    ASSERT_EQ(live.start(), VISTREL_OK);
    const std::string liveId = text(vistrel_host_identifier(live.host));
    CHost next;
    ASSERT_EQ(next.start(), VISTREL_OK);
    EXPECT_TRUE(objectsOf(tag).empty());
    EXPECT_EQ(objectsOf(liveId).size(), 7u);
}

TEST(LinuxHost, AServerStartedFromAThreadThatEndedLivesOnAndCloseFromAnotherThreadEndsAWaitingCapture) {
    CHost h;
    // The parent-death signal follows the thread that started the child. This thread ends once
    // the server has answered, so surely after the server set that signal up.
    int32_t started = 0;
    int32_t answered = 0;
    std::thread([&] {
        started = h.start();
        VistrelFrame first;
        answered = started == VISTREL_OK ? h.capture(first) : started;
    }).join();
    ASSERT_EQ(started, VISTREL_OK) << text(vistrel_host_last_error(h.host));
    ASSERT_EQ(answered, VISTREL_OK) << text(vistrel_host_last_error(h.host));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    VistrelFrame frame;
    ASSERT_EQ(h.capture(frame), VISTREL_OK) << text(vistrel_host_last_error(h.host));
    const std::string id = text(vistrel_host_identifier(h.host));

    // Under the address sanitizer this also shows that close frees nothing a capture still uses.
    ASSERT_EQ(kill(static_cast<pid_t>(h.pid()), SIGSTOP), 0);
    std::atomic<int32_t> code{0};
    std::atomic<bool> returned{false};
    VistrelFrame waiting{};
    waiting.size = sizeof(waiting);
    VistrelHost* host = h.host;
    std::thread capturing([&] {
        code = vistrel_host_capture(host, nullptr, 0, 0, kAnswerTimeoutMs, &waiting);
        returned = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(vistrel_host_close(host), VISTREL_OK);
    h.host = nullptr;
    EXPECT_TRUE(returned.load()) << "close returned before the capture had left";
    EXPECT_LT(elapsedMs(start), VISTREL_CLOSE_BOUND_MS);
    capturing.join();
    EXPECT_EQ(code.load(), VISTREL_CANCELED);
    EXPECT_TRUE(objectsOf(id).empty());
}

}  // namespace
