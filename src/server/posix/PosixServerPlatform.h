// The Linux server's platform steps: the crash handler and the tie to the host process, the
// command line from argv, and the screen reader. Main thread only; argv must outlive the object.
#pragma once

#include "ServerPlatform.h"

namespace Vistrel {

class PosixServerPlatform : public ServerPlatform {
public:
    // The environment variable through which a host tells the server its process id, so that a
    // server whose host died before the parent-death signal was armed ends at once.
    static constexpr const char* kHostPidVariable = "VISTREL_HOST_PID";
    // Test switch: "segv" or "abort" makes the server crash as the service starts, so that the
    // crash report can be seen end to end.
    static constexpr const char* kTestCrashVariable = "VX_TEST_CRASH";

    PosixServerPlatform(int argc, char** argv) : _argc(argc), _argv(argv) {}

    // The crash handler; SIGKILL when the parent process ends; an end at once when the host
    // named in VISTREL_HOST_PID is no longer the parent.
    void prepareProcess() override;
    // Each argument after the program name as one double-quoted option after a blank, which is
    // the Windows command line of the same arguments: ` "/cr 0,0,64,64" "/g ID" "/ut"`.
    VXResult getCommandLineArgs(VXString& cmdLineArgs) override;
    VXResult startCapture(bool unitTestMode) override;
    void stopCapture(bool unitTestMode) override;
    // The X11 reader on the display named by DISPLAY; in unit-test mode, or with no display
    // named, the reader that refuses every capture.
    std::unique_ptr<ScreenReader> makeReader() override;

private:
    int _argc;
    char** _argv;
    bool _unitTestMode = false;
};

}  // namespace Vistrel
