#include <gtest/gtest.h>
#include <zlib.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "ImageTestSupport.h"
#include "VXPngWriter.h"
#include "VXSubImage.h"
#include "support/ResultText.h"

namespace {

uint32_t be32(const uint8_t* p) {
    return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
}

struct Chunk {
    std::string type;
    std::vector<uint8_t> data;
};

// Walks the chunks, checking each CRC; a decoder would refuse the file otherwise.
std::vector<Chunk> chunks(const std::vector<uint8_t>& png) {
    std::vector<Chunk> out;
    for (size_t pos = 8; pos + 12 <= png.size();) {
        const uint32_t size = be32(&png[pos]);
        Chunk c;
        c.type.assign(reinterpret_cast<const char*>(&png[pos + 4]), 4);
        c.data.assign(png.begin() + static_cast<long>(pos + 8),
                      png.begin() + static_cast<long>(pos + 8 + size));
        const uLong crc = crc32(0L, &png[pos + 4], size + 4);
        EXPECT_EQ(be32(&png[pos + 8 + size]), static_cast<uint32_t>(crc)) << c.type;
        out.push_back(std::move(c));
        pos += 12 + size;
    }
    return out;
}

// The plain RGB rows of an image chunk list: inflated, the "Sub" filter the writer uses undone.
std::vector<uint8_t> rgbPixels(const std::vector<Chunk>& list, uint32_t width, uint32_t height) {
    const size_t line = 1 + 3 * width;
    std::vector<uint8_t> raw(height * line);
    uLongf rawSize = raw.size();
    EXPECT_EQ(uncompress(raw.data(), &rawSize, list.at(1).data.data(), list.at(1).data.size()), Z_OK);
    EXPECT_EQ(rawSize, raw.size());
    std::vector<uint8_t> pixels;
    for (uint32_t y = 0; y < height; ++y) {
        EXPECT_EQ(raw[y * line], 1);
        for (size_t i = 0; i < 3 * width; ++i)
            pixels.push_back(
                static_cast<uint8_t>(raw[y * line + 1 + i] + (i >= 3 ? pixels[pixels.size() - 3] : 0)));
    }
    return pixels;
}

// Pixels, size, stride and row order of the encoder are checked against its input by the PNG
// writer fuzz target; not the signature, the CRCs, the colour type, the filter byte, nor saving.
TEST(VXPngWriter, SavedViewIsAnRgbPngSteppingByItsParentsStrideAndAnUnwritablePathIsAnIOError) {
    const auto parent = imagetest::makeImage(5, 4, 32);
    imagetest::fillRandom(*parent, 41);
    auto view = std::make_shared<VXSubImage>();
    ASSERT_TRUE(view->initialize(parent, VXRect(1, 1, 4, 3)).isSuccess());
    // A name of this run's own: the temporary folder is shared with other runs.
    const std::filesystem::path file =
        std::filesystem::temp_directory_path() /
        ("vx_imageutils_save_" + std::to_string(std::random_device{}()) + ".png");
    ASSERT_TRUE(VXImageUtils::saveToFile(view, VXString::fromUtf8(file.string())).isSuccess());
    std::ifstream in(file, std::ios::binary);
    const std::vector<uint8_t> png((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    in.close();
    std::filesystem::remove(file);
    ASSERT_GT(png.size(), 8u);
    EXPECT_EQ(std::memcmp(png.data(), "\x89PNG\r\n\x1a\n", 8), 0);
    const auto list = chunks(png);
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(list[0].type + list[1].type + list[2].type, "IHDRIDATIEND");
    EXPECT_EQ(list[0].data[9], 2);  // RGB
    std::vector<uint8_t> expected;
    for (int32_t y = 1; y < 3; ++y) {
        for (int32_t x = 1; x < 4; ++x) {
            const uint8_t* bgra = imagetest::at(*parent, x, y);
            expected.insert(expected.end(), {bgra[2], bgra[1], bgra[0]});
        }
    }
    EXPECT_EQ(rgbPixels(list, 3, 2), expected);

    const VXResult r = VXPngWriter::writeFile(u"no-such-dir/x/y.png", png);
    EXPECT_EQ(r.code(), VXError::eIOError);
    EXPECT_THAT(r.message().toUtf8(), StartsWith("Failed to save image to file."));
}

}  // namespace
