// The request loop as both servers run it, driven in-process through the platform's named
// objects with a scripted screen reader.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "SerializeUtils.h"
#include "VistrelExchange.h"
#include "VistrelServer.h"
#include "support/ResultText.h"
#include "support/TestParams.h"

namespace {

constexpr uint32_t kAnswerMs = 10000;
constexpr uint8_t kMark = 0x5A;

// What the loop asked of the reader, and what it answers.
struct ReaderScript {
    std::vector<std::vector<uint64_t>> windows;
    std::vector<bool> cursor;
    int reads = 0;
    VXResult readResult = VXError::eNoError;
};

class ScriptedReader : public ScreenReader {
public:
    explicit ScriptedReader(ReaderScript& script) : _script(script) {}
    VXResult setup(const VXRect&, const std::shared_ptr<VXImage>& image) override {
        _image = image;
        return VXError::eNoError;
    }
    VXResult setExcludedWindows(const std::vector<uint64_t>& windows) override {
        _script.windows.push_back(windows);
        return VXError::eNoError;
    }
    VXResult setCaptureCursor(bool show) override {
        _script.cursor.push_back(show);
        return VXError::eNoError;
    }
    VXResult readScreen() override {
        ++_script.reads;
        std::memset(_image->getLinePtr(0), 0x11 * _script.reads, 4);
        return _script.readResult;
    }
    uint32_t getStabilizationRounds() const override { return 3; }
    uint32_t getStabilizationTimeMs() const override { return 40; }
    bool isStabilizationTimedOut() const override { return true; }

private:
    ReaderScript& _script;
    std::shared_ptr<VXImage> _image;
};

class ScriptedPlatform : public Vistrel::ServerPlatform {
public:
    explicit ScriptedPlatform(ReaderScript& script) : _script(script) {}
    void prepareProcess() override {}
    VXResult getCommandLineArgs(VXString&) override { return VXError::eNotImplemented; }
    VXResult startCapture(bool) override { return VXError::eNoError; }
    void stopCapture(bool) override {}
    std::unique_ptr<ScreenReader> makeReader() override { return std::make_unique<ScriptedReader>(_script); }

private:
    ReaderScript& _script;
};

// The loop on a thread of its own, over fresh objects; the test plays the host.
class RequestLoop : public ::testing::Test {
protected:
    void start(const VXRect& rect, bool unitTestMode, bool dirtyHeap = false) {
        params = testParams(rect);
        ASSERT_TRUE(params);
        ASSERT_TRUE(Vistrel::SharedObjects::create(*params, objects).isSuccess());
        _server = std::thread([this, rect, unitTestMode, dirtyHeap] {
            if (dirtyHeap) {
                // Freed memory of the image's size, full of marks, where the allocator will look first.
                std::vector<uint32_t> dirt(static_cast<size_t>(rect.getWidth()) * rect.getHeight(),
                                           0xA5A5A5A5);
                dirtSink = dirt.data();
            }
            served = Vistrel::serveRequests(rect, objects, unitTestMode, _platform);
        });
    }
    // One request; false when no answer came.
    bool request(const std::vector<uint64_t>& windows, bool cursor) {
        SerializeUtils::writeWindowList(objects->shMemExclWnds->view, Vistrel::kExclWndsBlockSize, windows);
        SerializeUtils::writeBool(objects->shMemCaptureCursor->view, cursor);
        objects->eventStart->set();
        return objects->eventCompleted->wait(kAnswerMs).isSuccess();
    }
    Vistrel::ResultRecord result() const {
        Vistrel::ResultRecord record;
        EXPECT_NE(SerializeUtils::readResult(objects->shMemResult->view, Vistrel::kResultBlockSize, record),
                  nullptr);
        return record;
    }
    // Ends the loop the way a broken exchange does: a list the loop cannot read.
    void TearDown() override {
        if (!_server.joinable())
            return;
        SerializeUtils::writeUInt64(objects->shMemExclWnds->view, 5000);
        objects->eventStart->set();
        _server.join();
        EXPECT_THAT(text(served), StartsWith("Failed reading excluded windows at "));
    }

    ReaderScript script;
    std::shared_ptr<Vistrel::Params> params;
    std::shared_ptr<Vistrel::SharedObjects> objects;
    VXResult served;
    const void* volatile dirtSink = nullptr;

private:
    ScriptedPlatform _platform{script};
    std::thread _server;
};

TEST_F(RequestLoop, UnitTestModeAnswersWithTheWholeRectangleOfZeros) {
    const VXRect rect(10, 20, 18, 28);
    start(rect, true, true);
    ASSERT_TRUE(request({7, 0xFFFFFFFF00000001ull}, true));
    EXPECT_EQ(result().code, 2000);
    const uint8_t* image = objects->shMemImage->view;
    const uint8_t header[] = {1, 8, 0, 0, 0, 8, 0, 0, 0, 32, 0, 0, 0};
    EXPECT_EQ(std::memcmp(image, header, sizeof(header)), 0);
    const std::vector<uint8_t> pixels(image + sizeof(header), image + sizeof(header) + 8 * 8 * 4);
    EXPECT_EQ(pixels, std::vector<uint8_t>(8 * 8 * 4, 0));
    const uint8_t readersWait[9] = {3, 0, 0, 0, 40, 0, 0, 0, 1};  // as the reader holds them
    EXPECT_EQ(std::memcmp(objects->shMemWaitResult->view, readersWait, sizeof(readersWait)), 0);
    EXPECT_EQ(script.reads, 0);
    EXPECT_EQ(script.windows, (std::vector<std::vector<uint64_t>>{{7, 0xFFFFFFFF00000001ull}}));
    EXPECT_EQ(script.cursor, std::vector<bool>{true});
}

TEST_F(RequestLoop, AFailedCaptureIsAnsweredAndLeavesImageAndWaitBlocksAlone) {
    start(VXRect(0, 0, 4, 2), false);
    ASSERT_TRUE(request({}, false));
    ASSERT_EQ(result().code, 2000);
    EXPECT_EQ(objects->shMemImage->view[13], 0x11);
    Vistrel::WaitRecord wait;
    SerializeUtils::readWaitRecord(objects->shMemWaitResult->view, wait);
    EXPECT_EQ(wait.iterations, 3u);
    EXPECT_EQ(wait.milliseconds, 40u);
    EXPECT_TRUE(wait.timedOut);

    std::memset(objects->shMemImage->view, kMark, Vistrel::imageBlockSize(params->captureRect));
    std::memset(objects->shMemWaitResult->view, kMark, Vistrel::kWaitResultBlockSize);
    script.readResult = VXResult(VXError::eBadState, u"no picture");
    ASSERT_TRUE(request({1}, true));
    EXPECT_EQ(result().code, VXError::eBadState);
    EXPECT_EQ(text(result().text), "no picture");
    EXPECT_EQ(objects->shMemImage->view[0], kMark);
    EXPECT_EQ(objects->shMemImage->view[13], kMark);
    EXPECT_EQ(objects->shMemWaitResult->view[0], kMark);
    EXPECT_EQ(script.reads, 2);
    EXPECT_EQ(script.cursor, (std::vector<bool>{false, true}));
}

TEST(FinalResultText, ASurrogatePairAtTheCutGoesWhole) {
    std::vector<uint8_t> block(Vistrel::kResultBlockSize, 0);
    auto memory = std::make_shared<SharedProcessMemory>();
    memory->view = block.data();  // a stand-in view over plain memory, released by nobody
    // 4081 units are kept before " [...]": the pair would straddle units 4080 and 4081.
    const VXString message = VXString(u'x', 4080) + VXString(u"\U0001F600") + VXString(u'y', 100);
    ASSERT_TRUE(Vistrel::writeResult(memory, VXResult(2020, u"%s", message)).isSuccess());
    memory->view = nullptr;
    Vistrel::ResultRecord record;
    ASSERT_NE(SerializeUtils::readResult(block.data(), block.size(), record), nullptr);
    EXPECT_EQ(text(record.text), std::string(4080, 'x') + " [...]");
}

}  // namespace
