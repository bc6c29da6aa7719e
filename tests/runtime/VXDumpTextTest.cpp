#include <gtest/gtest.h>

#include <zlib.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "VXBase64.h"
#include "VXDumpText.h"
#include "support/LogCapture.h"

namespace {

std::vector<uint8_t> bytesOf(const std::string& s) {
    return std::vector<uint8_t>(s.begin(), s.end());
}

std::string joinLines(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines)
        text += line + "\n";
    return text;
}

// The message part of each captured line (after "<function> - ").
std::vector<std::string> messages(const LogCapture& log) {
    std::vector<std::string> out;
    for (const std::string& line : log.lines()) {
        const size_t pos = line.find(" - ");
        out.push_back(pos == std::string::npos ? line : line.substr(pos + 3));
    }
    return out;
}

// A dump-like buffer: structured, so that it compresses, but not trivially.
std::vector<uint8_t> dumpLike(size_t size) {
    std::vector<uint8_t> data(size);
    std::mt19937 random(7);
    for (size_t i = 0; i < size; ++i)
        data[i] = static_cast<uint8_t>((i % 4096 < 3000) ? i / 64 : random() & 0x0F);
    data[0] = 'M', data[1] = 'D', data[2] = 'M', data[3] = 'P';
    return data;
}

std::string zlibCompress(const std::vector<uint8_t>& data) {
    uLongf size = compressBound(static_cast<uLong>(data.size()));
    std::string out(size, '\0');
    EXPECT_EQ(compress2(reinterpret_cast<Bytef*>(out.data()), &size, data.data(),
                        static_cast<uLong>(data.size()), 9),
              Z_OK);
    out.resize(size);
    return out;
}

std::string block(const std::string& base64, int64_t declared = -1) {
    std::string text =
        "2024-01-01 00:00:00.000 PST C: [5] <vxdumptext.cpp> VXDumpText::logText - MDUMP BEGIN " +
        std::to_string(declared < 0 ? static_cast<int64_t>(base64.size()) : declared) + "\r\n";
    for (size_t i = 0; i < base64.size(); i += 900)
        text += "C: MDUMP=" + base64.substr(i, 900) + "\r\n";
    return text + "C: MDUMP END\r\n";
}

TEST(VXBase64, KnownVectorsRoundTrip) {
    const std::pair<std::string, std::string> vectors[] = {{"", ""},
                                                           {"f", "Zg=="},
                                                           {"fo", "Zm8="},
                                                           {"foo", "Zm9v"},
                                                           {"foob", "Zm9vYg=="},
                                                           {"fooba", "Zm9vYmE="},
                                                           {"foobar", "Zm9vYmFy"}};
    for (const auto& [plain, encoded] : vectors) {
        const std::vector<uint8_t> bytes = bytesOf(plain);
        EXPECT_EQ(VXBase64::encode(bytes.data(), bytes.size()), encoded);
        std::vector<uint8_t> decoded{9};
        ASSERT_TRUE(VXBase64::decode(encoded, decoded).isSuccess()) << encoded;
        EXPECT_EQ(decoded, bytes) << encoded;
    }
    // Every byte value at every position of a group, and every tail length.
    std::vector<uint8_t> all;
    for (int n = 0; n < 770; ++n) {
        all.push_back(static_cast<uint8_t>(n * 7 + n / 256));
        std::vector<uint8_t> decoded;
        ASSERT_TRUE(VXBase64::decode(VXBase64::encode(all.data(), all.size()), decoded).isSuccess());
        ASSERT_EQ(decoded, all) << n;
    }
    EXPECT_EQ(VXBase64::encode(reinterpret_cast<const uint8_t*>("\xFB\xFF"), 2), "+/8=");
}

TEST(VXBase64, DecodeSkipsLineBreaksAndAcceptsMissingPadding) {
    std::vector<uint8_t> out;
    ASSERT_TRUE(VXBase64::decode("Zm9v\r\nYmFy\n Zg", out).isSuccess());
    EXPECT_EQ(out, bytesOf("foobarf"));
    ASSERT_TRUE(VXBase64::decode("Zm8", out).isSuccess());
    EXPECT_EQ(out, bytesOf("fo"));
}

TEST(VXBase64, MalformedTextIsRefusedAndLeavesOutputAlone) {
    for (const char* bad : {"Zm9v!", "Z", "Zm9vY", "Zg=", "Z===", "====", "Zg==Zg==", "Zg=a", "Zm9v\x80"}) {
        std::vector<uint8_t> out{1, 2, 3};
        const VXResult r = VXBase64::decode(bad, out);
        EXPECT_EQ(r.code(), VXError::eBadFormat) << bad;
        EXPECT_EQ(out, (std::vector<uint8_t>{1, 2, 3})) << bad;
    }
}

TEST(VXDumpTextWriter, TextIsCutIntoPiecesOfAtMost900) {
    LogCapture log;
    std::string text;
    for (int i = 0; i < 1801; ++i)
        text += static_cast<char>('A' + i % 26);
    VXDumpText::logText(text);
    const std::vector<std::string> m = messages(log);
    ASSERT_EQ(m.size(), 5u);
    EXPECT_EQ(m[0], "MDUMP BEGIN 1801");
    EXPECT_EQ(m[1], "MDUMP=" + text.substr(0, 900));
    EXPECT_EQ(m[2], "MDUMP=" + text.substr(900, 900));
    EXPECT_EQ(m[3], "MDUMP=" + text.substr(1800));
    EXPECT_EQ(m[4], "MDUMP END");
    for (const std::string& line : log.lines())
        EXPECT_NE(line.find(" C: "), std::string::npos) << line;

    for (const size_t length : {900u, 1800u}) {
        log.clear();
        VXDumpText::logText(std::string(length, 'Q'));
        const std::vector<std::string> lines = messages(log);
        ASSERT_EQ(lines.size(), length / 900 + 2) << length;
        for (size_t i = 1; i + 1 < lines.size(); ++i)
            EXPECT_EQ(lines[i].size(), 906u);
    }
}

TEST(VXDumpTextWriter, DumpRoundTripsThroughTheLogAndTheBufferIsZeroed) {
    LogCapture log;
    const std::vector<uint8_t> original = dumpLike(300000);
    std::vector<uint8_t> buffer = original;
    ASSERT_TRUE(VXDumpText::logDump(buffer.data(), buffer.size()));
    EXPECT_EQ(buffer, std::vector<uint8_t>(original.size(), 0));

    const std::vector<std::string> m = messages(log);
    ASSERT_GE(m.size(), 3u);
    EXPECT_EQ(m.front().rfind("MDUMP BEGIN ", 0), 0u);
    EXPECT_EQ(m.back(), "MDUMP END");
    // The text is the Base64 form of exactly what zlib level 9 makes of the buffer.
    const std::string expected = zlibCompress(original);
    EXPECT_EQ(m.front(), "MDUMP BEGIN " + std::to_string((expected.size() + 2) / 3 * 4));

    std::vector<std::vector<uint8_t>> dumps;
    ASSERT_TRUE(VXDumpText::extract(joinLines(log.lines()), dumps).isSuccess());
    ASSERT_EQ(dumps.size(), 1u);
    EXPECT_EQ(dumps[0], original);
}

TEST(VXDumpTextWriter, IncompressibleDumpLogsTheCompressionErrorOnly) {
    LogCapture log;
    std::vector<uint8_t> buffer(5000);
    std::mt19937 random(11);
    for (uint8_t& b : buffer)
        b = static_cast<uint8_t>(random());
    EXPECT_FALSE(VXDumpText::logDump(buffer.data(), buffer.size()));
    EXPECT_EQ(messages(log), std::vector<std::string>{"Crash dump compression error: \"<unknown>\""});
    EXPECT_EQ(buffer, std::vector<uint8_t>(buffer.size(), 0));
}

TEST(VXDumpTextReader, FindsEveryBlockBetweenOtherLines) {
    const std::vector<uint8_t> first = dumpLike(5000);
    const std::vector<uint8_t> second = bytesOf("second dump");
    const std::string a = zlibCompress(first), b = zlibCompress(second);
    const std::string log =
        "i: start\n" + block(VXBase64::encode(reinterpret_cast<const uint8_t*>(a.data()), a.size())) +
        "E: something else\r\n" +
        block(VXBase64::encode(reinterpret_cast<const uint8_t*>(b.data()), b.size())) + "i: end";
    const auto blocks = VXDumpText::findBlocks(log);
    ASSERT_EQ(blocks.size(), 2u);
    EXPECT_EQ(blocks[0].firstLine, 2u);
    EXPECT_TRUE(blocks[0].complete && blocks[1].complete);
    std::vector<std::vector<uint8_t>> dumps;
    ASSERT_TRUE(VXDumpText::extract(log, dumps).isSuccess());
    ASSERT_EQ(dumps.size(), 2u);
    EXPECT_EQ(dumps[0], first);
    EXPECT_EQ(dumps[1], second);
}

TEST(VXDumpTextReader, DamagedBlocksAreReportedNotGuessed) {
    const std::string z = zlibCompress(dumpLike(20000));
    const std::string text = VXBase64::encode(reinterpret_cast<const uint8_t*>(z.data()), z.size());
    std::vector<std::vector<uint8_t>> dumps{{1}};

    EXPECT_EQ(VXDumpText::extract("i: nothing here\n", dumps).code(), VXError::eNotFound);
    // A lost piece: the announced length no longer matches.
    std::string lost = block(text);
    const size_t piece = lost.find("MDUMP=", lost.find("MDUMP=") + 1);
    lost.erase(piece, lost.find('\n', piece) + 1 - piece);
    EXPECT_EQ(VXDumpText::extract(lost, dumps).code(), VXError::eBadFormat);
    // Cut off before its end, or interrupted by the next block.
    std::string cut = block(text);
    cut.resize(cut.find("C: MDUMP END"));
    EXPECT_EQ(VXDumpText::extract(cut, dumps).code(), VXError::eIncomplete);
    EXPECT_EQ(VXDumpText::extract(cut + block(text), dumps).code(), VXError::eIncomplete);
    // A changed character still decodes as Base64 but not as the compressed stream.
    std::string flipped = text;
    flipped[text.size() / 2] = flipped[text.size() / 2] == 'A' ? 'B' : 'A';
    EXPECT_EQ(VXDumpText::extract(block(flipped), dumps).code(), VXError::eBadFormat);
    // A stream cut short, and a stream with bytes after its end.
    const std::string shortStream = z.substr(0, z.size() - 10);
    EXPECT_EQ(VXDumpText::extract(block(VXBase64::encode(reinterpret_cast<const uint8_t*>(shortStream.data()),
                                                         shortStream.size())),
                                  dumps)
                  .code(),
              VXError::eBadFormat);
    const std::string longStream = z + "xyz";
    EXPECT_EQ(VXDumpText::extract(block(VXBase64::encode(reinterpret_cast<const uint8_t*>(longStream.data()),
                                                         longStream.size())),
                                  dumps)
                  .code(),
              VXError::eBadFormat);
    EXPECT_EQ(VXDumpText::extract(block("Zm9v*mFy"), dumps).code(), VXError::eBadFormat);
    EXPECT_EQ(dumps, std::vector<std::vector<uint8_t>>{{1}});
}

}  // namespace
