#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "SerializeUtils.h"
#include "VXChecks.h"
#include "VistrelExchange.h"
#include "image/ImageTestSupport.h"

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

// Pixel bytes counting up from first; row padding holds 0xEE.
std::shared_ptr<VXImage> makeImage(int32_t width, int32_t height, int32_t depth, uint8_t first = 1) {
    auto image = imagetest::makeImage(width, height, depth);
    imagetest::fillBytes(*image, 0xEE);
    uint8_t value = first;
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t i = 0; i < width * image->getBytesPerPixel(); ++i)
            image->getLinePtr(y)[i] = value++;
    }
    return image;
}

TEST(SerializeUtils, ImageRecordsAreByteExact) {
    Block block(64);
    const auto image = makeImage(2, 1, 32, 0x10);
    ASSERT_EQ(SerializeUtils::writeImage(block.data(), image), block.data() + 21);
    const std::vector<uint8_t> expected = {0x01, 0x02, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x20, 0x00,
                                           0x00, 0x00, 0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, kFill};
    EXPECT_EQ(block.head(22), expected);
    EXPECT_EQ(SerializeUtils::imageRecordSize(image.get()), 21u);
    EXPECT_EQ(SerializeUtils::writeImage(block.data(), 20, image), nullptr);  // longer than the block

    // Rows are packed without their stride padding.
    const auto padded = makeImage(1, 3, 24);
    ASSERT_EQ(SerializeUtils::writeImage(block.data(), padded), block.data() + 13 + 9);
    for (int i = 0; i < 9; ++i)
        EXPECT_EQ(block.bytes[13 + i], i + 1) << i;

    block = Block(32);
    EXPECT_EQ(SerializeUtils::writeImage(block.data(), nullptr), block.data() + 1);
    EXPECT_EQ(block.head(2), (std::vector<uint8_t>{0x00, kFill}));
    EXPECT_EQ(SerializeUtils::writeImage(block.data(), std::make_shared<VXImage>(2, 2, 32)),
              nullptr);  // no pixels
}

TEST(SerializeUtils, ImageRecordsAreReadIntoPlaceOrRefused) {
    Block record(64);
    const auto source = makeImage(2, 2, 32, 0x40);
    ASSERT_EQ(SerializeUtils::writeImage(record.data(), source), record.data() + 29);
    auto read = [&](VXImage& image, VXPoint at, size_t available = 64) {
        return SerializeUtils::readImageInto(record.data(), available, image, at);
    };
    const auto target = makeImage(4, 3, 32);
    std::memset(target->getBits(), 0, static_cast<size_t>(target->getImageSize()));
    ASSERT_EQ(read(*target, VXPoint(1, 1)), record.data() + 29);
    EXPECT_EQ(std::memcmp(target->getPixelPtr(1, 1), source->getLinePtr(0), 8), 0);
    EXPECT_EQ(std::memcmp(target->getPixelPtr(1, 2), source->getLinePtr(1), 8), 0);
    const uint8_t zeros[4] = {};
    EXPECT_EQ(std::memcmp(target->getPixelPtr(0, 1), zeros, 4), 0);
    EXPECT_EQ(std::memcmp(target->getPixelPtr(3, 1), zeros, 4), 0);

    EXPECT_EQ(read(*makeImage(4, 3, 24), VXPoint()), nullptr);  // a 32-bit record into a 24-bit image
    for (const VXPoint at : {VXPoint(-1, 0), VXPoint(0, -1), VXPoint(3, 0), VXPoint(0, 2)})
        EXPECT_EQ(read(*target, at), nullptr) << at.toString().toUtf8();
    EXPECT_NE(read(*target, VXPoint(2, 1)), nullptr);  // flush fit
    VXImage noPixels(4, 3, 32);
    EXPECT_EQ(read(noPixels, VXPoint()), nullptr);
    EXPECT_EQ(read(*target, VXPoint(), 28), nullptr);  // a block too short for the rows it announces
    EXPECT_EQ(SerializeUtils::readImageInto(nullptr, *target, VXPoint()), nullptr);
}

TEST(SerializeUtils, ResultRecordKeepsBytesFourToSevenAndRoundTrips) {
    Block block(Vistrel::kResultBlockSize);
    ASSERT_EQ(SerializeUtils::writeResult(block.data(), VXResult(VXError::eNoError)), block.data() + 18);
    const std::vector<uint8_t> expected = {0xD0, 0x07, 0x00, 0x00, kFill, kFill, kFill, kFill, 0x01, 0x00,
                                           0x00, 0x00, 0x00, 0x00, 0x00,  0x00,  0x00,  0x00,  kFill};
    EXPECT_EQ(block.head(19), expected);

    const VXResult failure = VX_ERROR(VXError::eTimeout, u"No capture request \u00e9");
    const uint32_t units = failure.message().length() + 1;
    uint8_t* end = SerializeUtils::writeResult(block.data(), failure);
    ASSERT_EQ(end, block.data() + 16 + 2 * units);
    EXPECT_EQ(block.bytes[8], units);
    EXPECT_EQ(block.bytes[16], 'N');
    Vistrel::ResultRecord record;
    ASSERT_EQ(SerializeUtils::readResult(block.data(), block.bytes.size(), record), end);
    EXPECT_EQ(record.code, VXError::eTimeout);
    EXPECT_EQ(record.text, failure.message());
    EXPECT_EQ(SerializeUtils::writeResult(block.data(), 16 + 2 * units - 1, failure), nullptr);
}

TEST(SerializeUtils, ResultReaderRefusesDamagedRecords) {
    Block block(64);
    ASSERT_NE(SerializeUtils::writeResult(block.data(), 64, VXResult(VXError::eSomeError, u"abc")), nullptr);
    Vistrel::ResultRecord record;
    record.code = 7;
    EXPECT_EQ(SerializeUtils::readResult(block.data(), 16 + 2 * 4 - 1, record), nullptr);  // cut short
    const std::pair<size_t, uint8_t> damage[] = {
        {8, 0}, {15, 0x80}, {16 + 2 * 3, 'x'}};  // length 0, huge, no end
    for (auto [offset, value] : damage) {
        Block damaged = block;
        damaged.bytes[offset] = value;
        EXPECT_EQ(SerializeUtils::readResult(damaged.data(), 64, record), nullptr) << offset;
    }
    EXPECT_EQ(record.code, 7);
}

TEST(SerializeUtils, WindowListRoundTripsAndOversizeCountsAreRefused) {
    // Exactly the block's size of storage, so the sanitizer build sees any read past it.
    std::vector<uint8_t> block(Vistrel::kExclWndsBlockSize, 0);
    const std::vector<uint64_t> handles = {0x10203, 0xFFFFFFFF00000001ull};
    uint8_t* end = SerializeUtils::writeWindowList(block.data(), block.size(), handles);
    ASSERT_EQ(end, block.data() + 8 + 16);
    const std::vector<uint8_t> head = {2, 0, 0, 0, 0, 0, 0, 0, 0x03, 0x02, 0x01, 0, 0, 0, 0, 0, 1, 0, 0, 0};
    EXPECT_EQ(std::vector<uint8_t>(block.begin(), block.begin() + 20), head);
    std::vector<uint64_t> read;
    EXPECT_EQ(SerializeUtils::readWindowList(block.data(), block.size(), read), end);
    EXPECT_EQ(read, handles);
    ASSERT_NE(SerializeUtils::writeWindowList(block.data(), block.size(), {}), nullptr);
    EXPECT_EQ(SerializeUtils::readWindowList(block.data(), block.size(), read), block.data() + 8);
    EXPECT_TRUE(read.empty());

    std::vector<uint64_t> full(Vistrel::kMaxExcludedWindows, 0x42);
    ASSERT_EQ(SerializeUtils::writeWindowList(block.data(), block.size(), full), block.data() + block.size());
    ASSERT_NE(SerializeUtils::readWindowList(block.data(), block.size(), read), nullptr);
    EXPECT_EQ(read.size(), 1023u);
    full.push_back(0x43);
    EXPECT_EQ(SerializeUtils::writeWindowList(block.data(), block.size(), full), nullptr);
    EXPECT_EQ(block[1], 0x03);  // the refused write left the count 1023
    const std::vector<uint64_t> before = {1, 2};
    for (const uint64_t count : {uint64_t{1024}, uint64_t{0x2000000000000000}, ~uint64_t{0}}) {
        read = before;
        SerializeUtils::writeUInt64(block.data(), count);
        EXPECT_EQ(SerializeUtils::readWindowList(block.data(), block.size(), read), nullptr) << count;
        EXPECT_EQ(read, before);
    }
}

TEST(SerializeUtils, CursorFlagAndWaitRecord) {
    Block block(16);
    bool flag = false;
    ASSERT_EQ(SerializeUtils::writeBool(block.data(), true), block.data() + 1);
    EXPECT_EQ(block.bytes[0], 1);
    block.bytes[0] = 2;  // any non-zero byte reads as true
    ASSERT_EQ(SerializeUtils::readBool(block.data(), flag), block.data() + 1);
    EXPECT_TRUE(flag);

    ASSERT_EQ(SerializeUtils::writeWaitRecord(block.data(), {3, 0x01020304, true}), block.data() + 9);
    EXPECT_EQ(block.head(10), (std::vector<uint8_t>{3, 0, 0, 0, 4, 3, 2, 1, 1, kFill}));
    Vistrel::WaitRecord read;
    ASSERT_EQ(SerializeUtils::readWaitRecord(block.data(), read), block.data() + 9);
    EXPECT_EQ(read.milliseconds, 0x01020304u);
    EXPECT_TRUE(read.timedOut);
}

}  // namespace
