#include "ServerProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

extern char** environ;

namespace testsupport {

std::string serverPath() {
    return VX_SERVER_PATH;
}

ServerProcess::ServerProcess(const std::vector<std::string>& args,
                             const std::vector<std::string>& environment, const std::string& stderrPath) {
    std::vector<std::string> argStore{serverPath()};
    argStore.insert(argStore.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& a : argStore)
        argv.push_back(a.data());
    argv.push_back(nullptr);

    std::vector<std::string> envStore(environment);
    for (char** e = environ; *e != nullptr; ++e)
        envStore.emplace_back(*e);
    std::vector<char*> envp;
    for (std::string& e : envStore)
        envp.push_back(e.data());
    envp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, stderrPath.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (posix_spawn(&_pid, argv[0], &actions, nullptr, argv.data(), envp.data()) != 0)
        _pid = 0;
    posix_spawn_file_actions_destroy(&actions);
}

ServerProcess::~ServerProcess() {
    if (_pid != 0 && !_reaped) {
        kill(_pid, SIGKILL);
        waitpid(_pid, nullptr, 0);
    }
}

ServerEnd ServerProcess::waitEnd(int timeoutMs) {
    ServerEnd end;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (_pid != 0 && !_reaped) {
        int status = 0;
        const pid_t done = waitpid(_pid, &status, WNOHANG);
        if (done == _pid) {
            _reaped = true;
            end.exited = WIFEXITED(status);
            end.code = end.exited ? WEXITSTATUS(status) : WTERMSIG(status);
            return end;
        }
        if (std::chrono::steady_clock::now() > deadline) {
            end.timedOut = true;
            return end;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return end;
}

std::vector<std::string> serverArgs(int left, int top, int right, int bottom, const std::string& guid,
                                    bool unitTestMode) {
    std::vector<std::string> args{"/cr " + std::to_string(left) + "," + std::to_string(top) + "," +
                                      std::to_string(right) + "," + std::to_string(bottom),
                                  "/g " + guid};
    if (unitTestMode)
        args.emplace_back("/ut");
    return args;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

bool openServerObjects(const Vistrel::Params& params, std::shared_ptr<Vistrel::SharedObjects>& objects,
                       int timeoutMs) {
    // A block is sized just after its name appears: a too-small one is tried again.
    for (int waited = 0; waited <= timeoutMs; waited += 5) {
        if (Vistrel::SharedObjects::create(params, objects, VXSharedMapping::Open::eOpenExisting).isSuccess())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
}

bool waitForFile(const std::string& path, int timeoutMs) {
    for (int waited = 0; waited <= timeoutMs; waited += 5) {
        if (std::filesystem::exists(path))
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
}

}  // namespace testsupport
