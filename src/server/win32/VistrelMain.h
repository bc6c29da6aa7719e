// The server process's main routine: its stages from the command line to the exit code.
#pragma once

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

int mainRoutine();

}  // namespace Vistrel
