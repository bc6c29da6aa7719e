#include "VXPngWriter.h"

#include <zlib.h>

#include <filesystem>
#include <fstream>

#include "VXChecks.h"

namespace {

constexpr uint8_t kSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
constexpr uint8_t kBitDepth = 8;
constexpr uint8_t kColorTypeRGB = 2;
constexpr uint8_t kColorTypeRGBA = 6;
constexpr uint8_t kFilterSub = 1;  // neighbouring screen pixels are alike: small residues
// Screen content compresses well already at a fast level; the demo writes full-HD frames.
constexpr int kCompressionLevel = 6;
constexpr uint32_t kMaxDimension = 65536;

void putU32(std::vector<uint8_t>& out, uint32_t v) {
    out.push_back(static_cast<uint8_t>(v >> 24));
    out.push_back(static_cast<uint8_t>(v >> 16));
    out.push_back(static_cast<uint8_t>(v >> 8));
    out.push_back(static_cast<uint8_t>(v));
}

void putChunk(std::vector<uint8_t>& out, const char type[4], const uint8_t* data, size_t size) {
    putU32(out, static_cast<uint32_t>(size));
    const size_t start = out.size();
    out.insert(out.end(), type, type + 4);
    if (size > 0)
        out.insert(out.end(), data, data + size);
    const uLong crc = crc32(0L, out.data() + start, static_cast<uInt>(size + 4));
    putU32(out, static_cast<uint32_t>(crc));
}

}  // namespace

VXResult VXPngWriter::encode(const uint8_t* rows, uint32_t width, uint32_t height, int64_t stride,
                             Channels channels, std::vector<uint8_t>& png) {
    VX_CHECK_PARAM(rows);
    VX_CHECK_PARAM(width > 0 && width <= kMaxDimension);
    VX_CHECK_PARAM(height > 0 && height <= kMaxDimension);
    const size_t bytesPerPixel = channels == Channels::eRGBA ? 4 : 3;
    const size_t lineSize = 1 + bytesPerPixel * width;

    std::vector<uint8_t> raw(lineSize * height);
    for (uint32_t y = 0; y < height; ++y) {
        const uint8_t* src = rows + stride * static_cast<int64_t>(y);
        uint8_t* dst = raw.data() + lineSize * y;
        *dst++ = kFilterSub;
        uint8_t previous[4] = {0, 0, 0, 0};
        for (uint32_t x = 0; x < width; ++x, src += 4) {
            const uint8_t pixel[4] = {src[2], src[1], src[0], src[3]};  // B,G,R,A -> R,G,B,A
            for (size_t c = 0; c < bytesPerPixel; ++c) {
                *dst++ = static_cast<uint8_t>(pixel[c] - previous[c]);
                previous[c] = pixel[c];
            }
        }
    }
    uLongf packedSize = compressBound(static_cast<uLong>(raw.size()));
    std::vector<uint8_t> packed(packedSize);
    const int z =
        compress2(packed.data(), &packedSize, raw.data(), static_cast<uLong>(raw.size()), kCompressionLevel);
    if (z != Z_OK)
        return VX_ERROR(VXError::eUnexpected, u"compress2 failed [%d]", z);

    std::vector<uint8_t> out(std::begin(kSignature), std::end(kSignature));
    std::vector<uint8_t> header;
    putU32(header, width);
    putU32(header, height);
    header.push_back(kBitDepth);
    header.push_back(channels == Channels::eRGBA ? kColorTypeRGBA : kColorTypeRGB);
    header.push_back(0);  // deflate
    header.push_back(0);  // adaptive filtering
    header.push_back(0);  // no interlace
    putChunk(out, "IHDR", header.data(), header.size());
    putChunk(out, "IDAT", packed.data(), packedSize);
    putChunk(out, "IEND", nullptr, 0);
    png = std::move(out);
    return VXError::eNoError;
}

VXResult VXPngWriter::writeFile(const VXString& path, const std::vector<uint8_t>& png) {
    VX_CHECK_PARAM(!path.isEmpty());
    std::ofstream file(std::filesystem::path(std::u16string(path.view())),
                       std::ios::binary | std::ios::trunc);
    if (!file)
        return VX_ERROR(VXError::eIOError, u"Failed to save image to file.");
    file.write(reinterpret_cast<const char*>(png.data()), static_cast<std::streamsize>(png.size()));
    file.close();
    if (!file)
        return VX_ERROR(VXError::eIOError, u"Failed to save image to file.");
    return VXError::eNoError;
}
