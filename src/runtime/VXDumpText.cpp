#include "VXDumpText.h"

#include <zlib.h>

#include <cstring>
#include <memory>
#include <new>

#include "VXBase64.h"
#include "VXChecks.h"

namespace {

constexpr std::string_view kBeginMarker = "MDUMP BEGIN ";
constexpr std::string_view kPieceMarker = "MDUMP=";
constexpr std::string_view kEndMarker = "MDUMP END";
constexpr int kCompressionLevel = 9;
constexpr size_t kInflateStep = 1 << 20;
// A dump of a process is far below this; a larger result means the input is not a dump.
constexpr size_t kMaxInflatedSize = size_t{1} << 32;

std::string_view cutLineEnd(std::string_view line) {
    while (!line.empty() && (line.back() == '\r' || line.back() == '\n'))
        line.remove_suffix(1);
    return line;
}

int64_t parseLength(std::string_view text) {
    int64_t value = 0;
    size_t i = 0;
    while (i < text.size() && text[i] == ' ')
        ++i;
    const size_t first = i;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
        value = value * 10 + (text[i] - '0');
        if (value > 0xFFFFFFFFLL)
            return -1;
    }
    return i == first ? -1 : value;
}

}  // namespace

bool VXDumpText::logDump(uint8_t* data, size_t size) {
    if (data == nullptr || size == 0)
        return false;
    std::unique_ptr<uint8_t[]> compressed(new (std::nothrow) uint8_t[size]);
    if (!compressed) {
        std::memset(data, 0, size);
        VX_LOG(VXLogLevel::eCritical, u"Crash dump creation failed to allocate compressed buffer");
        return false;
    }
    z_stream stream{};
    stream.next_in = data;
    stream.avail_in = static_cast<uInt>(size);
    stream.next_out = compressed.get();
    stream.avail_out = static_cast<uInt>(size);
    const int initResult = deflateInit(&stream, kCompressionLevel);
    const int deflateResult = initResult == Z_OK ? deflate(&stream, Z_FINISH) : initResult;
    const std::string message = stream.msg != nullptr ? stream.msg : "<unknown>";
    const size_t compressedSize = stream.total_out;
    if (initResult == Z_OK)
        deflateEnd(&stream);
    // No readable dump may stay on disk, even for the moment before the file is deleted.
    std::memset(data, 0, size);

    if (deflateResult != Z_STREAM_END) {
        VX_LOG(VXLogLevel::eCritical, u"Crash dump compression error: \"%hs\"", message.c_str());
        return false;
    }
    if (compressedSize == 0) {
        const int32_t lastError = VXPlatform::lastOsError();
        VX_LOG(VXLogLevel::eCritical, u"Crash dump size is zero.");
        VX_LOG(VXLogLevel::eCritical, u"Failed to log compressed crash dump data. Last error = %d",
               lastError);
        return false;
    }
    logText(VXBase64::encode(compressed.get(), compressedSize));
    return true;
}

void VXDumpText::logText(const std::string& base64) {
    // Equal pieces are common in a dump's text; collapsed, the dump would no longer decode.
    VX_LOG_UNCOLLAPSED(VXLogLevel::eCritical, u"MDUMP BEGIN %d", static_cast<int64_t>(base64.size()));
    for (size_t offset = 0; offset < base64.size(); offset += kPieceLength) {
        const std::string piece = base64.substr(offset, kPieceLength);
        VX_LOG_UNCOLLAPSED(VXLogLevel::eCritical, u"MDUMP=%hs", piece.c_str());
    }
    VX_LOG_UNCOLLAPSED(VXLogLevel::eCritical, u"MDUMP END");
}

bool VXDumpText::Scanner::addLine(std::string_view rawLine, Block& finished) {
    const std::string_view line = cutLineEnd(rawLine);
    ++_lineNumber;
    size_t at = line.find(kBeginMarker);
    if (at != std::string_view::npos) {
        const bool cutOff = _open;
        if (cutOff)
            finished = std::move(_current);
        _current = Block();
        _current.declaredLength = parseLength(line.substr(at + kBeginMarker.size()));
        _current.firstLine = _lineNumber;
        _open = true;
        return cutOff;
    }
    if (!_open)
        return false;
    at = line.find(kPieceMarker);
    if (at != std::string_view::npos) {
        _current.text.append(line.substr(at + kPieceMarker.size()));
        return false;
    }
    if (line.find(kEndMarker) == std::string_view::npos)
        return false;
    _current.complete = true;
    _open = false;
    finished = std::move(_current);
    _current = Block();
    return true;
}

bool VXDumpText::Scanner::finish(Block& unfinished) {
    if (!_open)
        return false;
    _open = false;
    unfinished = std::move(_current);
    _current = Block();
    return true;
}

std::vector<VXDumpText::Block> VXDumpText::findBlocks(std::string_view logText) {
    std::vector<Block> blocks;
    Scanner scanner;
    Block block;
    size_t start = 0;
    while (start < logText.size()) {
        size_t end = logText.find('\n', start);
        if (end == std::string_view::npos)
            end = logText.size();
        if (scanner.addLine(logText.substr(start, end - start), block))
            blocks.push_back(std::move(block));
        start = end + 1;
    }
    if (scanner.finish(block))
        blocks.push_back(std::move(block));
    return blocks;
}

VXResult VXDumpText::decodeBlock(const Block& block, std::vector<uint8_t>& dump) {
    if (!block.complete) {
        return VX_ERROR(VXError::eIncomplete, u"Dump text that begins at line %u has no \"MDUMP END\"",
                        block.firstLine);
    }
    if (block.declaredLength < 0 || static_cast<uint64_t>(block.declaredLength) != block.text.size()) {
        return VX_ERROR(VXError::eBadFormat, u"Dump text at line %u has %u characters, %d announced",
                        block.firstLine, static_cast<uint32_t>(block.text.size()), block.declaredLength);
    }
    std::vector<uint8_t> compressed;
    VX_RETURN_IF_ERROR(VXBase64::decode(block.text, compressed));
    VX_RETURN_IF_ERROR(inflate(compressed.data(), compressed.size(), dump));
    return VXError::eNoError;
}

VXResult VXDumpText::extract(std::string_view logText, std::vector<std::vector<uint8_t>>& dumps) {
    const std::vector<Block> blocks = findBlocks(logText);
    if (blocks.empty())
        return VX_ERROR(VXError::eNotFound, u"The log holds no \"MDUMP BEGIN\" line");
    std::vector<std::vector<uint8_t>> decoded;
    for (const Block& block : blocks) {
        decoded.emplace_back();
        VX_RETURN_IF_ERROR(decodeBlock(block, decoded.back()));
    }
    dumps = std::move(decoded);
    return VXError::eNoError;
}

VXResult VXDumpText::inflate(const uint8_t* data, size_t size, std::vector<uint8_t>& out) {
    VX_CHECK_PARAM(data != nullptr || size == 0);
    z_stream stream{};
    stream.next_in = const_cast<uint8_t*>(data);
    stream.avail_in = static_cast<uInt>(size);
    if (inflateInit(&stream) != Z_OK)
        return VX_ERROR(VXError::eNoMemory, u"inflateInit failed");
    std::vector<uint8_t> bytes;
    int status = Z_OK;
    while (status == Z_OK) {
        if (bytes.size() >= kMaxInflatedSize)
            break;
        const size_t used = bytes.size();
        bytes.resize(used + kInflateStep);
        stream.next_out = bytes.data() + used;
        stream.avail_out = static_cast<uInt>(kInflateStep);
        status = ::inflate(&stream, Z_NO_FLUSH);
        bytes.resize(used + (kInflateStep - stream.avail_out));
    }
    const std::string message = stream.msg != nullptr ? stream.msg : "<unknown>";
    const size_t unread = stream.avail_in;
    inflateEnd(&stream);
    if (status != Z_STREAM_END) {
        return VX_ERROR(VXError::eBadFormat, u"Compressed dump is damaged or cut short (zlib %d, \"%hs\")",
                        status, message.c_str());
    }
    if (unread != 0) {
        return VX_ERROR(VXError::eBadFormat, u"%u bytes follow the end of the compressed dump",
                        static_cast<uint32_t>(unread));
    }
    out = std::move(bytes);
    return VXError::eNoError;
}
