// The server process's main routine, the same on every platform: its stages from the command
// line to the exit code. The entry point makes the platform and hands over.
#pragma once

#include "ServerPlatform.h"
#include "VXResult.h"
#include "VXString.h"

namespace Vistrel {

// Exit codes: 10 when the final result reached the result block (whatever it says), 11 to 14
// for a failure at a stage before that.
enum ExitCode : int {
    eExitResultWritten = 10,
    eExitNoCommandLine = 11,
    eExitBadOptions = 12,
    eExitNoSharedObjects = 13,
    eExitResultNotWritten = 14,
};

// A whole command line without the program name, which ends at the first blank outside double
// quotes (the blank stays).
VXResult getCommandLineArgs(const char16_t* commandLine, VXString& cmdLineArgs);

// Runs the stages on the calling (main) thread and returns the exit code.
int mainRoutine(ServerPlatform& platform);

}  // namespace Vistrel
