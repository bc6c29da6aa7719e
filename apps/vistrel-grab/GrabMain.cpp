// vistrel-grab: a command-line host of the capture server. It is the demo, a debugging aid
// and a small example of what an integrator writes on top of the host library.
#include <windows.h>

#include <cstdio>
#include <vector>

#include "GrabOptions.h"
#include "VXPngWriter.h"
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

VXString outputPath(const VXString& pattern, uint32_t index, uint32_t count) {
    if (pattern.find(u"%d") >= 0) {
        VXString path(pattern);
        path.replaceFirst(u"%d", vxFormat(u"%u", index).c_str());
        return path;
    }
    // Several captures into one plain name: the last one wins, which is what a user asking
    // for one file wants to see.
    (void)count;
    return pattern;
}

int fail(const char* what, const VXResult& r) {
    std::printf("vistrel-grab: %s: (%d) %s\n", what, r.code(), utf8(r.message()).c_str());
    return 2;
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
    uint64_t totalMicroseconds = 0;
    Vistrel::Capture capture;
    for (uint32_t i = 1; i <= options.count; ++i) {
        const VXResult exchanged = host->capture(excluded, options.cursor, capture);
        if (exchanged.isError())
            return fail("capture", exchanged);
        totalMicroseconds += capture.microseconds;
        std::printf("capture %u: result %d %s\n", i, capture.result.code, utf8(capture.result.text).c_str());
        std::printf("  wait: %u readbacks, %u ms%s; %.1f ms in all\n", capture.wait.iterations,
                    capture.wait.milliseconds, capture.wait.timedOut ? ", timed out" : "",
                    static_cast<double>(capture.microseconds) / 1000.0);
        if (capture.result.code > VXError::eNoError) {
            status = 1;
            continue;
        }
        if (options.output.isEmpty())
            continue;
        const VXString path = outputPath(options.output, i, options.count);
        std::vector<uint8_t> png;
        const VXImage& image = *capture.image;
        VXResult saved = VXPngWriter::encode(image.getBits(), static_cast<uint32_t>(image.getWidth()),
                                             static_cast<uint32_t>(image.getHeight()),
                                             image.getBytesPerLine(), VXPngWriter::Channels::eRGB, png);
        if (saved.isSuccess())
            saved = VXPngWriter::writeFile(path, png);
        if (saved.isError())
            return fail("saving the image", saved);
        std::printf("  saved %s (%u bytes)\n", utf8(path).c_str(), static_cast<unsigned>(png.size()));
    }
    const double seconds = static_cast<double>(totalMicroseconds) / 1e6;
    std::printf("%u capture(s) in %.3f s: %.2f captures per second\n", options.count, seconds,
                seconds > 0 ? options.count / seconds : 0.0);
    host->terminate();
    return status;
}
