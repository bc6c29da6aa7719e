// Test-side driver of the real Linux server: starts `vistrel` with posix_spawn, its standard error
// into a file, and waits for its end. A stand-in for the host library in the server's own tests.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "VistrelParams.h"
#include "VistrelSharedObjects.h"

namespace testsupport {

// The server built beside the tests.
std::string serverPath();

struct ServerEnd {
    bool exited = false;  // else killed by a signal, or still running (timedOut)
    int code = -1;        // exit code or signal number
    bool timedOut = false;
};

class ServerProcess {
public:
    // Starts the server with `args` (after the program name) and `environment` added to this
    // process's own; standard error goes to `stderrPath`. pid() is 0 when the start failed.
    ServerProcess(const std::vector<std::string>& args, const std::vector<std::string>& environment,
                  const std::string& stderrPath);
    // Kills a server that is still running.
    ~ServerProcess();
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    pid_t pid() const { return _pid; }
    ServerEnd waitEnd(int timeoutMs);

private:
    pid_t _pid = 0;
    bool _reaped = false;
};

// The options a host passes, one argument each: "/cr l,t,r,b", "/g ID" and "/ut" when asked.
std::vector<std::string> serverArgs(int left, int top, int right, int bottom, const std::string& guid,
                                    bool unitTestMode);
std::string readFile(const std::string& path);
// Polls until the file exists (at most timeoutMs); whether it does.
bool waitForFile(const std::string& path, int timeoutMs);
// Opens the objects a server without a host makes, once it has made all seven (at most timeoutMs).
bool openServerObjects(const Vistrel::Params& params, std::shared_ptr<Vistrel::SharedObjects>& objects,
                       int timeoutMs);

}  // namespace testsupport
