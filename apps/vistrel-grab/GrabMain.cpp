// vistrel-grab: a command-line host of the capture server. It is the demo, a debugging aid
// and a small example of what an integrator writes on top of the host library.
#include "GrabMain.h"

#include <cstdio>
#include <vector>

#include "FrameDiff.h"
#include "GrabDesktop.h"
#include "GrabOptions.h"
#include "MonitorList.h"
#include "VXImageUtils.h"
#include "VistrelHost.h"

namespace {

std::string utf8(const VXString& s) {
    return s.toUtf8();
}

// A pattern with %d names every capture; a plain name receives the last one only.
bool outputPath(const VXString& pattern, uint32_t index, uint32_t count, VXString& path) {
    if (pattern.isEmpty())
        return false;
    path = pattern;
    if (pattern.find(u"%d") >= 0)
        return path.replaceFirst(u"%d", vxFormat(u"%u", index).c_str()).isSuccess();
    return index == count;
}

int fail(const char* what, const VXResult& r) {
    std::printf("vistrel-grab: %s: (%d) %s\n", what, r.code(), utf8(r.message()).c_str());
    return 2;
}

// A server that stopped answering may be writing a crash dump into its log (that takes
// seconds): let it finish before the host ends it, then say where the log and dumps went.
constexpr uint32_t kCrashWriteWaitMs = 90000;

void reportLog(Vistrel::Host& host, const GrabOptions& options) {
    if (options.logPath.isEmpty())
        return;
    if (host.isRunning() && !host.logResult().isError()) {
        std::printf("waiting up to %u s for the server to end\n", kCrashWriteWaitMs / 1000);
        uint32_t exitCode = 0;
        Vistrel::ResultRecord final;
        if (host.waitForExit(kCrashWriteWaitMs, exitCode, final).isSuccess())
            std::printf("server ended with exit code %u (0x%08X)\n", exitCode, exitCode);
    }
    host.terminate();
    std::printf("log: %s\n", utf8(options.logPath).c_str());
    for (const VXString& dump : host.dumpFiles())
        std::printf("crash dump: %s\n", utf8(dump).c_str());
}

void printMonitors(const std::vector<Vistrel::MonitorInfo>& monitors, const VXRect& virtualScreen) {
    for (size_t i = 0; i < monitors.size(); ++i) {
        const Vistrel::MonitorInfo& m = monitors[i];
        std::printf("monitor %u: %s%s %s, work area %s\n", static_cast<unsigned>(i),
                    utf8(m.bounds.toString()).c_str(), m.primary ? " primary" : "",
                    utf8(m.deviceName).c_str(), utf8(m.workArea.toString()).c_str());
    }
    std::printf("virtual screen: %s\n", utf8(virtualScreen.toString()).c_str());
}

}  // namespace

int grabMain(const std::vector<VXString>& args) {
    GrabOptions options;
    const VXResult parsed = GrabOptions::parse(args, options);
    if (options.help) {
        std::printf("%s", GrabOptions::usage().c_str());
        return 0;
    }
    if (parsed.isError()) {
        std::printf("vistrel-grab: %s\n%s", utf8(parsed.message()).c_str(), GrabOptions::usage().c_str());
        return 2;
    }

    if (options.listMonitors || options.monitor >= 0) {
        std::vector<Vistrel::MonitorInfo> monitors;
        VXRect virtualScreen;
        const VXResult listed = GrabDesktop::listMonitors(monitors, virtualScreen);
        if (listed.isError())
            return fail("listing the monitors", listed);
        if (options.listMonitors) {
            printMonitors(monitors, virtualScreen);
            return 0;
        }
        if (static_cast<size_t>(options.monitor) >= monitors.size()) {
            std::printf("vistrel-grab: no monitor %d: there are %u\n", options.monitor,
                        static_cast<unsigned>(monitors.size()));
            return 2;
        }
        options.rect = monitors[static_cast<size_t>(options.monitor)].bounds;
    }

    std::vector<uint64_t> excluded = options.excludeHandles;
    for (const VXString& title : options.excludeTitles) {
        const size_t before = excluded.size();
        const VXResult found = GrabDesktop::findWindowsByTitle(title, excluded);
        if (found.isError())
            return fail("finding the windows by title", found);
        std::printf("exclude \"%s\": %u window(s)\n", utf8(title).c_str(),
                    static_cast<unsigned>(excluded.size() - before));
    }

    Vistrel::HostOptions hostOptions;
    hostOptions.captureRect = options.rect;
    hostOptions.serverPath = options.serverPath;
    hostOptions.unitTestMode = options.unitTestMode;
    hostOptions.logPath = options.logPath;
    std::unique_ptr<Vistrel::Host> host;
    const VXResult started = Vistrel::Host::start(hostOptions, host);
    if (started.isError())
        return fail("starting the server", started);
    std::printf("server pid %u, rectangle %s, identifier %s\n", host->processId(),
                utf8(options.rect.toString()).c_str(), utf8(host->params().guid).c_str());
    const VXResult logging = host->logResult();
    if (logging.isError())
        std::printf("log: only the host's lines: (%d) %s\n", logging.code(), utf8(logging.message()).c_str());

    int status = 0;
    uint64_t firstMicroseconds = 0;
    uint64_t laterMicroseconds = 0;
    Vistrel::Capture capture;
    for (uint32_t i = 1; i <= options.count; ++i) {
        const VXResult exchanged = host->capture(excluded, options.cursor, capture);
        if (exchanged.isError()) {
            const int failed = fail("capture", exchanged);
            reportLog(*host, options);
            return failed;
        }
        (i == 1 ? firstMicroseconds : laterMicroseconds) += capture.microseconds;
        std::printf("capture %u: (%d) %s%s%s\n", i, capture.result.code,
                    utf8(VXResult::codeName(capture.result.code)).c_str(),
                    capture.result.text.isEmpty() ? "" : " ", utf8(capture.result.text).c_str());
        if (capture.result.code > VXError::eNoError) {
            std::printf("  %.1f ms\n", static_cast<double>(capture.microseconds) / 1000.0);
            status = 1;
            continue;
        }
        std::printf("  %.1f ms; wait record: %u more readbacks, %u ms%s\n",
                    static_cast<double>(capture.microseconds) / 1000.0, capture.wait.iterations,
                    capture.wait.milliseconds, capture.wait.timedOut ? ", timed out" : "");
        const double frameArea = static_cast<double>(capture.image->getWidth()) * capture.image->getHeight();
        std::printf("  updated region: %u rectangle(s), %.1f%% of the frame\n",
                    static_cast<unsigned>(capture.updatedRegion.size()),
                    100.0 * static_cast<double>(Vistrel::FrameDiff::area(capture.updatedRegion)) / frameArea);
        VXString path;
        if (!outputPath(options.output, i, options.count, path))
            continue;
        const VXResult saved = VXImageUtils::saveToFile(capture.image, path);
        if (saved.isError())
            return fail("saving the image", saved);
        std::printf("  saved %s\n", utf8(path).c_str());
    }
    // The first capture also prepares the reader (the magnifier's Direct3D device, the X11
    // reader's redirection and wait for quiet clients); the rest show the pace.
    std::printf("first capture %.1f ms", static_cast<double>(firstMicroseconds) / 1000.0);
    if (options.count > 1) {
        const double seconds = static_cast<double>(laterMicroseconds) / 1e6;
        std::printf("; next %u in %.3f s: %.1f captures per second", options.count - 1, seconds,
                    seconds > 0 ? (options.count - 1) / seconds : 0.0);
    }
    std::printf("\n");
    host->terminate();
    reportLog(*host, options);
    return status;
}
