// The POSIX half of ServerInstance.h. The objects are POSIX shared memory, created 0600 and
// exclusively, removed when the instance goes; names left by hosts of this library that died
// (their process id is in the identifier) are removed before a start. The server is spawned
// without PATH, in its own folder, with descriptors 0 and 1 on /dev/null, 2 on the log pipe
// (or /dev/null) and nothing else; it ends with its host through the parent-death signal (set by
// the server itself; the host's process id goes along in VISTREL_HOST_PID), and a pidfd reports
// its end at once.
#include "ServerInstance.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "ServerBlocks.h"
#include "VXChecks.h"
#include "VistrelExchange.h"
#include "VistrelSharedObjects.h"

extern char** environ;

namespace Vistrel {

namespace {

// How often a wait for the answer (a futex) looks at the pidfd and the cancel descriptor.
constexpr uint32_t kWatchSliceMs = 10;
constexpr int kKilledReapMs = 200;
// The server reads this to learn that its host died before the parent-death signal was set.
constexpr const char* kHostPidVariable = "VISTREL_HOST_PID";
constexpr const char* kOwnerMark = "-h";

int pidfdOpen(pid_t pid) {
    return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
}

int pidfdSignal(int pidfd, int signal) {
    return static_cast<int>(syscall(SYS_pidfd_send_signal, pidfd, signal, nullptr, 0));
}

// "<prefix>{...}-h<pid>": the process id of the host that made the name, or 0.
pid_t ownerOf(const std::string& name) {
    static const char16_t* const kPrefixes[] = {
        kEventStartPrefix, kEventCompletedPrefix, kExclWndsPrefix, kCaptureCursorPrefix,
        kImagePrefix,      kWaitResultPrefix,     kResultPrefix};
    bool ours = false;
    for (const char16_t* prefix : kPrefixes)
        ours = ours || name.starts_with(VXString(prefix).toUtf8());
    const size_t mark = name.rfind(kOwnerMark);
    if (!ours || mark == std::string::npos || mark + 2 >= name.size())
        return 0;
    pid_t pid = 0;
    for (size_t i = mark + 2; i < name.size(); ++i) {
        if (name[i] < '0' || name[i] > '9' || pid > 100000000)
            return 0;
        pid = pid * 10 + (name[i] - '0');
    }
    return pid;
}

// Names of this library's objects whose host has ended, made by this user: an earlier run that
// was killed before it could remove them. A live host's names and other users' stay.
void removeStaleObjects() {
    DIR* folder = opendir("/dev/shm");
    if (folder == nullptr)
        return;
    const uid_t user = geteuid();
    while (const dirent* entry = readdir(folder)) {
        const std::string name = entry->d_name;
        const pid_t owner = ownerOf(name);
        struct stat status {};
        if (owner <= 0 || fstatat(dirfd(folder), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0 ||
            status.st_uid != user || !S_ISREG(status.st_mode))
            continue;
        if (kill(owner, 0) != 0 && errno == ESRCH)
            shm_unlink(("/" + name).c_str());
    }
    closedir(folder);
}

// The parent-death signal fires when the thread that started the child ends, not the process: a
// server started from a host's short-lived thread would die with that thread. So every server is
// spawned by one thread of the library's own that lives as long as the process.
class SpawnThread {
public:
    static int spawn(pid_t& pid, const char* path, const posix_spawn_file_actions_t* actions,
                     char* const argv[], char* const envp[]) {
        static SpawnThread* thread = new SpawnThread;  // never destroyed: it must outlive every host
        std::unique_lock<std::mutex> guard(thread->_lock);
        thread->_idle.wait(guard, [] { return thread->_job == nullptr; });
        Job job{path, actions, argv, envp};
        thread->_job = &job;
        thread->_changed.notify_all();
        thread->_idle.wait(guard, [&job] { return job.done; });
        pid = job.pid;
        return job.result;
    }

private:
    struct Job {
        const char* path;
        const posix_spawn_file_actions_t* actions;
        char* const* argv;
        char* const* envp;
        pid_t pid = 0;
        int result = 0;
        bool done = false;
    };

    SpawnThread() {
        std::thread([this] { run_(); }).detach();
    }

    void run_() {
        std::unique_lock<std::mutex> guard(_lock);
        for (;;) {
            _changed.wait(guard, [this] { return _job != nullptr && !_job->done; });
            Job& job = *_job;
            job.result = posix_spawn(&job.pid, job.path, job.actions, nullptr, job.argv, job.envp);
            job.done = true;
            _job = nullptr;
            _idle.notify_all();
        }
    }

    std::mutex _lock;
    std::condition_variable _changed;
    std::condition_variable _idle;
    Job* _job = nullptr;
};

}  // namespace

struct ServerInstance::Platform {
    std::shared_ptr<SharedObjects> objects;
    pid_t pid = 0;
    int pidfd = -1;
    bool reaped = false;
    ServerExit exit;

    ~Platform() {
        if (pidfd >= 0) {
            // Briefly (a kill ends a process at once; the slack of the host's close bound covers
            // it): one stuck in the kernel is left to the system, not waited for without limit.
            if (!reaped) {
                pidfdSignal(pidfd, SIGKILL);
                reap(kKilledReapMs);
            }
            close(pidfd);
        }
    }

    // Collects the end once the process has ended; false while it runs.
    bool reap(int timeoutMs) {
        if (reaped)
            return true;
        pollfd watch{pidfd, POLLIN, 0};
        if (poll(&watch, 1, timeoutMs) <= 0)
            return false;
        siginfo_t info{};
        if (waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED) == 0) {
            if (info.si_code == CLD_EXITED)
                exit = ServerExit{static_cast<uint32_t>(info.si_status), 0};
            else
                exit = ServerExit{128u + static_cast<uint32_t>(info.si_status), info.si_status};
        } else {
            exit = ServerExit{~0u, 0};  // someone else in the host process reaped it
        }
        reaped = true;
        return true;
    }
};

ServerInstance::ServerInstance() : _platform(new Platform) {}

ServerInstance::~ServerInstance() = default;

VXResult ServerInstance::create(const Params& params, std::unique_ptr<ServerInstance>& instance) {
    removeStaleObjects();
    std::unique_ptr<ServerInstance> made(new ServerInstance);
    made->_params = params;
    const VXResult created =
        SharedObjects::create(params, made->_platform->objects, VXSharedMapping::Open::eCreateExclusive);
    if (created.code() == VXError::eExists) {
        return VX_RECODE(created, VXError::eExists,
                         u"Identifier \"%s\" is in use: one of its objects exists already", params.guid);
    }
    VX_RETURN_IF_ERROR(created);
    instance = std::move(made);
    return VXError::eNoError;
}

VXResult ServerInstance::launch(const VXString& serverPath, const VXString& commandLine, LogPipe* pipe) {
    (void)commandLine;  // the arguments go one by one, never through a shell
    const std::string path = serverPath.toUtf8();
    const std::string folder = folderOf(serverPath).toUtf8();
    std::vector<std::string> arguments = {path};
    // The options as the server takes them, one argument each.
    const Params& p = _params;
    arguments.push_back(vxFormat(u"/cr %d,%d,%d,%d", p.captureRect.getLeft(), p.captureRect.getTop(),
                                 p.captureRect.getRight(), p.captureRect.getBottom())
                            .toUtf8());
    arguments.push_back(vxFormat(u"/g %s", p.guid).toUtf8());
    if (p.unitTestMode)
        arguments.emplace_back("/ut");
    std::vector<char*> argv;
    for (std::string& a : arguments)
        argv.push_back(a.data());
    argv.push_back(nullptr);

    std::vector<std::string> environment;
    for (char** e = environ; *e != nullptr; ++e) {
        if (std::strncmp(*e, kHostPidVariable, std::strlen(kHostPidVariable)) != 0)
            environment.emplace_back(*e);
    }
    environment.push_back(std::string(kHostPidVariable) + "=" + std::to_string(getpid()));
    std::vector<char*> envp;
    for (std::string& e : environment)
        envp.push_back(e.data());
    envp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    if (int error = posix_spawn_file_actions_init(&actions); error != 0)
        return VX_CRT_ERROR(u"posix_spawn_file_actions_init", error);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    if (pipe != nullptr)
        posix_spawn_file_actions_adddup2(&actions, static_cast<int>(pipe->writeEnd()), 2);
    else
        posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    // Whatever else the host process holds without close-on-exec stays behind.
    posix_spawn_file_actions_addclosefrom_np(&actions, 3);
    if (!folder.empty())
        posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
    pid_t pid = 0;
    const int spawned = SpawnThread::spawn(pid, path.c_str(), &actions, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0)
        return VX_CRT_ERROR(u"posix_spawn", spawned);
    _platform->pid = pid;
    _processId = static_cast<uint32_t>(pid);
    if (pipe != nullptr)
        pipe->closeWriteEnd();  // the server's copy is the only one left
    _platform->pidfd = pidfdOpen(pid);
    if (_platform->pidfd < 0) {
        const VXResult failed = VX_CRT_ERROR(u"pidfd_open", errno);
        kill(pid, SIGKILL);
        int status = 0;
        waitpid(pid, &status, 0);
        _platform->reaped = true;
        return failed;
    }
    return VXError::eNoError;
}

uint8_t* ServerInstance::view(Block block) const {
    return blockView(*_platform->objects, block);
}

VXResult ServerInstance::signalStart() {
    return _platform->objects->eventStart->set();
}

VXResult ServerInstance::waitForAnswer(const CancelSignal& cancel, uint32_t timeoutMs, Wake& wake) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        const auto now = std::chrono::steady_clock::now();
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - now).count();
        const uint32_t slice = static_cast<uint32_t>(std::clamp<int64_t>(left, 0, kWatchSliceMs));
        const VXResult answered = _platform->objects->eventCompleted->wait(slice);
        if (answered.isSuccess()) {
            wake = Wake::eAnswer;
            return VXError::eNoError;
        }
        if (answered.code() != VXError::eTimeout)
            return answered;
        pollfd watch[] = {{_platform->pidfd, POLLIN, 0}, {static_cast<int>(cancel.waitable()), POLLIN, 0}};
        if (poll(watch, 2, 0) < 0 && errno != EINTR)
            return VX_CRT_ERROR(u"poll", errno);
        if (watch[1].revents & POLLIN) {
            wake = Wake::eCanceled;
            return VXError::eNoError;
        }
        if (watch[0].revents & POLLIN) {
            // An answer set just before the end still counts, as on Windows.
            wake = _platform->objects->eventCompleted->wait(0).isSuccess() ? Wake::eAnswer : Wake::eEnded;
            return VXError::eNoError;
        }
        if (left <= 0) {
            wake = Wake::eTimeout;
            return VXError::eNoError;
        }
    }
}

bool ServerInstance::isRunning() const {
    return _platform->pidfd >= 0 && !_platform->reap(0);
}

VXResult ServerInstance::waitForExit(uint32_t timeoutMs, ServerExit& exit) {
    if (_platform->pidfd < 0)
        return VX_ERROR(VXError::eNotInitialized, u"Server not started");
    if (!_platform->reap(static_cast<int>(std::min<uint32_t>(timeoutMs, INT32_MAX))))
        return VX_ERROR(VXError::eTimeout, u"Server still running after %u ms", timeoutMs);
    exit = _platform->exit;
    return VXError::eNoError;
}

VXResult ServerInstance::terminate(uint32_t waitMs) {
    if (!isRunning())
        return VXError::eNoError;
    if (pidfdSignal(_platform->pidfd, SIGKILL) != 0)
        return VX_CRT_ERROR(u"pidfd_send_signal", errno);
    if (!_platform->reap(static_cast<int>(waitMs)))
        return VX_ERROR(VXError::eTimeout, u"Server still running %u ms after it was terminated", waitMs);
    return VXError::eNoError;
}

}  // namespace Vistrel
