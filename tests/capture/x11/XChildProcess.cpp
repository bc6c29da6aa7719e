#include "XChildProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

namespace {

constexpr int kStopPolls = 100;
constexpr auto kStopPoll = std::chrono::milliseconds(10);

}  // namespace

bool XChildProcess::start(const std::vector<std::string>& argv, const std::string& display) {
    stop();
    std::vector<char*> args;
    for (const auto& arg : argv)
        args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    const pid_t pid = fork();
    if (pid < 0)
        return false;
    if (pid == 0) {
        if (!display.empty())
            setenv("DISPLAY", display.c_str(), 1);
        const int null = open("/dev/null", O_RDWR);
        dup2(null, STDIN_FILENO);
        dup2(null, STDOUT_FILENO);
        dup2(null, STDERR_FILENO);
        setpgid(0, 0);
        // Ends with the test, also when the test is killed.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        execvp(args[0], args.data());
        _exit(127);
    }
    _pid = pid;
    return true;
}

bool XChildProcess::running() {
    if (_pid <= 0)
        return false;
    int status = 0;
    if (waitpid(_pid, &status, WNOHANG) == _pid) {
        _pid = -1;
        return false;
    }
    return true;
}

void XChildProcess::stop() {
    if (_pid <= 0)
        return;
    ::kill(_pid, SIGTERM);
    for (int i = 0; i < kStopPolls; ++i) {
        int status = 0;
        if (waitpid(_pid, &status, WNOHANG) == _pid) {
            _pid = -1;
            return;
        }
        std::this_thread::sleep_for(kStopPoll);
    }
    kill();
}

void XChildProcess::kill() {
    if (_pid <= 0)
        return;
    ::kill(_pid, SIGKILL);
    int status = 0;
    waitpid(_pid, &status, 0);
    _pid = -1;
}
