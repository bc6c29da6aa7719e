#include "PosixServerPlatform.h"

#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "NoScreenReader.h"
#include "VXChecks.h"
#include "VXCrashHandler.h"
#include "X11ScreenReader.h"

namespace Vistrel {

namespace {

void crashForTest(const char* how) {
    if (std::strcmp(how, "segv") == 0) {
        // A write to a page that allows nothing: a real fault that no sanitizer takes first.
        void* page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (page != MAP_FAILED)
            *static_cast<volatile int*>(page) = 1;
    } else if (std::strcmp(how, "abort") == 0) {
        std::abort();
    }
}

}  // namespace

void PosixServerPlatform::prepareProcess() {
    VXCrashHandler::install();
    // The server never outlives its host: the kernel ends it when the parent goes.
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0)
        VX_CRT_ERROR(u"prctl", errno).logIfError(VX_SITE);
    // A host that died before the line above ran has made someone else the parent already.
    if (const char* host = std::getenv(kHostPidVariable)) {
        char* end = nullptr;
        const long pid = std::strtol(host, &end, 10);
        if (end != host && *end == '\0' && pid != static_cast<long>(getppid())) {
            VX_LOG(VXLogLevel::eWarning, u"Host process %d has ended; the server ends with it",
                   static_cast<int>(pid));
            VXLog::flush();
            raise(SIGKILL);
        }
    }
}

VXResult PosixServerPlatform::getCommandLineArgs(VXString& cmdLineArgs) {
    VX_CHECK_PARAM(_argc >= 0);
    VXString args;
    for (int i = 1; i < _argc; ++i) {
        VX_CHECK_PARAM(_argv[i]);
        if (!args.appendFormat(u" \"%s\"", VXString::fromUtf8(_argv[i])))
            return VX_ERROR(VXError::eNoMemory, u"No memory for the command line");
    }
    cmdLineArgs = std::move(args);
    return VXError::eNoError;
}

VXResult PosixServerPlatform::startCapture(bool unitTestMode) {
    _unitTestMode = unitTestMode;
    if (const char* how = std::getenv(kTestCrashVariable))
        crashForTest(how);
    return VXError::eNoError;
}

void PosixServerPlatform::stopCapture(bool) {}

std::unique_ptr<ScreenReader> PosixServerPlatform::makeReader() {
    const char* display = std::getenv("DISPLAY");
    if (_unitTestMode || display == nullptr || display[0] == 0)
        return std::make_unique<NoScreenReader>();
    return std::make_unique<X11ScreenReader>();
}

}  // namespace Vistrel
