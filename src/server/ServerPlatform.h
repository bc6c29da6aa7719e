// What the request loop and the main routine leave to the platform they run on: the process's
// own set-up, the command line, bringing the capture engine up and down, and the screen reader.
// One object per process, made by the entry point and used from the main thread only; the
// loop borrows it for the length of a call.
#pragma once

#include <memory>

#include "ScreenReader.h"
#include "VXResult.h"
#include "VXString.h"

namespace Vistrel {

class ServerPlatform {
public:
    virtual ~ServerPlatform() = default;

    // Before the first stage: crash reporting, and whatever ties the process to its host.
    virtual void prepareProcess() = 0;
    // Stage 1: the options as one text, without the program name (a leading blank may stay).
    virtual VXResult getCommandLineArgs(VXString& cmdLineArgs) = 0;
    // Brings up what capturing needs; with unitTestMode nothing that captures. A failure is
    // returned as it is (the service chains it) and leaves nothing to stop.
    virtual VXResult startCapture(bool unitTestMode) = 0;
    // Undoes a successful startCapture; failures are only logged.
    virtual void stopCapture(bool unitTestMode) = 0;
    // The reader the loop drives; made once, before the first request.
    virtual std::unique_ptr<ScreenReader> makeReader() = 0;
};

}  // namespace Vistrel
