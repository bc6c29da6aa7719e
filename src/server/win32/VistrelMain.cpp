#include "VistrelMain.h"

#include "VXCrashHandler.h"
#include "VXLog.h"
#include "VistrelExchange.h"
#include "VistrelServer.h"

namespace Vistrel {

namespace {

int runStages() {
    // Before anything can fail: a crash leaves its description and a compressed dump in the
    // debug log, the only place this windowless process can report it.
    VXCrashHandler::install();

    // Failures become exit codes only; once the shared objects exist the result block is the
    // channel that tells the host what went wrong.
    VXString cmdLineArgs;
    if (getCommandLineArgs(cmdLineArgs).isError())
        return eExitNoCommandLine;

    std::shared_ptr<Params> params;
    if (Params::create(cmdLineArgs.c_str(), kEventStartPrefix, kEventCompletedPrefix, kExclWndsPrefix,
                       kCaptureCursorPrefix, kImagePrefix, kWaitResultPrefix, kResultPrefix, params)
            .isError()) {
        return eExitBadOptions;
    }

    std::shared_ptr<SharedObjects> sharedObjects;
    if (SharedObjects::create(*params, sharedObjects).isError())
        return eExitNoSharedObjects;

    const VXResult runResult = run(*params, sharedObjects, params->unitTestMode);
    // The final result is written without the completion event: the host reads it when the
    // process has ended.
    if (writeResult(sharedObjects->shMemResult, runResult).isError())
        return eExitResultNotWritten;
    return eExitResultWritten;
}

}  // namespace

int mainRoutine() {
    const int exitCode = runStages();
    // Repeats of this thread's last line are held back until another line comes; none will.
    VXLog::flush();
    return exitCode;
}

}  // namespace Vistrel
