// A saved debug log as anyone may hand it to vistrel-mdump: any text, with or without dump
// blocks, torn lines, bad Base64 or a broken zlib stream. Never a crash; a block decodes only
// when its text is as long as its "MDUMP BEGIN" line declared.
#include <string_view>
#include <vector>

#include "VXDumpText.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view log(reinterpret_cast<const char*>(data), size);
    for (const VXDumpText::Block& block : VXDumpText::findBlocks(log)) {
        if (block.text.size() > size)
            __builtin_trap();
        std::vector<uint8_t> dump;
        if (VXDumpText::decodeBlock(block, dump).isSuccess() &&
            static_cast<int64_t>(block.text.size()) != block.declaredLength) {
            __builtin_trap();
        }
    }
    std::vector<std::vector<uint8_t>> dumps;
    VXDumpText::extract(log, dumps);
    // The same bytes read as a zlib stream straight away.
    std::vector<uint8_t> inflated;
    VXDumpText::inflate(data, size, inflated);
    return 0;
}
