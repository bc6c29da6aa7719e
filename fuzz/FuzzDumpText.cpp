// A saved debug log as anyone may hand it to vistrel-mdump: any text, with or without dump
// blocks, torn lines, bad Base64 or a broken zlib stream. Never a crash, and a successful
// reading yields at least one dump.
#include <string_view>
#include <vector>

#include "VXDumpText.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view log(reinterpret_cast<const char*>(data), size);
    for (const VXDumpText::Block& block : VXDumpText::findBlocks(log)) {
        if (block.text.size() > size || block.firstLine == 0)
            __builtin_trap();
    }
    // extract decodes every block and answers success only with at least one dump.
    std::vector<std::vector<uint8_t>> dumps;
    if (VXDumpText::extract(log, dumps).isSuccess() && dumps.empty())
        __builtin_trap();
    // The same bytes read as a zlib stream straight away.
    std::vector<uint8_t> inflated;
    VXDumpText::inflate(data, size, inflated);
    return 0;
}
