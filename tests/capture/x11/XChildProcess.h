// A program the tests start on their own display (an X server, a window manager, a client):
// ended with the object. Test-thread only.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

class XChildProcess {
public:
    XChildProcess() = default;
    XChildProcess(const XChildProcess&) = delete;
    XChildProcess& operator=(const XChildProcess&) = delete;
    ~XChildProcess() { stop(); }

    // argv[0] is looked up in PATH; display empty: inherited. Output goes to /dev/null.
    bool start(const std::vector<std::string>& argv, const std::string& display = {});
    bool running();
    // SIGTERM, then SIGKILL after a while; waits for the end.
    void stop();
    void kill();  // SIGKILL at once, and waits
    pid_t pid() const { return _pid; }

private:
    pid_t _pid = -1;
};
