// Time per frame of the X11 reader and of ffmpeg's x11grab on the same 1920 x 1080 display:
// nothing left out, one window left out, and the same screen captured again unchanged.
// ffmpeg's start-up is taken out by timing two frame counts and dividing the difference. The
// machine may be shared: each figure is the best of several batches.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

#include "X11ScreenReader.h"
#include "XChildProcess.h"
#include "XTestDisplay.h"
#include "XvfbServer.h"

namespace {

constexpr int kFrames = 200;
constexpr int kFfmpegFewFrames = 50;
// About two seconds of frames, so that start-up jitter is a small part of the difference.
constexpr int kFfmpegFrames = 2050;
constexpr int kBatches = 10;  // of kFrames / kBatches captures each
constexpr int kFfmpegRuns = 3;
const VXRect kScreen(0, 0, 1920, 1080);

double nowMs() {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

double ffmpegMs(const std::string& display, int frames) {
    // x11grab paces itself to its frame rate: ask for more than it can reach.
    const std::string command =
        "ffmpeg -loglevel error -nostdin -f x11grab -framerate 100000 -video_size 1920x1080 -i " + display +
        " -frames:v " + std::to_string(frames) + " -f null - >/dev/null 2>&1";
    const double start = nowMs();
    if (std::system(command.c_str()) != 0)
        return -1;
    return nowMs() - start;
}

double x11grabPerFrameMs(const std::string& display) {
    double best = -1;
    for (int run = 0; run < kFfmpegRuns; ++run) {
        const double few = ffmpegMs(display, kFfmpegFewFrames);
        const double many = ffmpegMs(display, kFfmpegFrames);
        if (few < 0 || many < 0)
            return -1;
        const double perFrame = (many - few) / (kFfmpegFrames - kFfmpegFewFrames);
        if (perFrame > 0 && (best < 0 || perFrame < best))
            best = perFrame;
    }
    return best;
}

// Returns ms per frame, or -1 after a failed capture.
double readerPerFrameMs(const std::string& display, const std::vector<uint64_t>& excluded, bool& composed,
                        uint32_t& rounds) {
    std::shared_ptr<VXImage> image;
    if (VXImage::create(kScreen.getWidth(), kScreen.getHeight(), 32, image).isError() ||
        image->allocate().isError())
        return -1;
    X11ScreenReader reader(display);
    if (reader.setup(kScreen, image).isError() || reader.setExcludedWindows(excluded).isError())
        return -1;
    if (reader.readScreen().isError())  // warm: the first capture allocates
        return -1;
    rounds = 0;
    double best = -1;
    for (int batch = 0; batch < kBatches; ++batch) {
        const double start = nowMs();
        for (int i = 0; i < kFrames / kBatches; ++i) {
            const VXResult result = reader.readScreen();
            if (result.isError()) {
                std::fprintf(stderr, "capture failed: %s\n", result.describe().toUtf8().c_str());
                return -1;
            }
            rounds += reader.getStabilizationRounds();
        }
        const double perFrame = (nowMs() - start) / (kFrames / kBatches);
        if (best < 0 || perFrame < best)
            best = perFrame;
    }
    composed = reader.lastCaptureComposed();
    return best;
}

}  // namespace

int main() {
    XvfbServer server;
    if (!server.start("1920x1080x24", {"-retro"})) {
        std::fprintf(stderr, "Xvfb did not start on :63 to :66\n");
        return 1;
    }
    XTestDisplay display;
    if (!display.connect(server.display()))
        return 1;
    std::vector<std::unique_ptr<XChildProcess>> programs;
    const auto start = [&](std::vector<std::string> argv) {
        programs.push_back(std::make_unique<XChildProcess>());
        programs.back()->start(argv, server.display());
    };
    start({"twm"});
    start({"xlogo", "-geometry", "700x600+100+100", "-title", "Logo"});
    start({"xterm", "-geometry", "100x40+500+300", "-title", "Term", "-e", "sleep", "600"});
    start({"xeyes", "-geometry", "400x400+1300+200"});
    start({"xlogo", "-geometry", "500x400+1200+600"});
    const xcb_window_t term = display.waitForWindow("Term");
    if (term == 0 || display.waitForWindow("Logo") == 0)
        return 1;
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    display.settle(kScreen);

    std::printf("1920 x 1080, best of %d batches of %d frames, ms per frame (lower is better)\n", kBatches,
                kFrames / kBatches);
    const double grab = x11grabPerFrameMs(server.display());
    std::printf("ffmpeg x11grab                      %7.3f ms  (%6.1f fps)\n", grab, 1000 / grab);
    const struct {
        const char* name;
        std::vector<uint64_t> excluded;
    } cases[] = {
        {"reader, nothing left out", {}},
        {"reader, one window left out (xterm)", {term}},
        {"reader, unchanged screen, again", {}},
        {"reader, left out, over a wallpaper", {term}},
    };
    for (const auto& each : cases) {
        if (std::string(each.name).find("wallpaper") != std::string::npos)
            display.setWallpaper();
        bool composed = false;
        uint32_t rounds = 0;
        const double ms = readerPerFrameMs(server.display(), each.excluded, composed, rounds);
        std::printf("%-36s%7.3f ms  (%6.1f fps)  %.2fx x11grab, %s, %u retries\n", each.name, ms, 1000 / ms,
                    ms / grab, composed ? "composed" : "read from the screen", rounds);
    }
    return 0;
}
