#include <gtest/gtest.h>

#include <zlib.h>

#include <random>
#include <string>
#include <vector>

#include "VXBase64.h"
#include "VXDumpText.h"
#include "support/LogCapture.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes bytesOf(const std::string& s) {
    return Bytes(s.begin(), s.end());
}

std::string base64(const std::string& s) {
    return VXBase64::encode(reinterpret_cast<const uint8_t*>(s.data()), s.size());
}

// Structured enough to compress, varied enough not to be trivial.
Bytes dumpLike(size_t size) {
    Bytes data(size);
    std::mt19937 random(7);
    for (size_t i = 0; i < size; ++i)
        data[i] = static_cast<uint8_t>(i % 4096 < 3000 ? i / 64 : random() & 0x0F);
    return data;
}

std::string zlibCompress(const Bytes& data) {
    uLongf size = compressBound(static_cast<uLong>(data.size()));
    std::string out(size, '\0');
    compress2(reinterpret_cast<Bytef*>(out.data()), &size, data.data(), static_cast<uLong>(data.size()), 9);
    out.resize(size);
    return out;
}

// A block as a log holds it: prefixed lines ending in CR LF.
std::string block(const std::string& text) {
    std::string out =
        "2024-01-01 00:00:00.000 PST C: [5] <VXDumpText.cpp> VXDumpText::logText - MDUMP BEGIN " +
        std::to_string(text.size()) + "\r\n";
    for (size_t i = 0; i < text.size(); i += 900)
        out += "C: MDUMP=" + text.substr(i, 900) + "\r\n";
    return out + "C: MDUMP END\r\n";
}

TEST(VXBase64, KnownVectorsEveryTailLineBreaksAndMalformedText) {
    const std::pair<std::string, std::string> vectors[] = {
        {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foob", "Zm9vYg=="}, {"\xFB\xFF", "+/8="}};
    for (const auto& [plain, encoded] : vectors)
        EXPECT_EQ(base64(plain), encoded);
    Bytes all;
    for (int n = 0; n < 770; ++n) {
        all.push_back(static_cast<uint8_t>(n * 7 + n / 256));
        Bytes decoded;
        ASSERT_TRUE(VXBase64::decode(VXBase64::encode(all.data(), all.size()), decoded).isSuccess());
        ASSERT_EQ(decoded, all) << n;
    }
    Bytes out;
    ASSERT_TRUE(VXBase64::decode("Zm9v\r\nYmFy\n Zm8", out).isSuccess());
    EXPECT_EQ(out, bytesOf("foobarfo"));
    for (const char* bad : {"Zm9v!", "Z", "Zm9vY", "Zg=", "Z===", "Zg==Zg==", "Zg=a", "Zm9v\x80"}) {
        EXPECT_EQ(VXBase64::decode(bad, out).code(), VXError::eBadFormat) << bad;
        EXPECT_EQ(out, bytesOf("foobarfo")) << bad;
    }
}

TEST(VXDumpTextWriter, TextIsCutIntoPiecesOfAtMost900AtCriticalLevel) {
    std::string varied;
    for (int i = 0; i < 1801; ++i)
        varied += static_cast<char>('A' + i % 26);
    // Three equal pieces: none may be collapsed, and no empty piece follows a full one.
    for (const std::string& text : {varied, std::string(2700, 'Q')}) {
        LogCapture log;
        VXDumpText::logText(text);
        std::vector<std::string> expected{"MDUMP BEGIN " + std::to_string(text.size())};
        for (size_t at = 0; at < text.size(); at += 900)
            expected.push_back("MDUMP=" + text.substr(at, 900));
        expected.push_back("MDUMP END");
        EXPECT_EQ(messages(log), expected);
        EXPECT_EQ(countLines(log.lines(), " C: "), static_cast<int>(expected.size()));
    }
}

TEST(VXDumpTextWriter, DumpRoundTripsThroughTheLogOrFailsToCompressAndTheBufferIsZeroed) {
    LogCapture log;
    const Bytes original = dumpLike(300000);
    Bytes buffer = original;
    ASSERT_TRUE(VXDumpText::logDump(buffer.data(), buffer.size()));
    EXPECT_EQ(buffer, Bytes(original.size(), 0));
    // The text is exactly zlib level 9 of the buffer.
    EXPECT_EQ(messages(log).front(), "MDUMP BEGIN " + std::to_string(base64(zlibCompress(original)).size()));
    std::vector<Bytes> dumps;
    ASSERT_TRUE(VXDumpText::extract(joinLines(log.lines()), dumps).isSuccess());
    EXPECT_EQ(dumps, std::vector<Bytes>{original});

    // Noise does not compress: only the compression error is logged, and the buffer is zeroed.
    log.clear();
    buffer.resize(5000);
    std::mt19937 random(11);
    for (uint8_t& b : buffer)
        b = static_cast<uint8_t>(random());
    EXPECT_FALSE(VXDumpText::logDump(buffer.data(), buffer.size()));
    EXPECT_EQ(messages(log), std::vector<std::string>{"Crash dump compression error: \"<unknown>\""});
    EXPECT_EQ(buffer, Bytes(5000, 0));
}

TEST(VXDumpTextReader, FindsEveryBlockBetweenOtherLinesAndReportsDamagedOnes) {
    const Bytes first = dumpLike(5000), second = bytesOf("second dump");
    const std::string log = "i: start\n" + block(base64(zlibCompress(first))) + "E: other\r\n" +
                            block(base64(zlibCompress(second))) + "i: end";
    std::vector<Bytes> dumps;
    ASSERT_TRUE(VXDumpText::extract(log, dumps).isSuccess());
    EXPECT_EQ(dumps, (std::vector<Bytes>{first, second}));
    EXPECT_EQ(VXDumpText::findBlocks(log)[0].firstLine, 2u);

    // Damaged blocks are reported, not guessed; what was extracted before stays.
    const std::string z = zlibCompress(dumpLike(20000));
    const std::string text = base64(z);
    EXPECT_EQ(VXDumpText::extract("i: nothing here\n", dumps).code(), VXError::eNotFound);
    // A lost piece no longer matches the announced length.
    std::string lost = block(text);
    const size_t piece = lost.find("MDUMP=", lost.find("MDUMP=") + 1);
    lost.erase(piece, lost.find('\n', piece) + 1 - piece);
    EXPECT_EQ(VXDumpText::extract(lost, dumps).code(), VXError::eBadFormat);
    // Cut off before its end, or interrupted by the next block.
    const std::string cut = block(text).substr(0, block(text).find("C: MDUMP END"));
    EXPECT_EQ(VXDumpText::extract(cut, dumps).code(), VXError::eIncomplete);
    EXPECT_EQ(VXDumpText::extract(cut + block(text), dumps).code(), VXError::eIncomplete);
    // Valid Base64 of a damaged, a shortened or an extended stream.
    std::string flipped = text;
    flipped[text.size() / 2] = flipped[text.size() / 2] == 'A' ? 'B' : 'A';
    for (const std::string& bad : {flipped, base64(z.substr(0, z.size() - 10)), base64(z + "xyz")}) {
        EXPECT_EQ(VXDumpText::extract(block(bad), dumps).code(), VXError::eBadFormat);
    }
    EXPECT_EQ(dumps, (std::vector<Bytes>{first, second}));
}

}  // namespace
