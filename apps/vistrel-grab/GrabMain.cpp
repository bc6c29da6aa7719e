// vistrel-grab: a command-line host of the capture server. It is the demo, a debugging aid
// and a small example of what an integrator writes on top of the host library.
#include <windows.h>

#include <cstdio>
#include <vector>

#include "FrameDiff.h"
#include "GrabOptions.h"
#include "MonitorList.h"
#include "VXImageUtils.h"
#include "VistrelHost.h"

namespace {

struct TitleSearch {
    const VXString* title;
    std::vector<uint64_t>* handles;
};

BOOL CALLBACK collectByTitle(HWND window, LPARAM param) {
    auto* search = reinterpret_cast<TitleSearch*>(param);
    wchar_t text[512];
    const int n = GetWindowTextW(window, text, 512);
    if (n > 0 && VXString::fromWide(text) == *search->title) {
        search->handles->push_back(reinterpret_cast<uintptr_t>(window));
    }
    return TRUE;
}

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

int wmain(int argc, wchar_t** argv) {
    GrabOptions options;
    const VXResult parsed = GrabOptions::parse(argc - 1, argv + 1, options);
    if (options.help) {
        std::printf("%s", GrabOptions::usage());
        return 0;
    }
    if (parsed.isError()) {
        std::printf("vistrel-grab: %s\n%s", utf8(parsed.message()).c_str(), GrabOptions::usage());
        return 2;
    }

    if (options.listMonitors || options.monitor >= 0) {
        std::vector<Vistrel::MonitorInfo> monitors;
        VXRect virtualScreen;
        const VXResult listed = Vistrel::MonitorList::list(monitors, virtualScreen);
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
        TitleSearch search{&title, &excluded};
        EnumWindows(collectByTitle, reinterpret_cast<LPARAM>(&search));
        std::printf("exclude \"%s\": %u window(s)\n", utf8(title).c_str(),
                    static_cast<unsigned>(excluded.size() - before));
    }

    Vistrel::HostOptions hostOptions;
    hostOptions.captureRect = options.rect;
    hostOptions.serverPath = options.serverPath;
    hostOptions.unitTestMode = options.unitTestMode;
    std::unique_ptr<Vistrel::Host> host;
    const VXResult started = Vistrel::Host::start(hostOptions, host);
    if (started.isError())
        return fail("starting the server", started);
    std::printf("server pid %u, rectangle %s, identifier %s\n", host->processId(),
                utf8(options.rect.toString()).c_str(), utf8(host->params().guid).c_str());

    int status = 0;
    uint64_t firstMicroseconds = 0;
    uint64_t laterMicroseconds = 0;
    Vistrel::Capture capture;
    for (uint32_t i = 1; i <= options.count; ++i) {
        const VXResult exchanged = host->capture(excluded, options.cursor, capture);
        if (exchanged.isError())
            return fail("capture", exchanged);
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
    // The first capture also makes the magnifier's Direct3D device; the rest show the pace.
    std::printf("first capture %.1f ms", static_cast<double>(firstMicroseconds) / 1000.0);
    if (options.count > 1) {
        const double seconds = static_cast<double>(laterMicroseconds) / 1e6;
        std::printf("; next %u in %.3f s: %.1f captures per second", options.count - 1, seconds,
                    seconds > 0 ? (options.count - 1) / seconds : 0.0);
    }
    std::printf("\n");
    host->terminate();
    return status;
}
