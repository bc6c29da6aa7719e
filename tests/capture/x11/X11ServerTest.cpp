// The real Linux server on a real X desktop: a request that lists a window answers with the X
// server's own picture of the rectangle without it, and the X server's death reaches the host
// as the answer's cause.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "SerializeUtils.h"
#include "ServerProcess.h"
#include "VistrelExchange.h"
#include "VistrelSharedObjects.h"
#include "XChildProcess.h"
#include "XTestDisplay.h"
#include "XvfbServer.h"
#include "support/TestParams.h"

using ::testing::HasSubstr;

namespace {

constexpr int kStartMs = 20000;
constexpr uint32_t kAnswerMs = 10000;

bool request(const Vistrel::SharedObjects& objects, const std::vector<uint64_t>& windows) {
    SerializeUtils::writeWindowList(objects.shMemExclWnds->view, Vistrel::kExclWndsBlockSize, windows);
    SerializeUtils::writeBool(objects.shMemCaptureCursor->view, false);
    objects.eventStart->set();
    return objects.eventCompleted->wait(kAnswerMs).isSuccess();
}

Vistrel::ResultRecord resultOf(const Vistrel::SharedObjects& objects) {
    Vistrel::ResultRecord record;
    EXPECT_NE(SerializeUtils::readResult(objects.shMemResult->view, Vistrel::kResultBlockSize, record),
              nullptr);
    return record;
}

}  // namespace

TEST(X11Server, AnswersWithTheDesktopWithoutTheListedWindow) {
    XvfbServer xserver;
    ASSERT_TRUE(xserver.start("640x480x24", {"-retro"}));
    XTestDisplay display;
    ASSERT_TRUE(display.connect(xserver.display()));
    XChildProcess logo;
    ASSERT_TRUE(logo.start({"xlogo", "-geometry", "300x300+50+50", "-title", "Logo"}, xserver.display()));
    ASSERT_NE(display.waitForWindow("Logo"), 0u);
    const xcb_window_t panel =
        display.createWindow(VXRect(150, 150, 450, 350), 0xC03030, true, "Secret panel");
    const VXRect rect(0, 0, 640, 480);
    ASSERT_TRUE(display.settle(rect));
    const std::vector<uint32_t> withPanel = display.rootImage(rect);
    display.unmap(panel);
    ASSERT_TRUE(display.settle(rect));
    const std::vector<uint32_t> withoutPanel = display.rootImage(rect);
    display.map(panel);
    ASSERT_TRUE(display.settle(rect));

    const auto params = testParams(rect);
    ASSERT_NE(params, nullptr);
    const VXRect& r = params->captureRect;
    const std::string log =
        (std::filesystem::temp_directory_path() / ("vistrel-x11-" + std::to_string(getpid()) + ".log"))
            .string();
    testsupport::ServerProcess server(
        testsupport::serverArgs(r.getLeft(), r.getTop(), r.getRight(), r.getBottom(), params->guid.toUtf8(),
                                false),
        {"DISPLAY=" + xserver.display(), "VISTREL_HOST_PID=" + std::to_string(getpid())}, log);
    std::shared_ptr<Vistrel::SharedObjects> host;
    ASSERT_TRUE(testsupport::openServerObjects(*params, host, kStartMs));

    std::shared_ptr<VXImage> image;
    ASSERT_EQ(VXImage::create(rect.getWidth(), rect.getHeight(), 32, image).code(), 2000);
    ASSERT_EQ(image->allocate().code(), 2000);
    const struct {
        const char* name;
        std::vector<uint64_t> windows;
        const std::vector<uint32_t>& expected;
    } cases[] = {
        {"the panel left out", {panel}, withoutPanel},
        {"nothing left out", {}, withPanel},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        ASSERT_TRUE(request(*host, each.windows));
        const Vistrel::ResultRecord result = resultOf(*host);
        EXPECT_EQ(result.code, 2000) << result.text.toUtf8();
        ASSERT_NE(SerializeUtils::readImageInto(host->shMemImage->view, *image, VXPoint(0, 0)), nullptr);
        const PixelDifference difference = comparePixels(*image, each.expected);
        EXPECT_EQ(difference.count, 0) << difference.first;
    }

    xserver.kill();
    ASSERT_TRUE(request(*host, {panel}));
    const Vistrel::ResultRecord lost = resultOf(*host);
    EXPECT_EQ(lost.code, 2010);
    EXPECT_THAT(lost.text.toUtf8(), HasSubstr("Connection to the X server lost"));
    // The server ends with that cause as its final result instead of waiting for its idle end.
    const testsupport::ServerEnd end = server.waitEnd(5000);
    EXPECT_TRUE(end.exited);
    EXPECT_EQ(end.code, 10);
    const Vistrel::ResultRecord final = resultOf(*host);
    EXPECT_EQ(final.code, 2010);
    EXPECT_THAT(final.text.toUtf8(), HasSubstr("Connection to the X server lost"));
    EXPECT_THAT(final.text.toUtf8(), HasSubstr("Error returned"));
}
