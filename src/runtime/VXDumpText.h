// A crash dump as text in the log: the writer compresses the dump with zlib, encodes it as
// Base64 and logs it in pieces between "MDUMP BEGIN %d" and "MDUMP END"; the reader finds
// those lines in a log again and turns them back into the dump. Both sides are portable so
// that a log can be read on any machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "VXResult.h"

class VXDumpText {
public:
    // The longest piece of Base64 text on one "MDUMP=" line.
    static constexpr size_t kPieceLength = 900;

    // One "MDUMP BEGIN" .. "MDUMP END" block found in a log.
    struct Block {
        int64_t declaredLength = -1;  // the number after "MDUMP BEGIN"; -1 when unreadable
        std::string text;             // the pieces joined in order
        uint32_t firstLine = 0;       // 1-based line of "MDUMP BEGIN"
        bool complete = false;        // "MDUMP END" was seen
    };

    // Writer. Compresses the whole buffer with zlib at level 9 in one call into room no
    // larger than the buffer itself, then overwrites the buffer with zeros whatever
    // happened, then logs the failure or the text lines, all at level 6. True when the
    // text was logged.
    static bool logDump(uint8_t* data, size_t size);
    // "MDUMP BEGIN <length>", the text in pieces of at most kPieceLength, "MDUMP END".
    static void logText(const std::string& base64);

    // Reader of a log as it is written, one line at a time. Lines may carry anything (a log
    // prefix) before the markers and may end in "\r".
    class Scanner {
    public:
        // True when this line ended a block ("MDUMP END") or left it open (a new "MDUMP
        // BEGIN"); the block is then moved into `finished`.
        bool addLine(std::string_view line, Block& finished);
        // True when a block is still open at the end of the text; it is moved into `unfinished`.
        bool finish(Block& unfinished);

    private:
        Block _current;
        bool _open = false;
        uint32_t _lineNumber = 0;
    };

    // Every block of a whole log. A block left open by a new "MDUMP BEGIN" or by the end of
    // the text is reported as incomplete.
    static std::vector<Block> findBlocks(std::string_view logText);
    // Checks the length, decodes the Base64 text and inflates it.
    static VXResult decodeBlock(const Block& block, std::vector<uint8_t>& dump);
    // Every block of the log, decoded in order. 2008 (eNotFound) when there is none; the
    // first block that fails stops the reading and its failure is returned.
    static VXResult extract(std::string_view logText, std::vector<std::vector<uint8_t>>& dumps);
    // zlib-format stream to bytes; trailing data or a truncated stream is 2017.
    static VXResult inflate(const uint8_t* data, size_t size, std::vector<uint8_t>& out);
};
