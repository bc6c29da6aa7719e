#include "VistrelMain.h"

#include "VXChecks.h"
#include "VXLog.h"
#include "VistrelExchange.h"
#include "VistrelServer.h"

namespace Vistrel {

namespace {

int runStages(ServerPlatform& platform) {
    // Before anything can fail: a crash must reach the log, the only report this windowless
    // process can leave.
    platform.prepareProcess();

    // Failures become exit codes only; once the shared objects exist the result block is the
    // channel that tells the host what went wrong.
    VXString cmdLineArgs;
    if (platform.getCommandLineArgs(cmdLineArgs).isError())
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

    const VXResult runResult = run(*params, sharedObjects, params->unitTestMode, platform);
    // The final result is written without the completion event: the host reads it when the
    // process has ended.
    if (writeResult(sharedObjects->shMemResult, runResult).isError())
        return eExitResultNotWritten;
    return eExitResultWritten;
}

}  // namespace

VXResult getCommandLineArgs(const char16_t* commandLine, VXString& cmdLineArgs) {
    VX_CHECK_PARAM(commandLine);
    bool quoted = false;
    const char16_t* p = commandLine;
    for (; *p != u'\0'; ++p) {
        if (*p == u'"')
            quoted = !quoted;
        if (*p == u' ' && !quoted)
            break;
    }
    cmdLineArgs = p;
    return VXError::eNoError;
}

int mainRoutine(ServerPlatform& platform) {
    const int exitCode = runStages(platform);
    // Repeats of this thread's last line are held back until another line comes; none will.
    VXLog::flush();
    return exitCode;
}

}  // namespace Vistrel
