#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "SerializeUtils.h"
#include "VXChecks.h"
#include "VXSubImage.h"
#include "VistrelExchange.h"

namespace {

constexpr uint8_t kFill = 0xAA;

// A block pre-filled with a marker, so that bytes a writer must not touch can be checked.
struct Block {
    explicit Block(size_t size) : bytes(size, kFill) {}
    uint8_t* data() { return bytes.data(); }
    std::vector<uint8_t> head(size_t n) const {
        return {bytes.begin(), bytes.begin() + static_cast<long>(n)};
    }
    std::vector<uint8_t> bytes;
};

std::shared_ptr<VXImage> makeImage(int32_t width, int32_t height, int32_t depth, uint8_t first = 1) {
    std::shared_ptr<VXImage> image;
    EXPECT_TRUE(VXImage::create(width, height, depth, image).isSuccess());
    EXPECT_TRUE(image->allocate().isSuccess());
    std::memset(image->getBits(), 0xEE, static_cast<size_t>(image->getImageSize()));  // padding marker
    uint8_t value = first;
    for (int32_t y = 0; y < height; ++y) {
        uint8_t* row = image->getLinePtr(y);
        for (int32_t i = 0; i < width * image->getBytesPerPixel(); ++i)
            row[i] = value++;
    }
    return image;
}

TEST(SerializeUtils, TwoByOneImageRecordIsTwentyOneBytes) {
    Block block(64);
    const auto image = makeImage(2, 1, 32, 0x10);
    uint8_t* end = SerializeUtils::writeImage(block.data(), image);
    ASSERT_EQ(end, block.data() + 21);
    const std::vector<uint8_t> expected = {0x01, 0x02, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x20, 0x00,
                                           0x00, 0x00, 0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, kFill};
    EXPECT_EQ(block.head(22), expected);
    EXPECT_EQ(SerializeUtils::imageRecordSize(image.get()), 21u);
}

TEST(SerializeUtils, ImageRowsArePackedWithoutStride) {
    Block block(64);
    const auto image = makeImage(1, 3, 24);  // stride 4: one padding byte a row
    ASSERT_EQ(image->getBytesPerLine(), 4);
    ASSERT_EQ(SerializeUtils::writeImage(block.data(), image), block.data() + 13 + 9);
    const std::vector<uint8_t> header = {0x01, 0x01, 0, 0, 0, 0x03, 0, 0, 0, 0x18, 0, 0, 0};
    EXPECT_EQ(block.head(13), header);
    for (int i = 0; i < 9; ++i)
        EXPECT_EQ(block.bytes[13 + i], i + 1) << i;
    EXPECT_EQ(block.bytes[22], kFill);
}

TEST(SerializeUtils, EmptyAndDegenerateImages) {
    Block block(32);
    EXPECT_EQ(SerializeUtils::writeImage(block.data(), nullptr), block.data() + 1);
    EXPECT_EQ(block.bytes[0], 0x00);
    EXPECT_EQ(block.bytes[1], kFill);

    // No rows: the header alone, with the negative height as written.
    auto flat = std::make_shared<VXImage>(5, -2, 32);
    ASSERT_EQ(SerializeUtils::writeImage(block.data(), flat), block.data() + 13);
    EXPECT_EQ(block.bytes[5], 0xFE);
    EXPECT_EQ(block.bytes[8], 0xFF);

    // Rows without pixels fail the write.
    auto unallocated = std::make_shared<VXImage>(2, 2, 32);
    EXPECT_EQ(SerializeUtils::writeImage(block.data(), unallocated), nullptr);
    EXPECT_EQ(SerializeUtils::writeImage(nullptr, unallocated), nullptr);

    // The bounded form refuses a record longer than the block.
    const auto image = makeImage(2, 1, 32);
    EXPECT_EQ(SerializeUtils::writeImage(block.data(), 20, image), nullptr);
    EXPECT_EQ(SerializeUtils::writeImage(block.data(), 21, image), block.data() + 21);
}

TEST(SerializeUtils, CaptureImageFitsItsBlock) {
    const VXRect rect(0, 0, 64, 48);
    const auto image = makeImage(rect.getWidth(), rect.getHeight(), 32);
    EXPECT_LE(SerializeUtils::imageRecordSize(image.get()), Vistrel::imageBlockSize(rect));
}

class ReadImageTest : public testing::Test {
protected:
    void SetUp() override {
        source = makeImage(2, 2, 32, 0x40);
        ASSERT_EQ(SerializeUtils::writeImage(record.data(), source), record.data() + 13 + 16);
        target = makeImage(4, 3, 32, 0x00);
        std::memset(target->getBits(), 0, static_cast<size_t>(target->getImageSize()));
    }
    Block record{64};
    std::shared_ptr<VXImage> source;
    std::shared_ptr<VXImage> target;
};

TEST_F(ReadImageTest, CopiesRowsToThePosition) {
    const uint8_t* end = SerializeUtils::readImageInto(record.data(), *target, VXPoint(1, 1));
    ASSERT_EQ(end, record.data() + 29);
    EXPECT_EQ(std::memcmp(target->getPixelPtr(1, 1), source->getLinePtr(0), 8), 0);
    EXPECT_EQ(std::memcmp(target->getPixelPtr(1, 2), source->getLinePtr(1), 8), 0);
    const uint8_t zeros[4] = {};
    EXPECT_EQ(std::memcmp(target->getPixelPtr(0, 1), zeros, 4), 0);
    EXPECT_EQ(std::memcmp(target->getPixelPtr(3, 1), zeros, 4), 0);
    EXPECT_EQ(std::memcmp(target->getLinePtr(0), zeros, 4), 0);

    // Into a view: the rows land in the parent at the view's origin.
    auto view = std::make_shared<VXSubImage>();
    ASSERT_TRUE(view->initialize(target, VXRect(2, 0, 4, 2)).isSuccess());
    ASSERT_NE(SerializeUtils::readImageInto(record.data(), *view, VXPoint(0, 0)), nullptr);
    EXPECT_EQ(std::memcmp(target->getPixelPtr(2, 0), source->getLinePtr(0), 8), 0);
    EXPECT_EQ(std::memcmp(target->getPixelPtr(2, 1), source->getLinePtr(1), 8), 0);
}

TEST_F(ReadImageTest, RefusesRecordsTheTargetCannotTake) {
    EXPECT_EQ(SerializeUtils::readImageInto(nullptr, *target, VXPoint()), nullptr);

    auto target24 = makeImage(4, 3, 24);
    EXPECT_EQ(SerializeUtils::readImageInto(record.data(), *target24, VXPoint()), nullptr);

    EXPECT_EQ(SerializeUtils::readImageInto(record.data(), *target, VXPoint(-1, 0)), nullptr);
    EXPECT_EQ(SerializeUtils::readImageInto(record.data(), *target, VXPoint(0, -1)), nullptr);
    EXPECT_EQ(SerializeUtils::readImageInto(record.data(), *target, VXPoint(3, 0)), nullptr);  // too wide
    EXPECT_EQ(SerializeUtils::readImageInto(record.data(), *target, VXPoint(0, 2)), nullptr);  // too low
    EXPECT_NE(SerializeUtils::readImageInto(record.data(), *target, VXPoint(2, 1)), nullptr);  // flush fit

    VXImage noPixels(4, 3, 32);
    EXPECT_EQ(SerializeUtils::readImageInto(record.data(), noPixels, VXPoint()), nullptr);

    Block absent(16);
    SerializeUtils::writeImage(absent.data(), nullptr);
    EXPECT_EQ(SerializeUtils::readImageInto(absent.data(), *target, VXPoint()), nullptr);

    // A block too short for the rows it announces.
    EXPECT_EQ(SerializeUtils::readImageInto(record.data(), 28, *target, VXPoint()), nullptr);
    EXPECT_EQ(SerializeUtils::readImageInto(record.data(), 12, *target, VXPoint()), nullptr);
    EXPECT_EQ(SerializeUtils::readImageInto(record.data(), 29, *target, VXPoint()), record.data() + 29);
}

TEST(SerializeUtils, SuccessResultWithEmptyTextIsEighteenBytes) {
    Block block(32);
    uint8_t* end = SerializeUtils::writeResult(block.data(), VXResult(VXError::eNoError));
    ASSERT_EQ(end, block.data() + 18);
    const std::vector<uint8_t> expected = {0xD0, 0x07, 0x00, 0x00, kFill, kFill, kFill, kFill, 0x01, 0x00,
                                           0x00, 0x00, 0x00, 0x00, 0x00,  0x00,  0x00,  0x00,  kFill};
    EXPECT_EQ(block.head(19), expected);
}

TEST(SerializeUtils, ResultTextRoundTrips) {
    Block block(Vistrel::kResultBlockSize);
    const VXResult failure = VX_ERROR(VXError::eTimeout, u"No capture request \u00e9");
    const uint32_t units = failure.message().length() + 1;
    uint8_t* end = SerializeUtils::writeResult(block.data(), failure);
    ASSERT_EQ(end, block.data() + 16 + 2 * units);
    EXPECT_EQ(block.bytes[0], 0xE8);  // 2024
    EXPECT_EQ(block.bytes[1], 0x07);
    EXPECT_EQ(block.bytes[4], kFill);
    EXPECT_EQ(block.bytes[8], units);
    EXPECT_EQ(block.bytes[16], 'N');
    EXPECT_EQ(block.bytes[17], 0x00);
    EXPECT_EQ(end[-2], 0x00);
    EXPECT_EQ(end[-1], 0x00);

    Vistrel::ResultRecord record;
    ASSERT_EQ(SerializeUtils::readResult(block.data(), block.bytes.size(), record), end);
    EXPECT_EQ(record.code, VXError::eTimeout);
    EXPECT_EQ(record.text, failure.message());

    // A negative code keeps its sign.
    ASSERT_NE(SerializeUtils::writeResult(block.data(), VXResult(-5)), nullptr);
    ASSERT_NE(SerializeUtils::readResult(block.data(), 32, record), nullptr);
    EXPECT_EQ(record.code, -5);
    EXPECT_TRUE(record.text.isEmpty());

    // The bounded writer refuses a text the block cannot hold.
    EXPECT_EQ(SerializeUtils::writeResult(block.data(), 16 + 2 * units - 1, failure), nullptr);
}

TEST(SerializeUtils, ResultReaderRefusesDamagedRecords) {
    Block block(64);
    ASSERT_NE(SerializeUtils::writeResult(block.data(), 64, VXResult(VXError::eSomeError, u"abc")), nullptr);
    Vistrel::ResultRecord record;
    record.code = 7;
    const uint64_t length = block.bytes[8];

    EXPECT_EQ(SerializeUtils::readResult(block.data(), 16 + 2 * length - 1, record), nullptr);  // cut short
    EXPECT_EQ(SerializeUtils::readResult(block.data(), 15, record), nullptr);
    Block zeroLength = block;
    zeroLength.bytes[8] = 0;
    EXPECT_EQ(SerializeUtils::readResult(zeroLength.data(), 64, record), nullptr);
    Block huge = block;
    huge.bytes[15] = 0x80;
    EXPECT_EQ(SerializeUtils::readResult(huge.data(), 64, record), nullptr);
    Block unterminated = block;
    unterminated.bytes[16 + 2 * (length - 1)] = 'x';
    EXPECT_EQ(SerializeUtils::readResult(unterminated.data(), 64, record), nullptr);
    EXPECT_EQ(record.code, 7);  // untouched by the refusals
}

TEST(SerializeUtils, WindowListRoundTripsLittleEndian) {
    Block block(Vistrel::kExclWndsBlockSize);
    const std::vector<uint64_t> handles = {0x10203, 0xFFFFFFFF00000001ull, 0};
    uint8_t* end = SerializeUtils::writeWindowList(block.data(), block.bytes.size(), handles);
    ASSERT_EQ(end, block.data() + 8 + 24);
    const std::vector<uint8_t> head = {3, 0, 0, 0, 0, 0, 0, 0, 0x03, 0x02, 0x01, 0,
                                       0, 0, 0, 0, 1, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(block.head(24), head);

    std::vector<uint64_t> read = {99};
    EXPECT_EQ(SerializeUtils::readWindowList(block.data(), block.bytes.size(), read), end);
    EXPECT_EQ(read, handles);
    read = {99};
    EXPECT_EQ(SerializeUtils::readWindowList(block.data(), read), end);
    EXPECT_EQ(read, handles);

    // Count 0 empties the list.
    ASSERT_NE(SerializeUtils::writeWindowList(block.data(), block.bytes.size(), {}), nullptr);
    EXPECT_EQ(SerializeUtils::readWindowList(block.data(), block.bytes.size(), read), block.data() + 8);
    EXPECT_TRUE(read.empty());
}

TEST(SerializeUtils, OversizeWindowCountIsRefusedWithoutReadingPastTheBlock) {
    // Exactly the block's size of storage, so the sanitizer build sees any read past it.
    std::vector<uint8_t> storage(Vistrel::kExclWndsBlockSize, 0);
    std::vector<uint64_t> full(Vistrel::kMaxExcludedWindows, 0x42);
    ASSERT_EQ(SerializeUtils::writeWindowList(storage.data(), storage.size(), full),
              storage.data() + storage.size());
    std::vector<uint64_t> read;
    ASSERT_EQ(SerializeUtils::readWindowList(storage.data(), storage.size(), read),
              storage.data() + storage.size());
    EXPECT_EQ(read.size(), 1023u);

    full.push_back(0x43);
    EXPECT_EQ(SerializeUtils::writeWindowList(storage.data(), storage.size(), full), nullptr);
    EXPECT_EQ(storage[0], 0xFF);  // the refused write left the block alone (count 1023)
    EXPECT_EQ(storage[1], 0x03);

    const std::vector<uint64_t> before = {1, 2};
    for (const uint64_t count : {uint64_t{1024}, uint64_t{0x2000000000000000}, ~uint64_t{0}}) {
        read = before;
        SerializeUtils::writeUInt64(storage.data(), count);
        EXPECT_EQ(SerializeUtils::readWindowList(storage.data(), storage.size(), read), nullptr) << count;
        EXPECT_EQ(read, before);
    }
    EXPECT_EQ(SerializeUtils::readWindowList(storage.data(), 7, read), nullptr);
    EXPECT_EQ(SerializeUtils::readWindowList(nullptr, storage.size(), read), nullptr);
}

TEST(SerializeUtils, CursorFlagAndWaitRecord) {
    Block block(Vistrel::kCaptureCursorBlockSize);
    ASSERT_EQ(SerializeUtils::writeBool(block.data(), true), block.data() + 1);
    EXPECT_EQ(block.bytes[0], 1);
    bool flag = false;
    ASSERT_EQ(SerializeUtils::readBool(block.data(), flag), block.data() + 1);
    EXPECT_TRUE(flag);
    block.bytes[0] = 2;  // any non-zero byte reads as true
    SerializeUtils::readBool(block.data(), flag);
    EXPECT_TRUE(flag);
    SerializeUtils::writeBool(block.data(), false);
    SerializeUtils::readBool(block.data(), flag);
    EXPECT_FALSE(flag);

    Block wait(Vistrel::kWaitResultBlockSize);
    const Vistrel::WaitRecord written{3, 0x01020304, true};
    uint8_t* end = SerializeUtils::writeWaitRecord(wait.data(), written);
    ASSERT_EQ(end, wait.data() + 9);
    const std::vector<uint8_t> expected = {3, 0, 0, 0, 4, 3, 2, 1, 1, kFill};
    EXPECT_EQ(wait.head(10), expected);
    Vistrel::WaitRecord read;
    ASSERT_EQ(SerializeUtils::readWaitRecord(wait.data(), read), end);
    EXPECT_EQ(read.iterations, 3u);
    EXPECT_EQ(read.milliseconds, 0x01020304u);
    EXPECT_TRUE(read.timedOut);
}

TEST(SerializeUtils, NullCursorPropagatesThroughAChain) {
    uint8_t* cursor = nullptr;
    cursor = SerializeUtils::writeUInt32(cursor, 1);
    cursor = SerializeUtils::writeBool(cursor, true);
    cursor = SerializeUtils::writeResult(cursor, VXResult());
    EXPECT_EQ(cursor, nullptr);
    EXPECT_EQ(SerializeUtils::writeWaitRecord(nullptr, {}), nullptr);
    Vistrel::WaitRecord record{5, 6, false};
    EXPECT_EQ(SerializeUtils::readWaitRecord(nullptr, record), nullptr);
    EXPECT_EQ(record.iterations, 5u);
    bool flag = true;
    EXPECT_EQ(SerializeUtils::readBool(nullptr, flag), nullptr);
    EXPECT_TRUE(flag);

    uint8_t bytes[4] = {};
    EXPECT_EQ(SerializeUtils::writeUInt32(bytes, 0xA1B2C3D4), bytes + 4);
    EXPECT_EQ(bytes[0], 0xD4);
    EXPECT_EQ(bytes[3], 0xA1);
}

}  // namespace
